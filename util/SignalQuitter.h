#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a normal end of the event loop, so
// temporary files are removed and work stops cleanly. The signal handler
// only writes a byte to a socket pair; the loop does the rest.
class SignalQuitter : public QObject {
    Q_OBJECT

public:
    explicit SignalQuitter(QObject* parent = nullptr);
    ~SignalQuitter() override;

signals:
    // From the event loop, just before it is told to quit.
    void received(int signal);

private:
    static void handle(int signal);
    static inline int sockets[2] = { -1, -1 };

    QSocketNotifier* notifier = nullptr;
};
