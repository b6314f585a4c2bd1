#pragma once

#include "HttpConnection.h"
#include "HttpServerLimits.h"

#include <QHostAddress>
#include <QObject>
#include <QTcpServer>
#include <QTimer>

// HTTP/1.1 on a loopback address, one HttpConnection per client and at most
// limits().connections of them at a time; the others wait in the listen
// queue. When accepting fails for lack of resources (file descriptors), the
// server pauses before it tries again rather than spinning on a listening
// socket that stays readable.
//
//     HttpServer server([](const HttpRequest& request, const HttpResponder& respond) {
//         respond(HttpResponse::message(404, request.path));
//     });
//     server.listen();
class HttpServer : public QObject {
    Q_OBJECT

public:
    using Handler = HttpConnection::Handler;

    explicit HttpServer(const Handler& handler, QObject* parent = nullptr);

    // For the connections accepted afterwards.
    void setLimits(const HttpServerLimits& limits);
    const HttpServerLimits& limits() const { return bounds; }

    // Refuses any address but a loopback one. Port 0 picks a free port.
    bool listen(const QHostAddress& address = QHostAddress(QHostAddress::LocalHost), quint16 port = 0);
    QHostAddress serverAddress() const;
    quint16 serverPort() const;
    // "host:port" as clients should address it, e.g. 127.0.0.1:40123.
    QString authority() const;
    QString errorString() const;
    int connectionCount() const { return connections; }

private:
    void acceptConnections();
    void acceptFailed();
    void retryAccepting();
    bool renewListener();
    void updateAccepting();

    Handler handler;
    HttpServerLimits bounds;
    QTcpServer server;
    QTimer retry;
    QString refusal;
    int connections = 0;
};
