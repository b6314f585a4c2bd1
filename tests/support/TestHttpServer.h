#pragma once

#include "HttpServer.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>

// A scripted HTTP/1.1 server on the loopback interface for network tests.
//
//     TestHttpServer server;
//     QVERIFY(server.listen());
//     server.setResponse("/tiles/1.png", {.body = png});
//     server.setResponse("/missing", {.status = 404, .reason = "Not Found"});
//     server.setResponse("/slow", {.body = big, .pieceSize = 4096, .pieceDelayMs = 20});
//     client.setHost(server.host(), server.port());
//     ... run the client ...
//     QCOMPARE(server.requests().last().header("user-agent"), "relka/0.1.0");
//
// A request is answered with the response set for its whole target (path and
// query) or, failing that, for its path alone, or with a handler for it;
// anything else gets 404. Connections stay open between requests
// (keep-alive) unless the response is close-delimited or dropped.
// closedPort() gives a port on which connections are refused.
class TestHttpServer : public QObject {
    Q_OBJECT

public:
    using Request = HttpRequest;
    using Response = HttpResponse;
    using Handler = std::function<Response(const Request&)>;

    explicit TestHttpServer(QObject* parent = nullptr);

    // Listens on 127.0.0.1 at a free port.
    bool listen();
    QString host() const;
    quint16 port() const;
    // A loopback port with nothing listening: connections to it are refused.
    static quint16 closedPort();

    // target is a path ("/a/b.png") or a path with query ("/demo.cgi?x=1"),
    // encoded as on the request line.
    void setResponse(const QByteArray& target, const Response& response);
    // For answers that depend on the request or change between requests.
    void setHandler(const QByteArray& target, const Handler& handler);

    // Every request received so far, in arrival order.
    QList<Request> requests() const;

signals:
    void requestReceived(const HttpRequest& request);

private:
    void answer(const Request& request, const HttpResponder& respond);

    HttpServer server;
    QHash<QByteArray, Handler> handlers;
    QList<Request> received;
};
