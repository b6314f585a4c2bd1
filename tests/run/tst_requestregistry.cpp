#include "app/MessageLog.h"
#include "http/HttpClient.h"
#include "run/RequestRegistry.h"

#include <QBuffer>
#include <QTemporaryDir>
#include <QTest>

using Handler = RequestRegistry::Handler;
Q_DECLARE_METATYPE(Handler)

class TestRequestRegistry : public QObject {
    Q_OBJECT

    QStringList logged;

private slots:
    void initTestCase()
    {
        MessageLog::setEcho([this](const QString& line) { logged.append(line); });
    }

    void init() { logged.clear(); }

    void rule_data()
    {
        QTest::addColumn<Handler>("handler");
        QTest::addColumn<bool>("verbose");
        QTest::addColumn<QStringList>("lines"); // unknown id, first reply, second reply
        QTest::addColumn<bool>("secondAccepted");
        QTest::newRow("elevation, verbose")
            << Handler::Seamless << true
            << QStringList { "seamlessHttpRequestFinished(1, 0) - request never issued. Returning.",
                   "seamlessHttpRequestFinished(7, 1)",
                   "seamlessHttpRequestFinished(7, 1) - request already processed. Returning." }
            << false;
        QTest::newRow("tiles, verbose")
            << Handler::OpenStreetMap << true
            << QStringList { "openStreetMapHttpRequestFinished(1, 0) - request never issued. Returning.",
                   "openStreetMapHttpRequestFinished(7, 1)",
                   "openStreetMapHttpRequestFinished(7, 1) - request already processed. Returning" }
            << false;
        QTest::newRow("geocoding, verbose")
            << Handler::Geocode << true
            << QStringList { "geocodeRequestFinished(1, 0) - request never issued. Returning.",
                   "geocodeRequestFinished(7, 1)",
                   "geocodeRequestFinished(7, 1) - request already processed. Returning" }
            << false;
        QTest::newRow("quiet: never marked processed")
            << Handler::Seamless << false
            << QStringList { "seamlessHttpRequestFinished(1, 0) - request never issued. Returning." } << true;
    }

    void rule()
    {
        QFETCH(Handler, handler);
        QFETCH(bool, verbose);
        HttpClient client;
        RequestRegistry registry;
        const int id = registry.issue(client, QStringLiteral("/x"), QStringLiteral("http://h/x"));
        QVERIFY(!registry.accept(handler, id + 1000, false, verbose));
        QVERIFY(registry.accept(handler, id, true, verbose));
        QTEST(!registry.accept(handler, id, true, verbose).isNull(), "secondAccepted");
        QFETCH(QStringList, lines);
        QCOMPARE(logged.size(), lines.size());
        for (int i = 0; i < lines.size(); ++i) {
            lines[i].replace(QStringLiteral("(1, 0)"), QStringLiteral("(%1, 0)").arg(id + 1000));
            lines[i].replace(QStringLiteral("(7, 1)"), QStringLiteral("(%1, 1)").arg(id));
        }
        QCOMPARE(logged, lines);
    }

    void heldRecordOutlivesClear()
    {
        HttpClient client;
        RequestRegistry registry;
        const int id = registry.issue(client, QStringLiteral("/x"), QStringLiteral("http://h/x"));
        const RequestRegistry::Record held = registry.find(id);
        QVERIFY(held && held->buffer && held->buffer->isOpen());
        QCOMPARE(held->url, QStringLiteral("http://h/x"));
        registry.clear();
        QVERIFY(!registry.find(id));
        held->buffer->write("still usable");
        held->releaseBuffer();
        QVERIFY(!held->buffer);
    }
};

QTEST_GUILESS_MAIN(TestRequestRegistry)
#include "tst_requestregistry.moc"
