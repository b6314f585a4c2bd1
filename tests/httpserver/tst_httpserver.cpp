#include "HttpServer.h"

#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(HttpResponse)

namespace {

// A client that sends raw bytes, including what no proper client would.
struct RawClient {
    explicit RawClient(quint16 port)
    {
        QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this] { received += socket.readAll(); });
        socket.connectToHost(QHostAddress::LocalHost, port);
        socket.waitForConnected(5000);
    }

    void send(const QByteArray& bytes)
    {
        socket.write(bytes);
        socket.flush();
    }

    bool waitForClose(int milliseconds = 10000)
    {
        return socket.state() == QAbstractSocket::UnconnectedState
            || QSignalSpy(&socket, &QTcpSocket::disconnected).wait(milliseconds);
    }

    QTcpSocket socket;
    QByteArray received;
};

const QByteArray closingGet = "GET /a HTTP/1.1\r\nConnection: close\r\n\r\n";
const QByteArray okHead = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: ";

} // namespace

// The server as a client sees it on the wire, above all with clients that
// misbehave.
class TestHttpServer : public QObject {
    Q_OBJECT

    QTemporaryDir directory;

private slots:
    void wire_data()
    {
        using Framing = HttpResponse::Framing;
        QTest::addColumn<HttpResponse>("response"); // for /a
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<bool>("halfClose"); // the client sends nothing more
        QTest::addColumn<QByteArray>("wire"); // all the answer, or its start before "..."
        const auto row = [](const char* name, const HttpResponse& response, const QByteArray& request,
                             const QByteArray& wire, bool halfClose = false) {
            QTest::newRow(name) << response << request << halfClose << wire;
        };
        const auto refused = [&row](const char* name, const QByteArray& request,
                                 const QByteArray& status = "400 Bad Request") {
            row(name, { .body = "ok" }, request, "HTTP/1.1 " + status + "\r\n...");
        };
        QFile file(directory.filePath(u"body.txt"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("hello") == 5);
        const HttpResponse ok { .body = "ok" };
        const QByteArray keptGet = "GET /a HTTP/1.1\r\n\r\n";
        const QByteArray chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: ";
        row("body from a file", { .bodyFile = file.fileName() }, closingGet,
            "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello");
        row("a chunk per piece",
            { .body = QByteArray(20, 'c'), .framing = Framing::Chunked, .pieceSize = 11 }, closingGet,
            chunked + "close\r\n\r\nb\r\nccccccccccc\r\n9\r\nccccccccc\r\n0\r\n\r\n");
        row("dropped: no last chunk",
            { .body = "abcdefg", .framing = Framing::Chunked, .pieceSize = 3, .dropAfter = 4 }, keptGet,
            chunked + "keep-alive\r\n\r\n3\r\nabc\r\n1\r\nd\r\n");
        row("paced, close-delimited",
            { .status = 410,
                .body = "abcdef",
                .framing = Framing::CloseDelimited,
                .pieceSize = 2,
                .pieceDelayMs = 20 },
            keptGet, "HTTP/1.1 410 Gone\r\nConnection: close\r\n\r\nabcdef");
        // Such text comes from a request: a decoded path, a query value.
        row("own reason and fields, CR and LF as blanks",
            { .status = 302,
                .reason = "A\r\nB",
                .headers = { { "LoCaTiOn", "/x" }, { "X\nY", "v\r\n<p>" } } },
            closingGet,
            "HTTP/1.1 302 A  B\r\nLoCaTiOn: /x\r\nX Y: v  <p>\r\nContent-Length: 0\r\nConnection: "
            "close\r\n\r\n");
        row("kept alive, pipelined, path decoded", ok,
            "GET /%61 HTTP/1.1\r\nContent-Length: 4\r\n\r\nbodyGET /a HTTP/1.0\r\nConnection: "
            "keep-alive\r\n\r\n"
                + closingGet,
            okHead + "keep-alive\r\n\r\nok" + okHead + "keep-alive\r\n\r\nok" + okHead + "close\r\n\r\nok");
        row("HTTP/1.0 closes", ok, "GET /a HTTP/1.0\r\n\r\n" + keptGet, okHead + "close\r\n\r\nok");
        row("bare LF, sending side closed", ok, "\r\nGET /a HTTP/1.1\nA: 1\n\n",
            okHead + "keep-alive\r\n\r\nok", true);
        row("closed within the head", ok, "GET /a HT", {}, true);
        refused("CR inside a field", "GET /a HTTP/1.1\r\nHost: a\rb\r\n\r\n");
        refused("escape character", "GET /\x1b[2J HTTP/1.1\r\n\r\n");
        refused("folded line", "GET /a HTTP/1.1\r\nA: 1\r\n 2\r\n\r\n");
        refused("no HTTP/1 version", "GET /a HTTP/2\r\n\r\n");
        refused("target not a path", "GET http://h/a HTTP/1.1\r\n\r\n");
        refused("negative length", "POST /a HTTP/1.1\r\nContent-Length: -1\r\n\r\n");
        refused("chunked request body",
            "POST /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n");
        refused("endless head", "GET /a HTTP/1.1\r\nX: " + QByteArray(100 * 1024, 'x'),
            "431 Request Header Fields Too Large");
    }

    // Every request ends with its answers and a close; the server lets go
    // of the connection.
    void wire()
    {
        QFETCH(HttpResponse, response);
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, wire);
        HttpServer server([&response](const HttpRequest& request, const HttpResponder& respond) {
            respond(request.path == u"/a"_s ? response : HttpResponse::message(404, request.path));
        });
        QVERIFY(server.listen());
        RawClient client(server.serverPort());
        client.send(request);
        QFETCH(bool, halfClose);
        if (halfClose)
            ::shutdown(int(client.socket.socketDescriptor()), SHUT_WR);
        QVERIFY(client.waitForClose());
        if (wire.endsWith("..."))
            QCOMPARE(client.received.left(wire.size() - 3), wire.chopped(3));
        else
            QCOMPARE(client.received, wire);
        QTRY_COMPARE(server.connectionCount(), 0);
    }
};

QTEST_GUILESS_MAIN(TestHttpServer)
#include "tst_httpserver.moc"
