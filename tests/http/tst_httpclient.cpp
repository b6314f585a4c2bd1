#include "http/HttpClient.h"

#include "SimProcess.h"
#include "TestHttpServer.h"
#include "http/BoundedBuffer.h"

#include <QBuffer>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>
#include <QThread>

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
            [this](int id) { events << QStringLiteral("started %1").arg(id - base); });
        QObject::connect(
            &client, &HttpClient::responseHeaderReceived, &client, [this](const HttpResponseHeader& header) {
                headers << header;
                events << QStringLiteral("header %1 %2").arg(header.statusCode()).arg(header.reasonPhrase());
            });
        QObject::connect(&client, &HttpClient::dataReadProgress, &client, [this](int done, int total) {
            progress.append({ done, total });
            // How many pieces arrive depends on the network: one line per run.
            if (events.value(events.size() - 1) != QLatin1String("progress"))
                events << QStringLiteral("progress");
        });
        QObject::connect(&client, &HttpClient::requestFinished, &client, [this](int id, bool error) {
            events << QStringLiteral("finished %1 %2").arg(id - base).arg(int(error));
        });
        QObject::connect(
            &server, &TestHttpServer::requestReceived, &client, [this](const TestHttpServer::Request& r) {
                events << QStringLiteral("server ") + QString::fromLatin1(r.target);
            });
    }

    int base = 0;
    QStringList events;
    QList<HttpResponseHeader> headers;
    QList<QPair<int, int>> progress;
};

qint64 residentBytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return 0;
}

} // namespace

// Every test starts with the host setting of a fresh loopback server queued
// as operation 0.
class TestHttpClient : public QObject {
    Q_OBJECT

    TestHttpServer* server = nullptr;
    HttpClient* client = nullptr;
    EventLog* log = nullptr;

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

    void conversationRunsOneOperationAtATimeInOrder()
    {
        // The first body is slow, so a second transfer running alongside would show.
        server->setResponse("/1", { .body = QByteArray(500, 's'), .pieceSize = 100, .pieceDelayMs = 30 });
        server->setResponse("/2", { .body = "two" });
        QBuffer body;
        body.open(QIODevice::ReadWrite);
        QCOMPARE(client->get("/1?q=a b", &body), log->base + 1);
        HttpClient other; // takes id 2: one counter serves every client
        QCOMPARE(other.setHost("example.org"), log->base + 2);
        QCOMPARE(client->get("/2"), log->base + 3);
        QVERIFY(log->events.isEmpty());
        QVERIFY(client->hasPendingRequests());
        QTRY_VERIFY(log->events.contains("finished 3 0"));

        QCOMPARE(log->events,
            QStringList(
                { "started 0", "finished 0 0", "started 1", "server /1?q=a%20b", "header 200 OK", "progress",
                    "finished 1 0", "started 3", "server /2", "header 200 OK", "progress", "finished 3 0" }));
        QCOMPARE(body.data(), QByteArray(500, 's'));
        QCOMPARE(log->progress.last(), qMakePair(3, 3));
        QCOMPARE(server->requests().value(0).header("user-agent"), QByteArray("relka/" RELKA_VERSION));
        QCOMPARE(client->currentId(), 0);
        QVERIFY(!client->hasPendingRequests());
    }

    void clearPendingRequestsKeepsTheCurrentOne()
    {
        client->get("/1");
        client->get("/2");
        connect(client, &HttpClient::responseHeaderReceived, client, &HttpClient::clearPendingRequests);
        QTRY_VERIFY(log->events.contains("finished 1 0"));
        QTest::qWait(200);
        QCOMPARE(log->events.last(), "finished 1 0");
    }

    void statusIsAnAnswer_data()
    {
        QTest::addColumn<Response>("response");
        QTest::addColumn<QString>("location");

        QTest::newRow("404 with its own reason")
            << Response { .status = 404, .reason = "Kachel nicht gefunden", .body = "no such tile" }
            << QString();
        QTest::newRow("500") << Response { .status = 500, .reason = "Internal Server Error", .body = "oops" }
                             << QString();
        QTest::newRow("302 not followed")
            << Response { .status = 302, .reason = "Found", .headers = { { "LoCaTiOn", "/elsewhere.zip" } } }
            << "/elsewhere.zip";
    }

    void statusIsAnAnswer()
    {
        QFETCH(Response, response);
        QFETCH(QString, location);
        server->setResponse("/e", response);
        QBuffer body;
        body.open(QIODevice::ReadWrite);
        client->get("/e", &body);
        client->get("/next");
        QTRY_VERIFY(log->events.contains("finished 2 0"));

        QVERIFY(log->events.contains("finished 1 0"));
        QCOMPARE(log->headers.value(0).statusCode(), response.status);
        QCOMPARE(log->headers.value(0).reasonPhrase(), QString::fromLatin1(response.reason));
        QCOMPARE(log->headers.value(0).value("location"), location);
        QCOMPARE(body.data(), response.body);
        QCOMPARE(server->requests().size(), 2);
    }

    void bodyArrivesIntact_data()
    {
        QTest::addColumn<Response::Framing>("framing");
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("announced");

        QTest::newRow("Content-Length") << Response::Framing::ContentLength << 3000 << true;
        QTest::newRow("chunked") << Response::Framing::Chunked << 3000 << false;
        QTest::newRow("no length, closed after the body")
            << Response::Framing::CloseDelimited << 3000 << false;
        QTest::newRow("8 MiB") << Response::Framing::ContentLength << 8 * 1024 * 1024 << true;
    }

    void bodyArrivesIntact()
    {
        QFETCH(Response::Framing, framing);
        QFETCH(int, size);
        QFETCH(bool, announced);
        QByteArray body(size, Qt::Uninitialized);
        QRandomGenerator(4711).fillRange(reinterpret_cast<quint32*>(body.data()), size / 4);
        server->setResponse(
            "/b", { .body = body, .framing = framing, .pieceSize = size / 4, .pieceDelayMs = 20 });
        QBuffer buffer;
        buffer.open(QIODevice::ReadWrite);
        bool writtenBeforeProgress = true;
        connect(client, &HttpClient::dataReadProgress, this,
            [&](int done) { writtenBeforeProgress = writtenBeforeProgress && buffer.size() == done; });
        client->get("/b", &buffer);
        QTRY_VERIFY_WITH_TIMEOUT(log->events.contains("finished 1 0"), 10000);

        QVERIFY(buffer.data() == body);
        QVERIFY(writtenBeforeProgress);
        QVERIFY(log->progress.first().first < size);
        QCOMPARE(log->progress.last().first, size);
        for (const auto& [done, total] : std::as_const(log->progress))
            QCOMPARE(total, announced ? size : 0);
    }

    void abortDropsTheQueue_data()
    {
        QTest::addColumn<QString>("slot");
        QTest::addColumn<QStringList>("expected");

        const QStringList transfer { "started 0", "finished 0 0", "started 1", "server /slow",
            "header 200 OK" };
        QTest::newRow("in the header slot") << "header" << transfer + QStringList { "finished 1 1" };
        QTest::newRow("in a progress slot")
            << "progress" << transfer + QStringList { "progress", "finished 1 1" };
        QTest::newRow("with only queued operations") << "" << QStringList();
        QTest::newRow("in the finished slot of the host setting")
            << "finished" << QStringList { "started 0", "finished 0 0" };
    }

    // abort() reports a transfer in progress before it returns and drops the
    // queued operations without a report.
    void abortDropsTheQueue()
    {
        QFETCH(QString, slot);
        QFETCH(QStringList, expected);
        server->setResponse(
            "/slow", { .body = QByteArray(10000, 's'), .pieceSize = 100, .pieceDelayMs = 20 });
        client->get("/slow");
        client->get("/queued");
        const QString errorBefore = client->errorString();
        QString lastAtReturn;
        const auto abortNow = [&] {
            client->abort();
            lastAtReturn = log->events.value(log->events.size() - 1);
        };
        if (slot == "header")
            connect(client, &HttpClient::responseHeaderReceived, this, abortNow, Qt::SingleShotConnection);
        else if (slot == "progress")
            connect(client, &HttpClient::dataReadProgress, this, abortNow, Qt::SingleShotConnection);
        else if (slot == "finished")
            connect(client, &HttpClient::requestFinished, this, abortNow, Qt::SingleShotConnection);
        else
            abortNow();
        QTRY_COMPARE(log->events, expected);
        QTest::qWait(300);

        QCOMPARE(log->events, expected);
        QCOMPARE(lastAtReturn, expected.value(expected.size() - 1));
        QCOMPARE(client->errorString() != errorBefore, expected.contains("finished 1 1"));
        QVERIFY(!client->hasPendingRequests());

        // The client goes on with what is queued afterwards.
        client->setHost(server->host(), server->port());
        client->get("/after");
        QTRY_VERIFY(log->events.contains("finished 4 0"));
    }

    void brokenFraming_data()
    {
        QTest::addColumn<Response>("response");
        QTest::addColumn<bool>("error");
        QTest::addColumn<QByteArray>("body");

        const auto raw = [](const QByteArray& name, const QByteArray& value, const QByteArray& body) {
            return Response {
                .headers = { { name, value } }, .body = body, .framing = Response::Framing::CloseDelimited
            };
        };
        QTest::newRow("chunk size that is no number")
            << raw("Transfer-Encoding", "chunked", "zz\r\nhello\r\n0\r\n\r\n") << true << QByteArray();
        QTest::newRow("negative Content-Length")
            << raw("Content-Length", "-5", "hello") << false << QByteArray("hello");
        QTest::newRow("empty chunked body of a redirect") << Response { .status = 302,
            .headers = { { "Location", "/a.zip" }, { "Transfer-Encoding", "chunked" } },
            .body = "0\r\n\r\n",
            .framing = Response::Framing::CloseDelimited } << false
                                                          << QByteArray();
        QTest::newRow("empty body with a length") << Response { .body = "" } << false << QByteArray();
    }

    // A body that cannot be decoded fails instead of passing for an empty
    // one, and progress never goes below zero.
    void brokenFraming()
    {
        QFETCH(Response, response);
        QFETCH(bool, error);
        QFETCH(QByteArray, body);
        server->setResponse("/f", response);
        QBuffer buffer;
        buffer.open(QIODevice::ReadWrite);
        client->get("/f", &buffer);
        const QString finished = QStringLiteral("finished 1 %1").arg(int(error));
        QTRY_VERIFY(log->events.contains(finished));

        QCOMPARE(buffer.data(), body);
        QCOMPARE(client->errorString() == QLatin1String("Invalid HTTP chunked body"), error);
        for (const auto& [done, total] : std::as_const(log->progress))
            QVERIFY(done >= 0 && total >= 0);
    }

    void deviceThatRefusesTheBodyFailsTheRequest()
    {
        server->setResponse("/big", { .body = QByteArray(3000, 'b'), .pieceSize = 500 });
        BoundedBuffer buffer(1200);
        buffer.open(QIODevice::ReadWrite);
        client->get("/big", &buffer);
        client->get("/queued");
        QTRY_VERIFY(log->events.contains("finished 1 1"));
        QTest::qWait(200);

        QCOMPARE(log->events.last(), "finished 1 1");
        QVERIFY(buffer.overflowed());
        QVERIFY(buffer.size() <= 1200);
        QCOMPARE(client->errorString(), "The body could not be stored");
    }

    // The network reads only a little ahead of the slots: a body without end
    // does not pile up in memory while the event loop is held up, even when
    // it goes to no device at all.
    void endlessBodyStaysBounded()
    {
        // A server of its own process keeps sending while this thread sleeps.
        SimProcess sim({ QStringLiteral("--endless-body"), QStringLiteral("/12/") });
        QVERIFY(sim.isRunning());
        client->setHost(sim.url(QString()).host(), quint16(sim.url(QString()).port()));
        const qint64 before = residentBytes();
        qint64 peak = 0;
        connect(client, &HttpClient::dataReadProgress, this, [&](int done) {
            if (peak == 0)
                QThread::msleep(1000); // a long step that does not return to the event loop
            peak = qMax(peak, residentBytes());
            if (done > 8 * 1024 * 1024)
                client->abort();
        });
        client->get("/12/100/100.png");
        QTRY_VERIFY_WITH_TIMEOUT(log->events.contains("finished 2 1"), 30000);

        QVERIFY2(peak - before < 64 * 1024 * 1024,
            qPrintable(QStringLiteral("grew by %1 MiB").arg((peak - before) >> 20)));
    }

    void transportFailureDropsTheQueue_data()
    {
        QTest::addColumn<bool>("refused");
        QTest::addColumn<Response>("response");

        QTest::newRow("connection refused") << true << Response();
        QTest::newRow("dropped in the body")
            << false << Response { .body = QByteArray(5000, 'b'), .dropAfter = 1000 };
        QTest::newRow("never answered, timed out") << false << Response { .silent = true };
    }

    void transportFailureDropsTheQueue()
    {
        QFETCH(bool, refused);
        QFETCH(Response, response);
        server->setResponse("/fail", response);
        client->setTransferTimeout(500);
        client->setHost(server->host(), refused ? TestHttpServer::closedPort() : server->port());
        client->get("/fail");
        client->get("/queued");
        QTRY_VERIFY(log->events.contains("finished 2 1"));
        QTest::qWait(200);

        QCOMPARE(log->events.last(), "finished 2 1");
        QVERIFY(client->errorString() != HttpClient().errorString());
    }
};

QTEST_GUILESS_MAIN(TestHttpClient)
#include "tst_httpclient.moc"
