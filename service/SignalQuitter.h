#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a normal end of the event loop, so the
// temporary archive folder is removed and builds stop cleanly. The signal
// handler only writes a byte to a socket pair; the loop does the rest.
class SignalQuitter : public QObject {
    Q_OBJECT

public:
    explicit SignalQuitter(QObject* parent = nullptr);
    ~SignalQuitter() override;

private:
    static void handle(int signal);
    static inline int sockets[2] = { -1, -1 };

    QSocketNotifier* notifier = nullptr;
};
