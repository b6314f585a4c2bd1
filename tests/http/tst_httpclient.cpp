#include "http/HttpClient.h"

#include "TestHttpServer.h"

#include <QBuffer>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QTest>

Q_DECLARE_METATYPE(TestHttpServer::Response)

namespace {

using Response = TestHttpServer::Response;

constexpr int timeoutMs = 10000;

// Everything a client reports, in order, as short lines such as
// "finished 7 0", so a whole conversation can be compared at once.
class EventLog
{
public:
    explicit EventLog(HttpClient& client)
    {
        QObject::connect(&client, &HttpClient::requestStarted, &client,
                         [this](int id) { events.append(QStringLiteral("started %1").arg(id)); });
        QObject::connect(&client, &HttpClient::responseHeaderReceived, &client,
                         [this](const HttpResponseHeader& header) {
                             headers.append(header);
                             events.append(QStringLiteral("header %1 %2").arg(header.statusCode()).arg(header.reasonPhrase()));
                         });
        QObject::connect(&client, &HttpClient::dataReadProgress, &client, [this](int done, int total) {
            progress.append({done, total});
            // The number of pieces depends on the network: one line per run.
            if (events.isEmpty() || events.last() != QLatin1String("progress"))
                events.append(QStringLiteral("progress"));
        });
        QObject::connect(&client, &HttpClient::requestFinished, &client, [this](int id, bool error) {
            events.append(QStringLiteral("finished %1 %2").arg(id).arg(int(error)));
        });
    }

    bool hasFinished(int id) const
    {
        return std::any_of(events.cbegin(), events.cend(), [id](const QString& event) {
            return event.startsWith(QStringLiteral("finished %1 ").arg(id));
        });
    }

    bool waitFinished(int id) const
    {
        return QTest::qWaitFor([this, id] { return hasFinished(id); }, timeoutMs);
    }

    QStringList events;
    QList<HttpResponseHeader> headers;
    QList<QPair<int, int>> progress;
};

QString started(int id)
{
    return QStringLiteral("started %1").arg(id);
}

QString finished(int id, bool error)
{
    return QStringLiteral("finished %1 %2").arg(id).arg(int(error));
}

QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(4711);
    for (char& byte : bytes)
        byte = char(generator.bounded(256));
    return bytes;
}

// A body that takes about pieces × delayMs to arrive.
Response slowBody(int pieces, int delayMs)
{
    return {.body = QByteArray(pieces * 100, 's'), .pieceSize = 100, .pieceDelayMs = delayMs};
}

} // namespace

class HttpClientTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void reportsHeaderThenProgressThenFinished();
    void signalsWaitForTheEventLoop();
    void idsAreUniqueAcrossClients();
    void operationsRunOneAtATimeInOrder();
    void clearPendingRequestsKeepsTheCurrentOne();
    void sendsUserAgentHostAndPathWithQuery();
    void headerLookupIgnoresCase_data();
    void headerLookupIgnoresCase();
    void httpErrorStatusIsAnAnswer_data();
    void httpErrorStatusIsAnAnswer();
    void redirectIsNotFollowed();
    void bodyFraming_data();
    void bodyFraming();
    void largeBodyIsStreamedIntoTheDevice();

    void abortReportsTheTransferAtOnce();
    void abortFromHeaderSlotStopsTheBody();
    void abortFromFinishedSlotDropsTheQueueSilently();
    void abortWithoutTransferInProgress_data();
    void abortWithoutTransferInProgress();
    void transportFailureDropsTheQueue_data();
    void transportFailureDropsTheQueue();

private:
    TestHttpServer* m_server = nullptr;
    HttpClient* m_client = nullptr;
};

void HttpClientTest::init()
{
    m_server = new TestHttpServer;
    QVERIFY(m_server->listen());
    m_client = new HttpClient;
}

void HttpClientTest::cleanup()
{
    delete m_client;
    delete m_server;
}

void HttpClientTest::reportsHeaderThenProgressThenFinished()
{
    m_server->setResponse("/a", {.body = "hello"});
    EventLog log(*m_client);
    QBuffer body;
    body.open(QIODevice::ReadWrite);

    const int hostId = m_client->setHost(m_server->host(), m_server->port());
    const int getId = m_client->get(QStringLiteral("/a"), &body);
    QVERIFY(log.waitFinished(getId));

    const QStringList expected{started(hostId), finished(hostId, false), started(getId),
                               QStringLiteral("header 200 OK"), QStringLiteral("progress"), finished(getId, false)};
    QCOMPARE(log.events, expected);
    QCOMPARE(log.progress.last(), qMakePair(5, 5));
    QCOMPARE(body.data(), QByteArray("hello"));
    QCOMPARE(m_client->currentId(), 0);
    QVERIFY(!m_client->hasPendingRequests());
}

void HttpClientTest::signalsWaitForTheEventLoop()
{
    m_server->setResponse("/a", {.body = "x"});
    EventLog log(*m_client);
    const int hostId = m_client->setHost(m_server->host(), m_server->port());
    const int getId = m_client->get(QStringLiteral("/a"));

    QVERIFY(log.events.isEmpty());
    QVERIFY(m_client->hasPendingRequests());
    QVERIFY(log.waitFinished(getId));
    QVERIFY(log.hasFinished(hostId));
}

void HttpClientTest::idsAreUniqueAcrossClients()
{
    HttpClient other;
    const int a1 = m_client->setHost(m_server->host(), m_server->port());
    const int b1 = other.setHost(m_server->host(), m_server->port());
    const int a2 = m_client->get(QStringLiteral("/a"));
    const int b2 = other.get(QStringLiteral("/a"));

    QCOMPARE(b1, a1 + 1);
    QCOMPARE(a2, b1 + 1);
    QCOMPARE(b2, a2 + 1);
}

void HttpClientTest::operationsRunOneAtATimeInOrder()
{
    m_server->setResponse("/1", slowBody(5, 30));
    m_server->setResponse("/2", {.body = "two"});
    m_server->setResponse("/3", slowBody(3, 30));
    EventLog log(*m_client);
    connect(m_server, &TestHttpServer::requestReceived, m_client, [&log](const TestHttpServer::Request& request) {
        log.events.append(QStringLiteral("server ") + QString::fromLatin1(request.target));
    });

    m_client->setHost(m_server->host(), m_server->port());
    const int first = m_client->get(QStringLiteral("/1"));
    const int second = m_client->get(QStringLiteral("/2"));
    const int third = m_client->get(QStringLiteral("/3"));
    QVERIFY(log.waitFinished(third));

    const QStringList sequence = log.events.filter(QRegularExpression(QStringLiteral("^(server|started|finished) ")));
    const QStringList expected{started(first), QStringLiteral("server /1"), finished(first, false),
                               started(second), QStringLiteral("server /2"), finished(second, false),
                               started(third), QStringLiteral("server /3"), finished(third, false)};
    QCOMPARE(sequence.mid(2), expected);
}

void HttpClientTest::clearPendingRequestsKeepsTheCurrentOne()
{
    m_server->setResponse("/1", slowBody(5, 20));
    EventLog log(*m_client);
    QSignalSpy headerSpy(m_client, &HttpClient::responseHeaderReceived);
    m_client->setHost(m_server->host(), m_server->port());
    const int first = m_client->get(QStringLiteral("/1"));
    const int second = m_client->get(QStringLiteral("/2"));
    QVERIFY(headerSpy.wait(timeoutMs));

    QCOMPARE(m_client->currentId(), first);
    QVERIFY(m_client->hasPendingRequests());
    m_client->clearPendingRequests();
    QVERIFY(!m_client->hasPendingRequests());
    QVERIFY(log.waitFinished(first));
    QTest::qWait(200);

    QVERIFY(log.events.contains(finished(first, false)));
    QVERIFY(!log.events.contains(started(second)));
    QCOMPARE(m_server->requests().size(), 1);
}

void HttpClientTest::sendsUserAgentHostAndPathWithQuery()
{
    m_client->setHost(m_server->host(), m_server->port());
    EventLog log(*m_client);
    QVERIFY(log.waitFinished(m_client->get(QStringLiteral("/demo.cgi?address=1%202 Main St&x=y"))));

    const TestHttpServer::Request request = m_server->requests().value(0);
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.target, QByteArray("/demo.cgi?address=1%202%20Main%20St&x=y"));
    QCOMPARE(request.header("user-agent"), QByteArray("relka/" RELKA_VERSION));
    QCOMPARE(request.header("host"), "127.0.0.1:" + QByteArray::number(m_server->port()));
    QCOMPARE(request.header("cookie"), QByteArray());
}

void HttpClientTest::headerLookupIgnoresCase_data()
{
    QTest::addColumn<QByteArray>("sentName");
    QTest::addColumn<QString>("lookedUp");
    QTest::addColumn<QString>("value");

    QTest::newRow("Refresh as written") << QByteArray("Refresh") << "Refresh" << "5; URL=/next";
    QTest::newRow("refresh sent in lower case") << QByteArray("refresh") << "Refresh" << "30; url=/x";
    QTest::newRow("REFRESH looked up in lower case") << QByteArray("REFRESH") << "refresh" << "0";
    QTest::newRow("Location in mixed case") << QByteArray("LoCaTiOn") << "location" << "/file.zip";
}

void HttpClientTest::headerLookupIgnoresCase()
{
    QFETCH(QByteArray, sentName);
    QFETCH(QString, lookedUp);
    QFETCH(QString, value);
    m_server->setResponse("/h", {.headers = {{sentName, value.toLatin1()}}});
    EventLog log(*m_client);
    m_client->setHost(m_server->host(), m_server->port());
    QVERIFY(log.waitFinished(m_client->get(QStringLiteral("/h"))));

    QCOMPARE(log.headers.size(), 1);
    QVERIFY(log.headers[0].hasKey(lookedUp));
    QCOMPARE(log.headers[0].value(lookedUp), value);
    QVERIFY(log.headers[0].keys().contains(QString::fromLatin1(sentName)));
}

void HttpClientTest::httpErrorStatusIsAnAnswer_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reason");

    QTest::newRow("404") << 404 << QByteArray("Not Found");
    QTest::newRow("404 with a reason of its own") << 404 << QByteArray("Kachel nicht gefunden");
    QTest::newRow("400") << 400 << QByteArray("Bad Request");
    QTest::newRow("500") << 500 << QByteArray("Internal Server Error");
    QTest::newRow("503") << 503 << QByteArray("Service Unavailable");
    QTest::newRow("304") << 304 << QByteArray("Not Modified");
}

void HttpClientTest::httpErrorStatusIsAnAnswer()
{
    QFETCH(int, status);
    QFETCH(QByteArray, reason);
    const QByteArray body = status == 304 ? QByteArray() : QByteArray("no such tile");
    m_server->setResponse("/e", {.status = status, .reason = reason, .body = body});
    m_server->setResponse("/next", {.body = "ok"});
    EventLog log(*m_client);
    QBuffer buffer;
    buffer.open(QIODevice::ReadWrite);

    m_client->setHost(m_server->host(), m_server->port());
    const int failing = m_client->get(QStringLiteral("/e"), &buffer);
    const int next = m_client->get(QStringLiteral("/next"));
    QVERIFY(log.waitFinished(next));

    QVERIFY(log.events.contains(finished(failing, false)));
    QVERIFY(log.events.contains(finished(next, false)));
    QCOMPARE(log.headers[0].statusCode(), status);
    QCOMPARE(log.headers[0].reasonPhrase(), QString::fromLatin1(reason));
    QCOMPARE(buffer.data(), body);
}

void HttpClientTest::redirectIsNotFollowed()
{
    m_server->setResponse("/r", {.status = 302, .reason = "Found", .headers = {{"Location", "/elsewhere.zip"}}});
    EventLog log(*m_client);
    m_client->setHost(m_server->host(), m_server->port());
    const int id = m_client->get(QStringLiteral("/r"));
    QVERIFY(log.waitFinished(id));

    QVERIFY(log.events.contains(finished(id, false)));
    QCOMPARE(log.headers.size(), 1);
    QCOMPARE(log.headers[0].statusCode(), 302);
    QCOMPARE(log.headers[0].value(QStringLiteral("location")), QStringLiteral("/elsewhere.zip"));
    QCOMPARE(m_server->requests().size(), 1);
}

void HttpClientTest::bodyFraming_data()
{
    QTest::addColumn<int>("framing");
    QTest::addColumn<int>("expectedTotal");

    QTest::newRow("Content-Length") << int(Response::Framing::ContentLength) << 3000;
    QTest::newRow("chunked") << int(Response::Framing::Chunked) << 0;
    QTest::newRow("closed after the body, no length") << int(Response::Framing::CloseDelimited) << 0;
}

void HttpClientTest::bodyFraming()
{
    QFETCH(int, framing);
    QFETCH(int, expectedTotal);
    const QByteArray body = randomBytes(3000);
    m_server->setResponse("/b", {.body = body, .framing = Response::Framing(framing), .pieceSize = 700, .pieceDelayMs = 10});
    EventLog log(*m_client);
    QBuffer buffer;
    buffer.open(QIODevice::ReadWrite);

    m_client->setHost(m_server->host(), m_server->port());
    const int id = m_client->get(QStringLiteral("/b"), &buffer);
    QVERIFY(log.waitFinished(id));

    QVERIFY(log.events.contains(finished(id, false)));
    QCOMPARE(buffer.data(), body);
    QVERIFY(!log.progress.isEmpty());
    for (const auto& [done, total] : std::as_const(log.progress))
        QCOMPARE(total, expectedTotal);
    QCOMPARE(log.progress.last().first, 3000);
}

void HttpClientTest::largeBodyIsStreamedIntoTheDevice()
{
    const QByteArray body = randomBytes(8 * 1024 * 1024);
    m_server->setResponse("/big.zip", {.body = body, .pieceSize = 1024 * 1024, .pieceDelayMs = 5});
    QTemporaryFile file;
    QVERIFY(file.open());
    EventLog log(*m_client);
    qint64 sizeAtFirstProgress = -1;
    connect(m_client, &HttpClient::dataReadProgress, this, [&file, &sizeAtFirstProgress] {
        if (sizeAtFirstProgress < 0)
            sizeAtFirstProgress = file.size();
    });

    m_client->setHost(m_server->host(), m_server->port());
    const int id = m_client->get(QStringLiteral("/big.zip"), &file);
    QVERIFY(log.waitFinished(id));

    QVERIFY(log.events.contains(finished(id, false)));
    QVERIFY(sizeAtFirstProgress > 0);
    QVERIFY(sizeAtFirstProgress < body.size());
    QCOMPARE(log.progress.last(), qMakePair(int(body.size()), int(body.size())));
    file.seek(0);
    QVERIFY(file.readAll() == body);
}

void HttpClientTest::abortReportsTheTransferAtOnce()
{
    m_server->setResponse("/slow", slowBody(100, 50));
    m_server->setResponse("/after", {.body = "after"});
    EventLog log(*m_client);
    QSignalSpy progressSpy(m_client, &HttpClient::dataReadProgress);
    m_client->setHost(m_server->host(), m_server->port());
    const int slow = m_client->get(QStringLiteral("/slow"));
    const int queued = m_client->get(QStringLiteral("/queued"));
    QVERIFY(progressSpy.wait(timeoutMs));

    m_client->abort();
    QCOMPARE(log.events.last(), finished(slow, true));
    QCOMPARE(m_client->currentId(), 0);
    QVERIFY(!m_client->hasPendingRequests());
    QVERIFY(!m_client->errorString().isEmpty());

    const qsizetype eventsAfterAbort = log.events.size();
    const qsizetype progressAfterAbort = log.progress.size();
    QTest::qWait(300);
    QCOMPARE(log.events.size(), eventsAfterAbort);
    QCOMPARE(log.progress.size(), progressAfterAbort);
    QVERIFY(!log.events.contains(started(queued)));

    QBuffer buffer;
    buffer.open(QIODevice::ReadWrite);
    const int after = m_client->get(QStringLiteral("/after"), &buffer);
    QVERIFY(log.waitFinished(after));
    QCOMPARE(log.events.last(), finished(after, false));
    QCOMPARE(buffer.data(), QByteArray("after"));
}

void HttpClientTest::abortFromHeaderSlotStopsTheBody()
{
    m_server->setResponse("/bad", {.status = 404, .reason = "Not Found", .body = QByteArray(10000, 'x')});
    EventLog log(*m_client);
    connect(m_client, &HttpClient::responseHeaderReceived, m_client, &HttpClient::abort);
    m_client->setHost(m_server->host(), m_server->port());
    const int id = m_client->get(QStringLiteral("/bad"));
    QVERIFY(log.waitFinished(id));
    QTest::qWait(200);

    QCOMPARE(log.events.mid(log.events.indexOf(started(id))),
             QStringList({started(id), QStringLiteral("header 404 Not Found"), finished(id, true)}));
}

void HttpClientTest::abortFromFinishedSlotDropsTheQueueSilently()
{
    EventLog log(*m_client);
    const int hostId = m_client->setHost(m_server->host(), m_server->port());
    const int getId = m_client->get(QStringLiteral("/a"));
    connect(m_client, &HttpClient::requestFinished, m_client, &HttpClient::abort);
    QVERIFY(log.waitFinished(hostId));
    QTest::qWait(200);

    QCOMPARE(log.events, QStringList({started(hostId), finished(hostId, false)}));
    QVERIFY(!log.events.contains(started(getId)));
    QVERIFY(m_server->requests().isEmpty());
}

void HttpClientTest::abortWithoutTransferInProgress_data()
{
    QTest::addColumn<bool>("queueSomething");

    QTest::newRow("only queued operations") << true;
    QTest::newRow("nothing at all") << false;
}

void HttpClientTest::abortWithoutTransferInProgress()
{
    QFETCH(bool, queueSomething);
    EventLog log(*m_client);
    const QString errorBefore = m_client->errorString();
    if (queueSomething) {
        m_client->setHost(m_server->host(), m_server->port());
        m_client->get(QStringLiteral("/a"));
    }

    m_client->abort();
    QTest::qWait(200);

    QVERIFY(log.events.isEmpty());
    QVERIFY(!m_client->hasPendingRequests());
    QVERIFY(m_server->requests().isEmpty());
    QCOMPARE(m_client->errorString(), errorBefore);
    QVERIFY(!errorBefore.isEmpty());

    m_client->setHost(m_server->host(), m_server->port());
    QVERIFY(log.waitFinished(m_client->get(QStringLiteral("/a"))));
}

void HttpClientTest::transportFailureDropsTheQueue_data()
{
    QTest::addColumn<bool>("refused");
    QTest::addColumn<Response>("response");
    QTest::addColumn<bool>("headerExpected");

    QTest::newRow("connection refused") << true << Response() << false;
    QTest::newRow("dropped in the body") << false << Response{.body = QByteArray(5000, 'b'), .dropAfter = 1000} << true;
    QTest::newRow("dropped in a chunked body")
        << false << Response{.body = QByteArray(5000, 'b'), .framing = Response::Framing::Chunked, .dropAfter = 1000}
        << true;
    QTest::newRow("never answered") << false << Response{.silent = true} << false;
}

void HttpClientTest::transportFailureDropsTheQueue()
{
    QFETCH(bool, refused);
    QFETCH(Response, response);
    QFETCH(bool, headerExpected);
    m_server->setResponse("/fail", response);
    m_client->setTransferTimeout(500);
    EventLog log(*m_client);

    m_client->setHost(m_server->host(), refused ? TestHttpServer::closedPort() : m_server->port());
    const int failing = m_client->get(QStringLiteral("/fail"));
    const int queued = m_client->get(QStringLiteral("/queued"));
    QVERIFY(log.waitFinished(failing));
    QTest::qWait(200);

    QCOMPARE(log.events.last(), finished(failing, true));
    QCOMPARE(log.headers.size(), headerExpected ? 1 : 0);
    QVERIFY(!log.events.contains(started(queued)));
    QVERIFY(!m_client->hasPendingRequests());
    QVERIFY(m_client->errorString() != HttpClient().errorString());
}

QTEST_GUILESS_MAIN(HttpClientTest)
#include "tst_httpclient.moc"
