#include "HttpServer.h"

#include <QLoggingCategory>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>

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
    std::unique_ptr<HttpServer> server;
    // Answers the request with the response for its path; "ok" by default.
    QHash<QString, HttpResponse> responses;
    // The most connections open while a request was handled.
    int busiest = 0;

    void start(const HttpServerLimits& limits = {})
    {
        busiest = 0;
        server
            = std::make_unique<HttpServer>([this](const HttpRequest& request, const HttpResponder& respond) {
                  busiest = std::max(busiest, server->connectionCount());
                  respond(responses.value(request.path, HttpResponse { .body = "ok" }));
              });
        server->setLimits(limits);
        QVERIFY(server->listen());
    }

private slots:
    void init() { responses.clear(); }
    void cleanup() { server.reset(); }

    void wire_data()
    {
        using Framing = HttpResponse::Framing;
        QTest::addColumn<HttpResponse>("response"); // for /a
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<bool>("halfClose"); // the client sends nothing more
        QTest::addColumn<QByteArray>("wire"); // all the answer, or its start before "..."
        QFile file(directory.filePath(u"body.txt"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("hello") == 5);
        const HttpResponse ok { .body = "ok" };
        const QByteArray chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: ";
        QTest::newRow("body from a file")
            << HttpResponse { .bodyFile = file.fileName() } << closingGet << false
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello");
        QTest::newRow("a chunk per piece")
            << HttpResponse { .body = QByteArray(20, 'c'), .framing = Framing::Chunked, .pieceSize = 11 }
            << closingGet << false
            << chunked + "close\r\n\r\nb\r\nccccccccccc\r\n9\r\nccccccccc\r\n0\r\n\r\n";
        QTest::newRow("dropped: no last chunk")
            << HttpResponse { .body = "abcdefg", .framing = Framing::Chunked, .pieceSize = 3, .dropAfter = 4 }
            << QByteArray("GET /a HTTP/1.1\r\n\r\n") << false
            << chunked + "keep-alive\r\n\r\n3\r\nabc\r\n1\r\nd\r\n";
        QTest::newRow("paced, close-delimited")
            << HttpResponse { .status = 410,
                   .body = "abcdef",
                   .framing = Framing::CloseDelimited,
                   .pieceSize = 2,
                   .pieceDelayMs = 20 }
            << QByteArray("GET /a HTTP/1.1\r\n\r\n") << false
            << QByteArray("HTTP/1.1 410 Gone\r\nConnection: close\r\n\r\nabcdef");
        HttpResponse paced { .body = QByteArray(40, 'r'), .dropAfter = 20 };
        paced.setByteRate(100);
        QTest::newRow("paced at a rate, dropped half-way")
            << paced << closingGet << false
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 40\r\nConnection: close\r\n\r\n")
                + QByteArray(20, 'r');
        // Such text comes from a request: a decoded path, a query value.
        QTest::newRow("own reason and fields, CR and LF as blanks")
            << HttpResponse { .status = 302,
                   .reason = "A\r\nB",
                   .headers = { { "LoCaTiOn", "/x" }, { "X\nY", "v\r\n<p>" } } }
            << closingGet << false
            << QByteArray("HTTP/1.1 302 A  B\r\nLoCaTiOn: /x\r\nX Y: v  <p>\r\nContent-Length: "
                          "0\r\nConnection: close\r\n\r\n");
        QTest::newRow("kept alive, pipelined, path decoded")
            << ok
            << "GET /%61 HTTP/1.1\r\nContent-Length: 4\r\n\r\nbodyGET /a HTTP/1.0\r\nConnection: "
               "keep-alive\r\n\r\n"
                + closingGet
            << false
            << okHead + "keep-alive\r\n\r\nok" + okHead + "keep-alive\r\n\r\nok" + okHead + "close\r\n\r\nok";
        QTest::newRow("HTTP/1.0 closes") << ok << QByteArray("GET /a HTTP/1.0\r\n\r\nGET /a HTTP/1.1\r\n\r\n")
                                         << false << okHead + "close\r\n\r\nok";
        QTest::newRow("bare LF, sending side closed")
            << ok << QByteArray("\r\nGET /a HTTP/1.1\nA: 1\n\n") << true << okHead + "keep-alive\r\n\r\nok";
        QTest::newRow("closed within the head") << ok << QByteArray("GET /a HT") << true << QByteArray();
        const QByteArray badRequest = "HTTP/1.1 400 Bad Request\r\n...";
        QTest::newRow("CR inside a field")
            << ok << QByteArray("GET /a HTTP/1.1\r\nHost: a\rb\r\n\r\n") << false << badRequest;
        QTest::newRow("escape character")
            << ok << QByteArray("GET /\x1b[2J HTTP/1.1\r\n\r\n") << false << badRequest;
        QTest::newRow("folded line") << ok << QByteArray("GET /a HTTP/1.1\r\nA: 1\r\n 2\r\n\r\n") << false
                                     << badRequest;
        QTest::newRow("no HTTP/1 version")
            << ok << QByteArray("GET /a HTTP/2\r\n\r\n") << false << badRequest;
        QTest::newRow("target not a path")
            << ok << QByteArray("GET http://h/a HTTP/1.1\r\n\r\n") << false << badRequest;
        QTest::newRow("negative length")
            << ok << QByteArray("POST /a HTTP/1.1\r\nContent-Length: -1\r\n\r\n") << false << badRequest;
        QTest::newRow("chunked request body")
            << ok
            << QByteArray("POST /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n")
            << false << badRequest;
        QTest::newRow("endless head") << ok << "GET /a HTTP/1.1\r\nX: " + QByteArray(100 * 1024, 'x') << false
                                      << QByteArray("HTTP/1.1 431 Request Header Fields Too Large\r\n...");
    }

    // Every request ends with its answers and a close; the server lets go
    // of the connection.
    void wire()
    {
        QFETCH(HttpResponse, response);
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, wire);
        start();
        responses.insert(u"/a"_s, response);
        RawClient client(server->serverPort());
        client.send(request);
        QFETCH(bool, halfClose);
        if (halfClose)
            ::shutdown(int(client.socket.socketDescriptor()), SHUT_WR);
        QVERIFY(client.waitForClose());
        if (wire.endsWith("..."))
            QCOMPARE(client.received.left(wire.size() - 3), wire.chopped(3));
        else
            QCOMPARE(client.received, wire);
        QTRY_COMPARE(server->connectionCount(), 0);
    }

    void pipelinedRequestsAreAnsweredInOrder()
    {
        // Far less read-ahead than the requests take, so reading has to
        // stop and start again many times.
        start({ .readAheadBytes = 256 });
        QByteArray requests;
        for (int i = 0; i < 100; ++i) {
            responses.insert(u"/%1"_s.arg(i), HttpResponse { .body = "<" + QByteArray::number(i) + ">" });
            requests += "GET /" + QByteArray::number(i) + " HTTP/1.1\r\nContent-Length: 4\r\n\r\nbody";
        }
        RawClient client(server->serverPort());
        client.send(requests + closingGet);
        QVERIFY(client.waitForClose());
        qsizetype at = 0;
        for (int i = 0; i < 100 && at >= 0; ++i)
            at = client.received.indexOf("\r\n\r\n<" + QByteArray::number(i) + ">", at);
        QVERIFY2(at >= 0, client.received.right(200).constData());
        QCOMPARE(client.received.count("HTTP/1.1 200 OK"), 101);
    }

    // A client that keeps sending while its answer is pending or being
    // written fills the server's bounded read-ahead and then the network,
    // never the server's memory.
    void sendingWhileAnsweredStaysBounded_data()
    {
        QTest::addColumn<HttpResponse>("response");
        QTest::newRow("answer pending") << HttpResponse { .silent = true };
        QTest::newRow("answer being written")
            << HttpResponse { .body = QByteArray(1000, 'b'), .pieceSize = 1, .pieceDelayMs = 100 };
    }

    void sendingWhileAnsweredStaysBounded()
    {
        QFETCH(HttpResponse, response);
        start();
        responses.insert(u"/a"_s, response);
        RawClient client(server->serverPort());
        const qint64 flood = 96 * 1024 * 1024;
        client.send("GET /a HTTP/1.1\r\n\r\n" + QByteArray(flood, 'x'));
        // Sending has stalled once a while passes without a byte written.
        QSignalSpy written(&client.socket, &QTcpSocket::bytesWritten);
        while (written.wait(500)) { }
        const qint64 taken = flood - client.socket.bytesToWrite();
        QVERIFY2(taken < 32 * 1024 * 1024, qPrintable(QString::number(taken)));
    }

    // The idle timeout ends a half-sent head, a connection left idle after
    // its answer and a stalled reader; not a slow reader, nor an answer the
    // server itself paces.
    void idleTimeout_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<HttpResponse>("response");
        QTest::addColumn<bool>("read"); // the client reads the answer
        QTest::addColumn<bool>("whole"); // and gets it all
        const HttpResponse large { .body = QByteArray(32 * 1024 * 1024, 'l') };
        QTest::newRow("half-sent head") << QByteArray("GET /a HTTP/1.1\r\nHost: ") << large << true << false;
        QTest::newRow("nothing after an answer")
            << QByteArray("GET /b HTTP/1.1\r\n\r\n") << large << true << false;
        QTest::newRow("answer not read") << closingGet << large << false << false;
        QTest::newRow("answer read slowly") << closingGet << large << true << true;
        QTest::newRow("server paces")
            << closingGet << HttpResponse { .body = "pc", .pieceSize = 1, .pieceDelayMs = 600 } << true
            << true;
    }

    void idleTimeout()
    {
        QFETCH(QByteArray, request);
        QFETCH(HttpResponse, response);
        QFETCH(bool, read);
        QFETCH(bool, whole);
        start({ .idleTimeoutMs = 500 });
        responses.insert(u"/a"_s, response);
        RawClient client(server->serverPort());
        // This client takes in at most a few megabytes of an answer at a time.
        client.socket.disconnect(&client.socket);
        client.socket.setReadBufferSize(4 << 20);
        client.send(request);
        const QByteArray expected = response.head(response.bodySize(), false) + response.body;
        bool accepted = false;
        QVERIFY(QTest::qWaitFor(
            [&] {
                client.received += read ? client.socket.read(4 << 20) : QByteArray();
                accepted = accepted || server->connectionCount() > 0;
                return read ? client.socket.state() == QAbstractSocket::UnconnectedState
                        && client.socket.bytesAvailable() == 0
                            : accepted && server->connectionCount() == 0;
            },
            30000));
        QCOMPARE(client.received == expected, whole);
    }

    void clientsBeyondTheCapWait()
    {
        start({ .connections = 2 });
        RawClient first(server->serverPort());
        RawClient second(server->serverPort());
        QTRY_COMPARE(server->connectionCount(), 2);
        RawClient third(server->serverPort());
        third.send(closingGet);
        second.send(closingGet);
        QVERIFY(third.waitForClose());
        QVERIFY(third.received.startsWith("HTTP/1.1 200 OK"));
        QCOMPARE(busiest, 2);
    }

    // With no file descriptor left, accepting fails; the server tries again
    // after a pause instead of at once, serves the client once it can, and
    // later clients as before.
    void failedAcceptPausesAndRecovers()
    {
        start({ .acceptRetryMs = 100 });
        static QAtomicInt failures;
        static QtMessageHandler passOn = nullptr;
        failures = 0;
        passOn = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
                if (text.startsWith(u"accepting a connection failed"_s))
                    failures.fetchAndAddRelaxed(1);
                else
                    passOn(type, context, text);
            });
        const auto restoreHandler = qScopeGuard([] { qInstallMessageHandler(passOn); });
        rlimit original {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &original), 0);
        QList<int> fillers;
        const auto freeDescriptors = [&] {
            for (int fd : std::as_const(fillers))
                ::close(fd);
            fillers.clear();
            setrlimit(RLIMIT_NOFILE, &original);
        };
        const auto freeOnFailure = qScopeGuard(freeDescriptors);
        rlimit lowered = original;
        lowered.rlim_cur = std::min<rlim_t>(original.rlim_cur, 4096);
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &lowered), 0);
        for (int fd = ::open("/dev/null", O_RDONLY); fd >= 0 && fillers.size() < 4096;
             fd = ::open("/dev/null", O_RDONLY))
            fillers.append(fd);
        // One descriptor for the client's socket, none for the server's.
        ::close(fillers.takeLast());

        RawClient waiting(server->serverPort());
        waiting.send(closingGet);
        QVERIFY(QTest::qWaitFor([] { return failures >= 1; }, 10000));
        // A server that tried again at once would fail thousands of times
        // in a few of its pauses.
        QTest::qWait(300);
        QVERIFY2(failures <= 20, qPrintable(QString::number(failures)));
        freeDescriptors();
        QVERIFY(waiting.waitForClose());
        QVERIFY(waiting.received.startsWith("HTTP/1.1 200 OK"));
        RawClient later(server->serverPort());
        later.send(closingGet);
        QVERIFY(later.waitForClose());
        QVERIFY(later.received.startsWith("HTTP/1.1 200 OK"));
    }

    // The log line is made by one arg() call, so "%1" in a request is text.
    void requestTextIsNoLogPlaceholder()
    {
        QLoggingCategory::setFilterRules(u"relka.httpserver.info=true"_s);
        start();
        QTest::ignoreMessage(QtInfoMsg, "127.0.0.1 \"GET /%1%2?q=%3 HTTP/1.1\" 200 2 bytes");
        RawClient client(server->serverPort());
        client.send("GET /%1%2?q=%3 HTTP/1.1\r\nConnection: close\r\n\r\n");
        QVERIFY(client.waitForClose());
        QLoggingCategory::setFilterRules(QString());
    }
};

QTEST_GUILESS_MAIN(TestHttpServer)
#include "tst_httpserver.moc"
