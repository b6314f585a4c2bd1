#include "RunFixture.h"
#include "UpstreamFakes.h"

#include <QBuffer>
#include <QImage>
#include <QSignalSpy>
#include <QTest>

// Whole program runs through the relka-gateway process, which talks to
// local fakes of the public servers in this process.
class TestGatewayRun : public QObject {
    Q_OBJECT

    UpstreamFakes fakes;

private slots:
    void initTestCase()
    {
        QVERIFY(fakes.listen());
        fakes.serve("SM905HZ", 40, -106);
        QImage white(256, 256, QImage::Format_RGB32);
        white.fill(Qt::white);
        QBuffer tile;
        QVERIFY(tile.open(QIODevice::WriteOnly) && white.save(&tile, "PNG"));
        fakes.tiles.setHandler("/tile", [png = tile.data()](const HttpRequest& request) {
            const bool named = request.header("user-agent").contains("(+tester@example.org)");
            return HttpResponse { .status = named ? 200 : 403, .body = png };
        });
        fakes.geocoder.setResponse("/onelineaddress",
            { .body
                = R"({"result":{"addressMatches":[{"coordinates":{"x":-105.5123456,"y":40.2512341}}]}})" });
    }

    void run_data()
    {
        QTest::addColumn<double>("west");
        QTest::addColumn<int>("budget");
        QTest::addColumn<QString>("message"); // empty: the run succeeds
        QTest::newRow("SRTM 3 with map tiles") << -106.0 << 1000 << QString();
        QTest::newRow("tile budget") << -105.75 << 10
                                     << "OpenStreetMap error: Download failed: tile budget exceeded.";
        // Over the sea: the tile server has no tile there.
        QTest::newRow("no elevation data")
            << -30.0 << 1000
            << "Seamless error: Download failed: SRTM 1 arc-second has no data for this rectangle.";
    }

    void run()
    {
        QFETCH(double, west);
        QFETCH(int, budget);
        QFETCH(QString, message);
        RunFixture run(fakes.arguments(budget), RELKA_BINARY_DIR "/gateway/relka-gateway");
        QVERIFY(run.isReady());
        DownloadRun& downloadRun = run.start({ .area = "0.25° (lon) by 0.125° (lat)",
            .source = "SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]" });
        QSignalSpy answered(&downloadRun, &DownloadRun::geocodeAnswered);
        downloadRun.geocode("1 Main Street, Boulder, CO");
        QVERIFY(answered.wait(20000));
        // The gateway's page gives six decimals.
        QCOMPARE(downloadRun.rectangle().north, 40.251234 + 0.0625);
        QCOMPARE(downloadRun.rectangle().west, -105.512346 - 0.125);
        QCOMPARE(fakes.geocoder.requests().value(0).query.query(QUrl::FullyDecoded),
            "address=1 Main Street, Boulder, CO&benchmark=Public_AR_Current&format=json");
        downloadRun.setRectangle({ 40.25, 40.125, west, west + 0.25 });
        run.download();
        if (message.isEmpty()) {
            QVERIFY(run.waitForLine("         ********* SUCCESS *********"));
            QCOMPARE(QImage(run.baseFileName() + "-el-col-scaled.png").size(), QSize(5826, 3813));
            // The rectangle at zoom 15: 24 x 16 tiles.
            QCOMPARE(fakes.tiles.requests().size(), 24 * 16);
            QFile attribution(fakes.cache.filePath("ATTRIBUTION.txt"));
            QVERIFY(attribution.open(QIODevice::ReadOnly) && attribution.readAll().contains("Map: Map data"));
        } else {
            QVERIFY(run.waitForLine(message));
            QVERIFY(QTest::qWaitFor([&] { return run.isIdle(); }, 20000));
            QCOMPARE(run.message(), message);
        }
    }
};

QTEST_GUILESS_MAIN(TestGatewayRun)
#include "tst_gatewayrun.moc"
