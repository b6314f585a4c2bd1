#include "DemTileMaker.h"
#include "RunFixture.h"
#include "TestHttpServer.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");
const QString srtm3 = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");

}

// Whole program runs through relka-gateway, which talks to local fakes of
// the public servers in this process.
class TestGatewayRun : public QObject {
    Q_OBJECT

    QTemporaryDir cache;
    QTemporaryDir work;
    TestHttpServer dem;
    TestHttpServer tiles;
    TestHttpServer geocoder;

    QStringList gatewayOptions(int budget) const
    {
        const QString base = QStringLiteral("http://127.0.0.1:%1");
        return { QStringLiteral("--cache-dir"), cache.path(), QStringLiteral("--srtm-url"),
            base.arg(dem.port()), QStringLiteral("--geocoder-url"),
            base.arg(geocoder.port()) + QStringLiteral("/geocode"), QStringLiteral("--tile-url"),
            base.arg(tiles.port()) + QStringLiteral("/tile?z={z}&x={x}&y={y}"), QStringLiteral("--contact"),
            QStringLiteral("tester@example.org"), QStringLiteral("--tile-budget"), QString::number(budget),
            QStringLiteral("--refresh-seconds"), QStringLiteral("0"), QStringLiteral("--attribution-file"),
            work.filePath(QStringLiteral("ATTRIBUTION.txt")) };
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dem.listen() && tiles.listen() && geocoder.listen());
        dem.setResponse(
            "/N40/N40W106.hgt.gz", { .body = DemTileMaker::hgt(40, -106, 3601, [](qint64 north, qint64 west) {
                return std::optional<float>(float((north + west) % 2000 + 1000));
            }) });
        QImage white(256, 256, QImage::Format_RGB32);
        white.fill(Qt::white);
        QByteArray tile;
        QBuffer buffer(&tile);
        QVERIFY(buffer.open(QIODevice::WriteOnly) && white.save(&buffer, "PNG"));
        tiles.setHandler("/tile", [tile](const HttpRequest& request) {
            if (!request.header("user-agent").contains("tester@example.org"))
                return HttpResponse { .status = 403 };
            return HttpResponse { .headers = { { "Cache-Control", "max-age=600" } }, .body = tile };
        });
        geocoder.setResponse("/geocode",
            { .body
                = R"({"result":{"addressMatches":[{"matchedAddress":"A","coordinates":{"x":-105.5,"y":40.25}}]}})" });
    }

    void runThroughGateway()
    {
        RunFixture run(gatewayOptions(1000), QStringLiteral(RELKA_BINARY_DIR "/gateway/relka-gateway"));
        QVERIFY(run.isReady());
        DownloadRun& downloadRun
            = run.start({ .area = area, .source = srtm3, .workingDirectory = work.path() });
        QSignalSpy answered(&downloadRun, &DownloadRun::geocodeAnswered);
        downloadRun.geocode(QStringLiteral("1 Main Street, Boulder, CO"));
        QVERIFY(answered.wait(20000));
        QCOMPARE(downloadRun.rectangle().north, 40.3125);
        QCOMPARE(downloadRun.rectangle().west, -105.625);
        downloadRun.setRectangle({ 40.25, 40.125, -106.0, -105.75 });
        run.download();
        QVERIFY(run.waitForSuccess());
        const QString base = run.baseFileName();
        QVERIFY(!QImage(base + QStringLiteral("-el-corr.png")).isNull());
        QCOMPARE(QImage(base + QStringLiteral("-el-col-scaled.png")).size(), QSize(5826, 3813));
        // The rectangle at zoom 15: 24 x 16 tiles.
        QCOMPARE(tiles.requests().size(), 24 * 16);
        QCOMPARE(dem.requests().size(), 1);
        QFile attribution(work.filePath(QStringLiteral("ATTRIBUTION.txt")));
        QVERIFY(attribution.open(QIODevice::ReadOnly));
        QVERIFY(attribution.readAll().contains("Map: Map data (c) OpenStreetMap contributors"));
    }

    void runEnds_data()
    {
        QTest::addColumn<double>("north");
        QTest::addColumn<double>("west");
        QTest::addColumn<QString>("message");
        // The tiles of a rectangle not in the cache yet.
        QTest::newRow("tile budget") << 40.5 << -106.0
                                     << QStringLiteral(
                                            "OpenStreetMap error: Download failed: tile budget exceeded.");
        // Over the sea: the tile server has no tile there.
        QTest::newRow("no elevation data")
            << 40.25 << -30.0
            << QStringLiteral(
                   "Seamless error: Download failed: SRTM 1 arc-second has no data for this rectangle.");
    }

    void runEnds()
    {
        QFETCH(double, north);
        QFETCH(double, west);
        QFETCH(QString, message);
        RunFixture run(gatewayOptions(10), QStringLiteral(RELKA_BINARY_DIR "/gateway/relka-gateway"));
        QVERIFY(run.isReady());
        run.start(
            { .area = area, .source = srtm3, .north = north, .west = west, .workingDirectory = work.path() });
        run.download();
        QVERIFY(run.waitForLine(message));
        QVERIFY(QTest::qWaitFor([&] { return run.isIdle(); }, 20000));
        QCOMPARE(run.message(), message);
    }
};

QTEST_GUILESS_MAIN(TestGatewayRun)
#include "tst_gatewayrun.moc"
