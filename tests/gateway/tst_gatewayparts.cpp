#include "CacheRule.h"
#include "UpstreamClient.h"

#include <QTest>
#include <QTimeZone>

using Headers = QList<QPair<QByteArray, QByteArray>>;

// How long the gateway may use a map tile without asking again.
class TestGatewayParts : public QObject {
    Q_OBJECT

private slots:
    void cacheRule_data()
    {
        QTest::addColumn<Headers>("headers");
        QTest::addColumn<bool>("storable");
        QTest::addColumn<qint64>("freshSeconds"); // 0: stale at once
        QTest::newRow("max-age wins over Expires") << Headers { { "cache-control", "public, max-age=60" },
            { "Expires", "Thu, 01 Jan 2037 00:00:00 GMT" } }
                                                   << true << 60LL;
        QTest::newRow("no-cache") << Headers { { "Cache-Control", "no-cache, max-age=600" } } << true << 0LL;
        QTest::newRow("no-store") << Headers { { "Cache-Control", "no-store" } } << false << 0LL;
        // Measured on the server's clock, which is an hour behind here.
        QTest::newRow("Expires against Date") << Headers { { "Date", "Mon, 23 Nov 2026 10:00:00 GMT" },
            { "Expires", "Mon, 23 Nov 2026 12:00:00 GMT" } }
                                              << true << 7200LL;
        QTest::newRow("nothing said") << Headers { { "ETag", "\"a\"" } } << true << 0LL;
    }

    void cacheRule()
    {
        QFETCH(Headers, headers);
        QFETCH(bool, storable);
        QFETCH(qint64, freshSeconds);
        const QDateTime now(QDate(2026, 11, 23), QTime(11, 0), QTimeZone::utc());
        const CacheRule rule = CacheRule::of({ .status = 200, .headers = headers }, now);
        QCOMPARE(rule.storable, storable);
        QCOMPARE(rule.isFresh(now.addSecs(freshSeconds - 1)), freshSeconds > 0);
        QVERIFY(!rule.isFresh(now.addSecs(freshSeconds)));
    }
};

QTEST_MAIN(TestGatewayParts)
#include "tst_gatewayparts.moc"
