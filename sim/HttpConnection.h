#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

#include <QFile>
#include <QObject>
#include <QTimer>

#include <functional>

class QTcpSocket;

// One client connection. Requests are answered one at a time, in order;
// a request that arrives while another is being answered waits in the
// input buffer. Bodies go out in pieces as the socket drains, so a large
// archive is never copied into the socket's buffer at once, and the
// delivery faults (a slow body, a dropped connection) act on those pieces.
class HttpConnection : public QObject
{
    Q_OBJECT

public:
    using Router = std::function<void(const HttpRequest& request, const Responder& respond)>;

    // Takes ownership of the socket; deletes itself when the socket closes.
    HttpConnection(QTcpSocket* socket, Router router, QObject* parent = nullptr);

private:
    void readInput();
    void respond(quint64 requestNumber, HttpResponse answer);
    void pump();
    void writePiece(qint64 size);
    void endResponse();
    qint64 bodyLimit() const;

    QTcpSocket* socket;
    Router router;
    QByteArray input;
    quint64 requestCount = 0;
    bool answering = false;
    bool keepAlive = true;
    qint64 bodyToSkip = 0;
    QByteArray requestLine;

    HttpResponse response;
    QFile file;
    qint64 bodySize = 0;
    qint64 sent = 0;
    QTimer pace;
};
