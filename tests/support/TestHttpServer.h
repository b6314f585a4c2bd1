#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>

#include <functional>

class QTcpServer;
class QTcpSocket;

// A scriptable HTTP/1.1 server on the loopback interface for network tests.
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
// anything else gets 404 "Not Found". Connections stay open between requests
// (keep-alive) unless the response is close-delimited or dropped.
// closedPort() gives a port on which connections are refused.
class TestHttpServer : public QObject
{
    Q_OBJECT

public:
    struct Response
    {
        enum class Framing {
            ContentLength, // "Content-Length" is added to the headers
            Chunked,       // "Transfer-Encoding: chunked", one chunk per piece
            CloseDelimited // no length; the connection is closed after the body
        };

        int status = 200;
        QByteArray reason = "OK";
        // Sent as given, letter case and order included, before the framing field.
        QList<QPair<QByteArray, QByteArray>> headers = {};
        QByteArray body = {};
        Framing framing = Framing::ContentLength;
        // Body written in pieces of this size (0: all at once), with the delay
        // between pieces; the head goes out at once.
        int pieceSize = 0;
        int pieceDelayMs = 0;
        // Close the connection after this many body bytes (-1: never).
        qint64 dropAfter = -1;
        // Read the request and never answer it.
        bool silent = false;
    };

    struct Request
    {
        QByteArray method;
        QByteArray target; // as on the request line: path and query
        QList<QPair<QByteArray, QByteArray>> headers;

        QByteArray path() const;
        // First header value named name, ignoring case; empty when absent.
        QByteArray header(const QByteArray& name) const;
    };

    using Handler = std::function<Response(const Request&)>;

    explicit TestHttpServer(QObject* parent = nullptr);
    ~TestHttpServer() override;

    // Listens on 127.0.0.1 at a free port.
    bool listen();
    QString host() const;
    quint16 port() const;
    // A loopback port with nothing listening: connections to it are refused.
    static quint16 closedPort();

    // target is a path ("/a/b.png") or a path with query ("/demo.cgi?x=1").
    void setResponse(const QByteArray& target, const Response& response);
    // For answers that depend on the request or change between requests.
    void setHandler(const QByteArray& target, const Handler& handler);

    // Every request received so far, in arrival order.
    QList<Request> requests() const;

signals:
    void requestReceived(const TestHttpServer::Request& request);

private:
    void acceptConnections();
    void readRequests(QTcpSocket* socket);
    void answer(QTcpSocket* socket, const Response& response);
    void writeBody(QTcpSocket* socket, const Response& response, qint64 offset);
    Response responseFor(const Request& request) const;

    QTcpServer* m_server;
    QHash<QByteArray, Handler> m_handlers;
    QHash<QTcpSocket*, QByteArray> m_input;
    QList<Request> m_requests;
};
