#pragma once

#include "HttpResponse.h"

#include <QFile>
#include <QObject>
#include <QTimer>

class QTcpSocket;

// Delivers one answer at a time on a socket: the head at once, the body in
// pieces as the socket drains (or one per pace tick), so a large file is
// never held in memory and the delivery faults act on those pieces.
class HttpResponseWriter : public QObject {
    Q_OBJECT

public:
    explicit HttpResponseWriter(QTcpSocket* socket, QObject* parent = nullptr);

    // Takes the answer and opens its body file; a file that cannot be read
    // turns it into a 500 answer.
    void setResponse(HttpResponse response);
    const HttpResponse& response() const { return answer; }
    qint64 bodySize() const { return size; }
    // Starts sending; does nothing for a silent answer.
    void start(bool keepAlive);

signals:
    // The body has been handed to the socket, in full or up to the drop.
    // reusable: the connection may carry the next request.
    void finished(bool reusable);

private:
    void pump();
    void tick();
    void writePiece();
    void finish();
    qint64 limit() const;

    QTcpSocket* socket;
    HttpResponse answer;
    QFile file;
    qint64 size = 0;
    qint64 sent = 0;
    bool keepAlive = false;
    bool writing = false;
    QTimer pace;
};
