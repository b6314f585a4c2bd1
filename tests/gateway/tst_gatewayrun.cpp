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
// North 40.25, west -106 with the area above, at zoom 15.
constexpr int tileCount = 24 * 16;

QByteArray png()
{
    QImage image(256, 256, QImage::Format_RGB32);
    image.fill(Qt::white);
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

}

// Whole program runs through relka-gateway, which talks to local fakes of
// the public servers in this process.
class TestGatewayRun : public QObject {
    Q_OBJECT

private:
    QTemporaryDir cache;
    QTemporaryDir work;
    TestHttpServer dem;
    TestHttpServer tiles;
    TestHttpServer geocoder;

    QStringList gatewayOptions(int budget) const
    {
        const QString base = QStringLiteral("http://127.0.0.1:%1");
        return { QStringLiteral("--cache-dir"), cache.path(), QStringLiteral("--srtm-url"),
            base.arg(dem.port()) + QStringLiteral("/skadi"), QStringLiteral("--ned-url"),
            base.arg(dem.port()) + QStringLiteral("/ned"), QStringLiteral("--geocoder-url"),
            base.arg(geocoder.port()) + QStringLiteral("/geocode"), QStringLiteral("--tile-url"),
            base.arg(tiles.port()) + QStringLiteral("/tile?z={z}&x={x}&y={y}"), QStringLiteral("--contact"),
            QStringLiteral("tester@example.org"), QStringLiteral("--tile-budget"), QString::number(budget),
            QStringLiteral("--refresh-seconds"), QStringLiteral("0"), QStringLiteral("--attribution-file"),
            work.filePath(QStringLiteral("ATTRIBUTION.txt")) };
    }

    static QString gateway() { return QStringLiteral(RELKA_BINARY_DIR "/gateway/relka-gateway"); }

private slots:
    void initTestCase()
    {
        QVERIFY(dem.listen() && tiles.listen() && geocoder.listen());
        dem.setResponse("/skadi/N40/N40W106.hgt.gz",
            { .body = DemTileMaker::hgt(40, -106, 3601, [](qint64 north, qint64 west) {
                return std::optional<float>(float((north + west) % 2000 + 1000));
            }) });
        const QByteArray tile = png();
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
        RunFixture run(gatewayOptions(1000), gateway());
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
        QVERIFY(QTest::qWaitFor([&] { return !run.boxes().isEmpty(); }, 120000));
        const QString base = run.baseFileName();
        QVERIFY(!QImage(base + QStringLiteral("-el-corr.png")).isNull());
        QCOMPARE(QImage(base + QStringLiteral("-el-col-scaled.png")).size(), QSize(5826, 3813));
        QVERIFY(run.isIdle());
        QCOMPARE(tiles.requests().size(), tileCount);
        QCOMPARE(dem.requests().size(), 1);
        QFile attribution(work.filePath(QStringLiteral("ATTRIBUTION.txt")));
        QVERIFY(attribution.open(QIODevice::ReadOnly));
        QVERIFY(attribution.readAll().contains("Map: Map data (c) OpenStreetMap contributors"));
    }

    void tileBudgetEndsTheRun()
    {
        RunFixture run(gatewayOptions(10), gateway());
        QVERIFY(run.isReady());
        // A rectangle whose tiles are not in the cache yet.
        run.start({ .area = area, .source = srtm3, .north = 40.5, .workingDirectory = work.path() });
        run.download();
        const QString refused = QStringLiteral("OpenStreetMap error: Download failed: tile budget exceeded.");
        QVERIFY(run.waitForLine(refused, 60000));
        QVERIFY(QTest::qWaitFor([&] { return run.isIdle(); }, 20000));
        QCOMPARE(run.message(), refused);
    }
};

QTEST_GUILESS_MAIN(TestGatewayRun)
#include "tst_gatewayrun.moc"
