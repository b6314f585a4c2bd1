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

    // No more bytes from this side; the connection stays open for the answer.
    void halfClose() { ::shutdown(int(socket.socketDescriptor()), SHUT_WR); }

    bool waitForClose(int milliseconds = 5000)
    {
        return socket.state() == QAbstractSocket::UnconnectedState
            || QSignalSpy(&socket, &QTcpSocket::disconnected).wait(milliseconds);
    }

    QTcpSocket socket;
    QByteArray received;
};

const QByteArray closingGet = "GET /a HTTP/1.1\r\nConnection: close\r\n\r\n";

}

// The server's connections as a client sees them on the wire, above all
// with clients that misbehave.
class TestHttpConnection : public QObject {
    Q_OBJECT

    QTemporaryDir directory;
    std::unique_ptr<HttpServer> server;
    // Answers the request with the response for its path; "ok" by default.
    QHash<QString, HttpResponse> responses;

    void start(const HttpServerLimits& limits = {})
    {
        server
            = std::make_unique<HttpServer>([this](const HttpRequest& request, const HttpResponder& respond) {
                  respond(responses.value(request.path, HttpResponse { .body = "ok" }));
              });
        server->setLimits(limits);
        QVERIFY(server->listen());
    }

private slots:
    void initTestCase()
    {
        QFile file(directory.filePath(QStringLiteral("body.txt")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("hello") == 5);
    }

    void init() { responses.clear(); }
    void cleanup() { server.reset(); }

    void deliveryShapesTheWire_data()
    {
        using Framing = HttpResponse::Framing;
        QTest::addColumn<HttpResponse>("response");
        QTest::addColumn<QByteArray>("wire");

        QTest::newRow("body from a file")
            << HttpResponse { .bodyFile = directory.filePath(QStringLiteral("body.txt")) }
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello");
        QTest::newRow("a chunk per piece")
            << HttpResponse { .body = "abcdefg", .framing = Framing::Chunked, .pieceSize = 3 }
            << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
                          "3\r\nabc\r\n3\r\ndef\r\n1\r\ng\r\n0\r\n\r\n");
        QTest::newRow("dropped: no last chunk")
            << HttpResponse { .body = "abcdefg", .framing = Framing::Chunked, .pieceSize = 3, .dropAfter = 4 }
            << QByteArray("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
                          "3\r\nabc\r\n1\r\nd\r\n");
        QTest::newRow("paced, close-delimited") << HttpResponse { .status = 410,
            .body = "abcdef",
            .framing = Framing::CloseDelimited,
            .pieceSize = 2,
            .pieceDelayMs = 20 } << QByteArray("HTTP/1.1 410 Gone\r\nConnection: close\r\n\r\nabcdef");
        QTest::newRow("paced at a rate, dropped half-way")
            <<
            [] {
                HttpResponse response { .body = QByteArray(40, 'r'), .dropAfter = 20 };
                response.setByteRate(100);
                return response;
            }()
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 40\r\nConnection: close\r\n\r\n")
                + QByteArray(20, 'r');
    }

    void deliveryShapesTheWire()
    {
        QFETCH(HttpResponse, response);
        start();
        responses.insert(QStringLiteral("/a"), response);
        RawClient client(server->serverPort());
        client.send(closingGet);
        QVERIFY(client.waitForClose());
        QTEST(client.received, "wire");
    }

    // Every such request ends with an answer or a clean close, and the
    // server lets go of the connection.
    void oddRequestsGetAnAnswerOrAClose_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<bool>("halfClose");
        QTest::addColumn<QByteArray>("statusLine"); // empty: closed without an answer

        QTest::newRow("bare LF") << QByteArray("GET /a HTTP/1.1\nConnection: close\n\n") << false
                                 << QByteArray("HTTP/1.1 200 OK");
        QTest::newRow("half-closed after the request")
            << QByteArray("GET /a HTTP/1.1\r\n\r\n") << true << QByteArray("HTTP/1.1 200 OK");
        QTest::newRow("half-closed within the head") << QByteArray("GET /a HT") << true << QByteArray();
        QTest::newRow("CR inside a field") << QByteArray("GET /a HTTP/1.1\r\nHost: a\rb\r\n\r\n") << false
                                           << QByteArray("HTTP/1.1 400 Bad Request");
        QTest::newRow("chunked request body")
            << QByteArray("POST /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n")
            << false << QByteArray("HTTP/1.1 400 Bad Request");
        QTest::newRow("endless head") << "GET /a HTTP/1.1\r\nX: " + QByteArray(100 * 1024, 'x') << false
                                      << QByteArray("HTTP/1.1 431 Request Header Fields Too Large");
    }

    void oddRequestsGetAnAnswerOrAClose()
    {
        QFETCH(QByteArray, request);
        QFETCH(bool, halfClose);
        QFETCH(QByteArray, statusLine);
        start();
        RawClient client(server->serverPort());
        client.send(request);
        if (halfClose)
            client.halfClose();
        QVERIFY(client.waitForClose());
        QCOMPARE(client.received.left(client.received.indexOf("\r\n")), statusLine);
        QTRY_COMPARE(server->connectionCount(), 0);
    }

    void pipelinedRequestsAreAnsweredInOrder()
    {
        // Far less read-ahead than the requests take, so reading has to
        // stop and start again many times.
        start({ .readAheadBytes = 256 });
        for (int i = 0; i < 100; ++i)
            responses.insert(
                QStringLiteral("/%1").arg(i), HttpResponse { .body = "<" + QByteArray::number(i) + ">" });
        QByteArray requests;
        for (int i = 0; i < 100; ++i)
            requests += "GET /" + QByteArray::number(i) + " HTTP/1.1\r\nContent-Length: 4\r\n\r\nbody";
        RawClient client(server->serverPort());
        client.send(requests + closingGet);
        QVERIFY(client.waitForClose(10000));
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
        responses.insert(QStringLiteral("/a"), response);
        RawClient client(server->serverPort());
        const qint64 flood = 96 * 1024 * 1024;
        client.send("GET /a HTTP/1.1\r\n\r\n" + QByteArray(flood, 'x'));
        // Wait until the client's sending stalls (at most 20 s).
        qint64 left = client.socket.bytesToWrite();
        for (int i = 0; i < 100; ++i) {
            QTest::qWait(200);
            if (client.socket.bytesToWrite() == left)
                break;
            left = client.socket.bytesToWrite();
        }
        const qint64 taken = flood - left;
        QVERIFY2(taken < 32 * 1024 * 1024, qPrintable(QString::number(taken)));
    }

    void idleTimeout_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<bool>("closed");

        QTest::newRow("half-sent head") << QByteArray("GET /a HTTP/1.1\r\nHost: ") << true;
        QTest::newRow("nothing after an answer") << QByteArray("GET /a HTTP/1.1\r\n\r\n") << true;
        QTest::newRow("answer not read") << QByteArray("GET /large HTTP/1.1\r\n\r\n") << true;
        // The client waits for an answer until its user gives up.
        QTest::newRow("answer never coming") << QByteArray("GET /silent HTTP/1.1\r\n\r\n") << false;
    }

    void idleTimeout()
    {
        QFETCH(QByteArray, request);
        QFETCH(bool, closed);
        start({ .idleTimeoutMs = 200 });
        responses.insert(QStringLiteral("/silent"), HttpResponse { .silent = true });
        responses.insert(
            QStringLiteral("/large"), HttpResponse { .body = QByteArray(64 * 1024 * 1024, 'l') });
        RawClient client(server->serverPort());
        // This client takes in at most a little of any answer.
        client.socket.disconnect(&client.socket);
        client.socket.setReadBufferSize(1024);
        client.send(request);
        if (closed) {
            // Filling the network's buffers first can take a while.
            QTRY_COMPARE_WITH_TIMEOUT(server->connectionCount(), 0, 10000);
        } else {
            QTest::qWait(1000);
            QCOMPARE(server->connectionCount(), 1);
        }
    }

    // The idle timeout ends a stalled reader, not a slow one, nor an answer
    // the server itself paces.
    void slowAnswersKeepTheirConnection_data()
    {
        QTest::addColumn<HttpResponse>("response");

        QTest::newRow("client reads slowly") << HttpResponse { .body = QByteArray(32 * 1024 * 1024, 's') };
        QTest::newRow("server paces")
            << HttpResponse { .body = "paced", .pieceSize = 1, .pieceDelayMs = 150 };
    }

    void slowAnswersKeepTheirConnection()
    {
        QFETCH(HttpResponse, response);
        start({ .idleTimeoutMs = 100 });
        responses.insert(QStringLiteral("/a"), response);
        RawClient client(server->serverPort());
        client.socket.disconnect(&client.socket);
        client.socket.setReadBufferSize(1024 * 1024);
        client.send(closingGet);
        const QByteArray expected = response.head(response.bodySize(), false) + response.body;
        for (int i = 0; i < 500 && client.received.size() < expected.size(); ++i) {
            QTest::qWait(20);
            client.received += client.socket.read(1024 * 1024);
        }
        QVERIFY(client.received == expected);
    }

    void clientsBeyondTheCapWait()
    {
        start({ .connections = 2 });
        RawClient first(server->serverPort());
        RawClient second(server->serverPort());
        QTRY_COMPARE(server->connectionCount(), 2);
        RawClient third(server->serverPort());
        third.send(closingGet);
        QTest::qWait(300);
        QCOMPARE(server->connectionCount(), 2);
        QVERIFY(third.received.isEmpty());

        first.socket.abort();
        QVERIFY(third.waitForClose());
        QVERIFY(third.received.startsWith("HTTP/1.1 200 OK"));
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
                if (text.startsWith(QLatin1String("accepting a connection failed")))
                    failures.fetchAndAddRelaxed(1);
                else
                    passOn(type, context, text);
            });
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
        const auto restoreHandler = qScopeGuard([] { qInstallMessageHandler(passOn); });
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
        QTest::qWait(1000);
        QVERIFY2(failures >= 1 && failures <= 20, qPrintable(QString::number(failures)));
        freeDescriptors();
        QVERIFY(waiting.waitForClose());
        QVERIFY(waiting.received.startsWith("HTTP/1.1 200 OK"));

        failures = 0;
        RawClient later(server->serverPort());
        later.send(closingGet);
        QVERIFY(later.waitForClose());
        QVERIFY(later.received.startsWith("HTTP/1.1 200 OK"));
        QCOMPARE(int(failures), 0);
    }

    // The log line is made by one arg() call, so "%1" in a request is text.
    void requestTextIsNoLogPlaceholder()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("relka.httpserver.info=true"));
        start();
        QTest::ignoreMessage(QtInfoMsg, "127.0.0.1 \"GET /%1%2?q=%3 HTTP/1.1\" 200 2 bytes");
        RawClient client(server->serverPort());
        client.send("GET /%1%2?q=%3 HTTP/1.1\r\nConnection: close\r\n\r\n");
        QVERIFY(client.waitForClose());
        QLoggingCategory::setFilterRules(QString());
    }
};

QTEST_GUILESS_MAIN(TestHttpConnection)
#include "tst_httpconnection.moc"
