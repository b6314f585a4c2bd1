#include "RunFixture.h"

#include "app/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTest>

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");
const QString srtm3 = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");
const QString success = QStringLiteral("         ********* SUCCESS *********");
// North 40.25, west -106 with the area above, at zoom 15.
constexpr int tileCount = 24 * 16;
const QString oneTile = QStringLiteral("/15/6740/12380.png");

QStringList linesStartingWith(const QStringList& log, const QString& start)
{
    return log.filter(QRegularExpression(QStringLiteral("^") + QRegularExpression::escape(start)));
}

QStringList tileFiles(const QString& directory)
{
    return QDir(directory).entryList({ QStringLiteral("15-*.png") }, QDir::Files);
}

} // namespace

// Whole runs, from "&Download" to both results, against the simulator.
class TestDownloadRun : public QObject {
    Q_OBJECT

private slots:
    void runProducesBothResultsThenReuses_data()
    {
        QTest::addColumn<QString>("source");
        QTest::newRow("SRTM 3, integer samples") << srtm3;
        QTest::newRow("NED 1/3, float samples") << SettingsStore::elevationDataSources().at(3);
    }

    void runProducesBothResultsThenReuses()
    {
        QFETCH(QString, source);
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        run.start({ .area = area, .source = source });
        run.download();
        QVERIFY(run.waitForSuccess());
        const QString base = run.baseFileName();
        const QStringList log = run.log();
        QCOMPARE(
            linesStartingWith(log, QStringLiteral("OpenStreetMap: Downloading http://")).size(), tileCount);
        QCOMPARE(
            linesStartingWith(log, QStringLiteral("openStreetMapHttpRequestFinished(#, 0) - request never"))
                .size(),
            tileCount);
        const QStringList texture { QStringLiteral(
                                        "OpenStreetMap: Tiling, total file size = 5826 x 3813 pixels"),
            QStringLiteral("OpenStreetMap: Post processing downloaded image."),
            QStringLiteral("OpenStreetMap: Saving %1.png.").arg(base) };
        QCOMPARE(linesStartingWith(log, QStringLiteral("OpenStreetMap: ")).mid(tileCount), texture);
        const QStringList end { QStringLiteral("Seamless: Saving file %1-el-col-scaled.png.").arg(base),
            success, QStringLiteral("Elevation file %1-el-corr.png successfully created.").arg(base),
            QStringLiteral("Texture file %1-el-col-scaled.png successfully created.").arg(base) };
        QCOMPARE(log.mid(log.size() - end.size()), end);
        QVERIFY(log.contains(QStringLiteral("Seamless: Unzip finished.")));

        const QImage merged(base + QStringLiteral("-el-col-scaled.png"));
        QCOMPARE(merged.size(), QSize(5826, 3813));
        QVERIFY(!QImage(base + QStringLiteral("-el-corr.png")).isNull());
        QVERIFY(run.isIdle());
        for (int stage = 0; stage < DownloadRun::stageCount; ++stage)
            QCOMPARE(run.bar(DownloadRun::Stage(stage)).value, run.bar(DownloadRun::Stage(stage)).maximum);
        QVERIFY(!run.preview(DownloadRun::Preview::Elevation).isNull()
            && !run.preview(DownloadRun::Preview::Texture).isNull());

        // With the results gone, every tile and the archive are taken from
        // the disk; the stitching runs inside the start.
        QVERIFY(QFile::remove(base + QStringLiteral("-el-corr.png")));
        QVERIFY(QFile::remove(base + QStringLiteral("-el-col-scaled.png")));
        run.clearLog();
        run.download();
        QCOMPARE(
            run.log().at(3), QStringLiteral("OpenStreetMap: Tiling, total file size = 5826 x 3813 pixels"));
        QVERIFY(run.log().contains(QStringLiteral("Seamless: Reusing file %1.zip.").arg(base)));
        QVERIFY(QTest::qWaitFor([&] { return run.boxes().size() == 2; }, 300000));
        QCOMPARE(linesStartingWith(run.log(), QStringLiteral("OpenStreetMap: Downloading")).size(), 0);

        // Both results there: done at once.
        run.clearLog();
        run.download();
        QCOMPARE(run.boxes().size(), 3);
        QCOMPARE(run.log().size(), 6);
        QCOMPARE(run.log().at(3), success);
    }

    void cancelDuringTilesThenReuse()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        run.start({ .area = area, .source = srtm3 });
        run.onLine(QStringLiteral("OpenStreetMap: Downloading http://%1%2").arg(run.authority(), oneTile),
            [&run] { run.run().cancelDownload(); });
        run.download();
        QVERIFY(run.isIdle());
        const int kept = int(tileFiles(run.workingDirectory()).size());
        QVERIFY(kept < tileCount);
        QTest::qWait(500);
        QCOMPARE(tileFiles(run.workingDirectory()).size(), kept);

        run.clearLog();
        run.download();
        QVERIFY(run.waitForSuccess());
        QCOMPARE(linesStartingWith(run.log(), QStringLiteral("OpenStreetMap: Downloading")).size(),
            tileCount - kept);
    }

    void cancelDuringImportThenReuse()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        run.start({ .area = area, .source = srtm3 });
        run.onLine(QStringLiteral("Seamless: Unzip finished."), [&run] { run.run().cancelDownload(); });
        run.download();
        QVERIFY(run.waitForLine(QStringLiteral("Seamless: Unzip finished.")));
        QVERIFY(QTest::qWaitFor([&] { return run.isIdle(); }, 60000));
        QVERIFY(run.boxes().isEmpty());
        QVERIFY(!run.log().contains(success));

        run.clearLog();
        run.download();
        QVERIFY(run.waitForSuccess());
        QVERIFY(run.log().contains(QStringLiteral("Seamless: Reusing file %1.zip.").arg(run.baseFileName())));
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QStringList>(
            "lines"); // in this order, among the others; %1 the base name, %2 the tile
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<bool>("cancelled");
        QTest::newRow("tile not found")
            << QStringList { "--fail-status", "404:" + oneTile }
            << QStringList { "OpenStreetMap error: Download failed: Not Found." } << false << true;
        QTest::newRow("tile that is no picture")
            << QStringList { "--fail-status", "200:" + oneTile }
            << QStringList { "OpenStreetMap error: Could not load image from buffer.",
                   "OpenStreetMap error: Could not save image %2.",
                   "OpenStreetMap error: Could not load %2 for tiling." }
            << true << true;
        QTest::newRow("archive without header") << QStringList { "--archive-without-hdr" }
                                                << QStringList { "Seamless: Unzip finished.",
                                                       "Seamless error: Could not create BIL file from "
                                                       "\"%1.zip\": \"%1.bil\" or/and \"%1.hdr\" not "
                                                       "found.",
                                                       "Seamless error: Could not open file %1-el-col.png" }
                                                << false << false;
    }

    void failures()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, lines);
        QFETCH(bool, succeeds);
        QFETCH(bool, cancelled);
        RunFixture run(options + QStringList { QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        run.start({ .area = area, .source = srtm3 });
        run.download();
        const QString tileFile = run.workingDirectory() + QStringLiteral("/15-06740-12380.png");
        for (QString& line : lines)
            line.replace(QLatin1String("%1"), run.baseFileName()).replace(QLatin1String("%2"), tileFile);
        // The run ends one of three ways: success, cancel, or waiting for Cancel.
        QVERIFY(QTest::qWaitFor(
            [&] { return succeeds ? !run.boxes().isEmpty()
                      : cancelled ? run.isIdle()
                                  : run.hasStalled(); },
            300000));
        QVERIFY(run.log().contains(lines.last()));
        QStringList seen = run.log();
        seen.removeIf([&lines](const QString& line) { return !lines.contains(line); });
        QCOMPARE(seen, lines);
        QCOMPARE(run.boxes().size(), succeeds ? 1 : 0);
        QCOMPARE(run.isIdle(), cancelled);
        if (!cancelled)
            run.run().cancelDownload();
        QVERIFY(run.isIdle());
    }
};

QTEST_GUILESS_MAIN(TestDownloadRun)
#include "tst_downloadrun.moc"
