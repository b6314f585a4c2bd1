#include "http/HttpClient.h"

#include "TestHttpServer.h"
#include "http/BoundedBuffer.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

using Response = TestHttpServer::Response;
Q_DECLARE_METATYPE(Response)

namespace {

// Everything the client and the server report, in order, as short lines such
// as "finished 2 0", so a whole conversation can be compared at once. Ids are
// logged relative to base, the id of the test's first operation.
struct EventLog {
    EventLog(HttpClient& client, TestHttpServer& server)
    {
        QObject::connect(&client, &HttpClient::requestStarted, &client,
            [this](int id) { events << u"started %1"_s.arg(id - base); });
        QObject::connect(
            &client, &HttpClient::responseHeaderReceived, &client, [this](const HttpResponseHeader& h) {
                headers << h;
                events << u"header %1 %2"_s.arg(h.statusCode()).arg(h.reasonPhrase());
            });
        QObject::connect(&client, &HttpClient::dataReadProgress, &client, [this](int done, int total) {
            progress.append({ done, total });
            // How many pieces arrive depends on the network: one line per run.
            if (events.value(events.size() - 1) != u"progress"_s)
                events << u"progress"_s;
        });
        QObject::connect(&client, &HttpClient::requestFinished, &client,
            [this](int id, bool error) { events << u"finished %1 %2"_s.arg(id - base).arg(int(error)); });
        QObject::connect(
            &server, &TestHttpServer::requestReceived, &client, [this](const TestHttpServer::Request& r) {
                events << u"server "_s + QString::fromLatin1(r.target);
            });
    }

    int base = 0;
    QStringList events;
    QList<HttpResponseHeader> headers;
    QList<QPair<int, int>> progress;
};

} // namespace

// The HTTP client against a loopback server. Every test starts with the host setting of a fresh server queued
// as operation 0.
class TestHttp : public QObject {
    Q_OBJECT

    TestHttpServer* server = nullptr;
    HttpClient* client = nullptr;
    EventLog* log = nullptr;

    // Waits for the operation's report; with `after` it then queues one more
    // GET and waits for that too, so nothing queued before can still come.
    bool finish(int id, bool error, bool after = false)
    {
        const auto reported = [this](int which, bool failed) {
            const QString line = u"finished %1 %2"_s.arg(which).arg(int(failed));
            return QTest::qWaitFor([&] { return log->events.contains(line); }, 30000);
        };
        if (!reported(id, error) || !after)
            return !after;
        client->setHost(server->host(), server->port());
        return reported(client->get(u"/after"_s) - log->base, false);
    }

private slots:
    void init()
    {
        server = new TestHttpServer;
        QVERIFY(server->listen());
        client = new HttpClient;
        log = new EventLog(*client, *server);
        log->base = client->setHost(server->host(), server->port());
    }

    void cleanup()
    {
        delete client;
        delete log;
        delete server;
    }

    // Statuses are answers; bodies reach the device whole in every framing,
    // each piece before its progress report; a failure drops the queue.
    void answers_data()
    {
        QTest::addColumn<Response>("response");
        QTest::addColumn<QByteArray>("body"); // as the device receives it
        QTest::addColumn<QString>("error"); // empty: none; "*": any text
        QTest::addColumn<bool>("refused");
        QTest::addColumn<int>("deviceLimit"); // 0: none
        QByteArray random(3000, Qt::Uninitialized);
        QRandomGenerator(4711).fillRange(reinterpret_cast<quint32*>(random.data()), random.size() / 4);
        const auto pieced = [&random](Response::Framing framing) {
            return Response { .body = random, .framing = framing, .pieceSize = 750, .pieceDelayMs = 20 };
        };
        const auto raw = [](const QByteArray& name, const QByteArray& value, const QByteArray& body) {
            return Response {
                .headers = { { name, value } }, .body = body, .framing = Response::Framing::CloseDelimited
            };
        };
        QTest::newRow("404 with its own reason")
            << Response { .status = 404, .reason = "Kachel nicht gefunden", .body = "no such tile" }
            << QByteArray("no such tile") << QString() << false << 0;
        QTest::newRow("302 not followed")
            << Response { .status = 302, .reason = "Found", .headers = { { "LoCaTiOn", "/elsewhere.zip" } } }
            << QByteArray() << QString() << false << 0;
        QTest::newRow("Content-Length")
            << pieced(Response::Framing::ContentLength) << random << QString() << false << 0;
        QTest::newRow("chunked") << pieced(Response::Framing::Chunked) << random << QString() << false << 0;
        QTest::newRow("closed after the body")
            << pieced(Response::Framing::CloseDelimited) << random << QString() << false << 0;
        QTest::newRow("8 MiB") << Response { .body = QByteArray(8 << 20, 'm') } << QByteArray(8 << 20, 'm')
                               << QString() << false << 0;
        QTest::newRow("chunk size that is no number")
            << raw("Transfer-Encoding", "chunked", "zz\r\nhello\r\n0\r\n\r\n") << QByteArray()
            << "Invalid HTTP chunked body" << false << 0;
        QTest::newRow("negative Content-Length")
            << raw("Content-Length", "-5", "hello") << QByteArray("hello") << QString() << false << 0;
        QTest::newRow("empty chunked body of a redirect") << Response { .status = 302,
            .headers = { { "Location", "/a.zip" }, { "Transfer-Encoding", "chunked" } },
            .body = "0\r\n\r\n",
            .framing = Response::Framing::CloseDelimited } << QByteArray()
                                                          << QString() << false << 0;
        QTest::newRow("device that refuses the body")
            << Response { .body = random, .pieceSize = 500 } << QByteArray() << "The body could not be stored"
            << false << 1200;
        QTest::newRow("connection refused") << Response() << QByteArray() << "*" << true << 0;
        QTest::newRow("dropped in the body")
            << Response { .body = random, .dropAfter = 1000 } << random.left(1000) << "*" << false << 0;
        QTest::newRow("never answered, timed out")
            << Response { .silent = true } << QByteArray() << "*" << false << 0;
    }

    void answers()
    {
        QFETCH(Response, response);
        QFETCH(QByteArray, body);
        QFETCH(QString, error);
        QFETCH(bool, refused);
        QFETCH(int, deviceLimit);
        server->setResponse("/a", response);
        BoundedBuffer buffer(deviceLimit > 0 ? deviceLimit : 1 << 30);
        buffer.open(QIODevice::ReadWrite);
        bool writtenBeforeProgress = true;
        QList<QPair<int, int>> progress;
        client->setTransferTimeout(1000);
        client->setHost(server->host(), refused ? TestHttpServer::closedPort() : server->port());
        const int id = client->get("/a?q=a b", &buffer);
        bool receiving = true;
        connect(client, &HttpClient::requestFinished, this,
            [&](int finished) { receiving = receiving && finished != id; });
        connect(client, &HttpClient::dataReadProgress, this, [&](int done, int total) {
            if (receiving)
                progress.append({ done, total });
            writtenBeforeProgress = writtenBeforeProgress && (!receiving || buffer.size() == done);
        });
        client->get("/queued");
        // The queued GET starts only once the first has finished; after a
        // failure it never does.
        QVERIFY(error.isEmpty() ? finish(3, false) : finish(2, true, true));

        QCOMPARE(buffer.data().left(body.size()), body);
        QVERIFY(error.isEmpty() ? buffer.size() == body.size() : !log->events.contains("started 3"));
        if (error == u"*"_s)
            QVERIFY(client->errorString() != HttpClient().errorString());
        else if (!error.isEmpty())
            QCOMPARE(client->errorString(), error);
        QVERIFY(deviceLimit == 0 || buffer.size() <= deviceLimit);
        QVERIFY(writtenBeforeProgress);
        const bool announced = response.framing == Response::Framing::ContentLength;
        for (const auto& [done, total] : std::as_const(progress))
            QVERIFY(done >= 0 && total == (announced ? response.body.size() : 0));
        if (response.pieceDelayMs > 0)
            QVERIFY(progress.first().first < body.size());
        if (error.isEmpty()) {
            const qsizetype finished = log->events.indexOf(u"finished 2 0"_s);
            QVERIFY(finished >= 0 && finished < log->events.indexOf(u"started 3"_s));
            // One header for each of the two.
            QCOMPARE(log->events.filter(u"header"_s).size(), 2);
            QCOMPARE(server->requests().value(0).target, "/a?q=a%20b");
            QCOMPARE(server->requests().value(0).header("user-agent"), QByteArray("relka/" RELKA_VERSION));
            QCOMPARE(log->headers.value(0).statusCode(), response.status);
            QVERIFY(response.reason.isEmpty() || log->headers.value(0).reasonPhrase() == response.reason);
        }
        for (const auto& [name, value] : response.headers)
            QCOMPARE(log->headers.value(0).value(QString::fromLatin1(name)), QString::fromLatin1(value));
    }
};

QTEST_GUILESS_MAIN(TestHttp)
#include "tst_http.moc"
