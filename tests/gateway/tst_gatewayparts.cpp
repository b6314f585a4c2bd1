#include "CacheRule.h"
#include "DemSeries.h"
#include "UpstreamClient.h"

#include <QTest>
#include <QTimeZone>

// The gateway's small rules: tile names and cache lifetimes.
using Headers = QList<QPair<QByteArray, QByteArray>>;

class TestGatewayParts : public QObject {
    Q_OBJECT

private slots:
    void tilePaths_data()
    {
        QTest::addColumn<QString>("resolution"); // empty: SRTM
        QTest::addColumn<int>("south");
        QTest::addColumn<int>("west");
        QTest::addColumn<QString>("path");
        QTest::newRow("SRTM, south-east, one digit") << "" << -1 << 7 << "S01/S01E007.hgt.gz";
        QTest::newRow("3DEP 1/3 named by its north-west corner")
            << "13" << 40 << -106 << "13/TIFF/current/n41w106/USGS_13_n41w106.tif";
    }

    void tilePaths()
    {
        QFETCH(QString, resolution);
        QFETCH(int, south);
        QFETCH(int, west);
        QFETCH(QString, path);
        const QUrl base(QStringLiteral("https://example.org/data"));
        const DemSeries series
            = resolution.isEmpty() ? DemSeries::srtm(base) : DemSeries::ned(base, resolution);
        QCOMPARE(series.url(south, west).toString(), QStringLiteral("https://example.org/data/") + path);
    }

    void cacheRule_data()
    {
        QTest::addColumn<Headers>("headers");
        QTest::addColumn<bool>("storable");
        QTest::addColumn<qint64>("freshSeconds"); // -1: stale at once
        QTest::newRow("max-age") << Headers { { "Cache-Control", "public, max-age=604800" } } << true
                                 << 604800LL;
        QTest::newRow("max-age wins over Expires")
            << Headers { { "cache-control", "max-age=60" }, { "Expires", "Thu, 01 Jan 2037 00:00:00 GMT" } }
            << true << 60LL;
        QTest::newRow("no-cache") << Headers { { "Cache-Control", "no-cache, max-age=600" } } << true << -1LL;
        QTest::newRow("no-store") << Headers { { "Cache-Control", "no-store" } } << false << -1LL;
        // Measured on the server's clock, which is an hour behind here.
        QTest::newRow("Expires against Date") << Headers { { "Date", "Mon, 23 Nov 2026 10:00:00 GMT" },
            { "Expires", "Mon, 23 Nov 2026 12:00:00 GMT" } }
                                              << true << 7200LL;
        QTest::newRow("nothing said") << Headers { { "ETag", "\"a\"" } } << true << -1LL;
    }

    void cacheRule()
    {
        QFETCH(Headers, headers);
        QFETCH(bool, storable);
        QFETCH(qint64, freshSeconds);
        const QDateTime now(QDate(2026, 11, 23), QTime(11, 0), QTimeZone::utc());
        const CacheRule rule = CacheRule::of({ .status = 200, .headers = headers }, now);
        QCOMPARE(rule.storable, storable);
        QCOMPARE(rule.isFresh(now.addSecs(std::max(0LL, freshSeconds - 1))), freshSeconds > 0);
        QVERIFY(!rule.isFresh(now.addSecs(std::max(0LL, freshSeconds))));
    }
};

QTEST_MAIN(TestGatewayParts)
#include "tst_gatewayparts.moc"
