#include "CacheRule.h"
#include "DemSeries.h"
#include "DemTerrain.h"
#include "DemTileMaker.h"
#include "HgtReader.h"
#include "UpstreamClient.h"

#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

// The gateway's small rules: tile names, cache lifetimes, the tiles a grid
// needs, the HGT reader's idea of a tile.
using Cells = QList<QPair<int, int>>;
using Headers = QList<QPair<QByteArray, QByteArray>>;

class TestGatewayParts : public QObject {
    Q_OBJECT

private slots:
    void tilePaths_data()
    {
        QTest::addColumn<bool>("hgt");
        QTest::addColumn<QString>("resolution");
        QTest::addColumn<int>("south");
        QTest::addColumn<int>("west");
        QTest::addColumn<QString>("path");
        QTest::newRow("SRTM, north-west") << true << "" << 40 << -106 << "N40/N40W106.hgt.gz";
        QTest::newRow("SRTM, south-east, one digit") << true << "" << -1 << 7 << "S01/S01E007.hgt.gz";
        QTest::newRow("3DEP 1/3 named by its north-west corner")
            << false << "13" << 40 << -106 << "13/TIFF/current/n41w106/USGS_13_n41w106.tif";
        QTest::newRow("3DEP 1, Alaska")
            << false << "1" << 63 << -150 << "1/TIFF/current/n64w150/USGS_1_n64w150.tif";
    }

    void tilePaths()
    {
        QFETCH(bool, hgt);
        QFETCH(QString, resolution);
        QFETCH(int, south);
        QFETCH(int, west);
        QFETCH(QString, path);
        const QUrl base(QStringLiteral("https://example.org/data"));
        const DemSeries series = hgt ? DemSeries::srtm(base) : DemSeries::ned(base, resolution);
        QCOMPARE(series.path(south, west), path);
        QCOMPARE(series.url(south, west).toString(), QStringLiteral("https://example.org/data/") + path);
    }

    void cellsCovering_data()
    {
        QTest::addColumn<QString>("area");
        QTest::addColumn<Cells>("cells");
        QTest::newRow("inside one cell") << "40.25,40.125,-105.75,-106" << Cells { { 40, -106 } };
        // The tile holds its own borders.
        QTest::newRow("edges on whole degrees") << "41,40,-105,-106" << Cells { { 40, -106 } };
        QTest::newRow("across both borders")
            << "40.25,39.75,-104.5,-105.5"
            << Cells { { 40, -106 }, { 40, -105 }, { 39, -106 }, { 39, -105 } };
    }

    void cellsCovering()
    {
        QFETCH(QString, area);
        QFETCH(Cells, cells);
        QCOMPARE(DemTerrain::cellsCovering(RasterGrid::covering(*ExtractArea::fromText(area), 1200)), cells);
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
        UpstreamReply reply { .status = 200, .headers = headers };
        const QDateTime now(QDate(2026, 11, 23), QTime(11, 0), QTimeZone::utc());
        const CacheRule rule = CacheRule::of(reply, now);
        QCOMPARE(rule.storable, storable);
        if (freshSeconds < 0) {
            QVERIFY(!rule.isFresh(now));
        } else {
            QCOMPARE(now.secsTo(rule.freshUntil), freshSeconds);
            QVERIFY(rule.isFresh(now.addSecs(freshSeconds - 1)));
            QVERIFY(!rule.isFresh(now.addSecs(freshSeconds)));
        }
    }

    void hgtFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("readable");
        const auto height
            = [](qint64 north, qint64 west) { return std::optional<float>(float((north + west) % 1000)); };
        QTest::newRow("3 arc-seconds, gzip") << DemTileMaker::hgt(40, -106, 1201, height) << true;
        QTest::newRow("3 arc-seconds, plain") << DemTileMaker::hgt(40, -106, 1201, height, false) << true;
        QTest::newRow("not square") << QByteArray(1201 * 1200 * 2, '\0') << false;
        QTest::newRow("gzip cut short") << DemTileMaker::hgt(40, -106, 1201, height).left(1000) << false;
    }

    void hgtFiles()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, readable);
        QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("N40W106.hgt.gz")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        const std::optional<DemRaster> tile
            = HgtReader::read(file.fileName(), 40, -106, { 40.5, 40.25, -105.5, -105.75 });
        QCOMPARE(bool(tile), readable);
        if (!tile)
            return;
        // The sample at 40.5° N, 105.75° W, 600 and 300 samples from the north-west corner.
        const int row = tile->rowOf(40.5);
        const int column = tile->columnOf(-105.75);
        QVERIFY(row >= 0 && column >= 0);
        QCOMPARE(tile->at(row, column), float((40 * 1200 + 600 + (-106 * 1200 + 300)) % 1000));
        // Only the part around the bounds is kept.
        QVERIFY(tile->rows < 400 && tile->columns < 400);
    }
};

QTEST_MAIN(TestGatewayParts)
#include "tst_gatewayparts.moc"
