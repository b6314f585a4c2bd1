#include "http/HttpClient.h"

#include "SimProcess.h"
#include "TestHttpServer.h"
#include "http/BoundedBuffer.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

using Response = TestHttpServer::Response;
Q_DECLARE_METATYPE(Response)

// The HTTP client against a loopback server.
class TestHttp : public QObject {
    Q_OBJECT

private slots:
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
        TestHttpServer server;
        QVERIFY(server.listen());
        server.setResponse("/a", response);
        HttpClient client;
        // What the client and the server report, in order, as "started 2",
        // "header 200", "server /queued", "finished 2 1".
        QStringList events;
        QList<HttpResponseHeader> headers;
        connect(&client, &HttpClient::requestStarted, [&](int id) { events << u"started %1"_s.arg(id); });
        connect(&client, &HttpClient::responseHeaderReceived, [&](const HttpResponseHeader& header) {
            headers << header;
            events << u"header"_s;
        });
        connect(&client, &HttpClient::requestFinished,
            [&](int id, bool failed) { events << u"finished %1 %2"_s.arg(id).arg(int(failed)); });
        connect(&server, &TestHttpServer::requestReceived, [&](const TestHttpServer::Request& request) {
            events << "server " + QString::fromLatin1(request.target);
        });
        const auto finished = [&](int id, bool failed) {
            const QString line = u"finished %1 %2"_s.arg(id).arg(int(failed));
            return QTest::qWaitFor([&] { return events.contains(line); }, SimProcess::patience());
        };

        BoundedBuffer buffer(deviceLimit > 0 ? deviceLimit : 1 << 30);
        buffer.open(QIODevice::ReadWrite);
        bool receiving = true;
        bool writtenBeforeProgress = true;
        QList<QPair<int, int>> progress;
        client.setTransferTimeout(1000);
        client.setHost(server.host(), refused ? TestHttpServer::closedPort() : server.port());
        const int id = client.get("/a?q=a b", &buffer);
        connect(
            &client, &HttpClient::requestFinished, [&](int done) { receiving = receiving && done != id; });
        connect(&client, &HttpClient::dataReadProgress, [&](int done, int total) {
            if (receiving)
                progress.append({ done, total });
            writtenBeforeProgress = writtenBeforeProgress && (!receiving || buffer.size() == done);
        });
        const int queued = client.get("/queued");
        // The queued GET starts once the first has finished; after a failure
        // it never does, which shows once a GET queued later has finished.
        QVERIFY(finished(error.isEmpty() ? queued : id, !error.isEmpty()));
        client.setHost(server.host(), server.port());
        QVERIFY(finished(client.get(u"/after"_s), false));
        QCOMPARE(events.indexOf(u"started %1"_s.arg(queued)) > events.indexOf(u"finished %1 0"_s.arg(id)),
            error.isEmpty());

        QCOMPARE(buffer.data().left(body.size()), body);
        QVERIFY(!error.isEmpty() || buffer.size() == body.size());
        if (error == u"*"_s)
            QVERIFY(client.errorString() != HttpClient().errorString());
        else if (!error.isEmpty())
            QCOMPARE(client.errorString(), error);
        QVERIFY(writtenBeforeProgress);
        const bool announced = response.framing == Response::Framing::ContentLength;
        for (const auto& [done, total] : std::as_const(progress))
            QVERIFY(done >= 0 && total == (announced ? response.body.size() : 0));
        if (response.pieceDelayMs > 0)
            QVERIFY(progress.first().first < body.size());
        if (error.isEmpty()) {
            // One header for each of the three.
            QCOMPARE(events.count(u"header"_s), 3);
            QCOMPARE(server.requests().value(0).target, "/a?q=a%20b");
            QCOMPARE(server.requests().value(0).header("user-agent"), QByteArray("relka/" RELKA_VERSION));
            QCOMPARE(headers.value(0).statusCode(), response.status);
            QVERIFY(response.reason.isEmpty() || headers.value(0).reasonPhrase() == response.reason);
        }
        for (const auto& [name, value] : response.headers)
            QCOMPARE(headers.value(0).value(QString::fromLatin1(name)), QString::fromLatin1(value));
    }
};

QTEST_GUILESS_MAIN(TestHttp)
#include "tst_http.moc"
