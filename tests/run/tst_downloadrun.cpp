#include "RunFixture.h"

#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "http/HttpClient.h"
#include "run/RequestRegistry.h"
#include "run/WorkFileName.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTest>

using Handler = RequestRegistry::Handler;
Q_DECLARE_METATYPE(Handler)

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");
const QString srtm3 = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");
const QStringList quick { QStringLiteral("--refresh-seconds"), QStringLiteral("0") };
// Tiles that are never answered keep a run to its elevation branch.
const QStringList quietTiles { QStringLiteral("--no-answer"), QStringLiteral("/15/") };
const QString success = QStringLiteral("         ********* SUCCESS *********");
const QString neverIssued
    = QStringLiteral("seamlessHttpRequestFinished(#, 0) - request never issued. Returning.");
// North 40.25, west -106 with the area above, at zoom 15.
constexpr int tileCount = 24 * 16;
const QString baseName = QStringLiteral("/40.25000N-40.12500S_-106.00000W--105.75000E");

QStringList startLines(const QString& source)
{
    return { QStringLiteral("Begin download: ") + source, QStringLiteral("                ") + area,
        QStringLiteral("                40.25, 40.125, -106, -105.75") };
}

int count(const QStringList& log, const QString& start)
{
    return int(
        std::count_if(log.cbegin(), log.cend(), [&](const QString& line) { return line.startsWith(start); }));
}

QStringList tileFiles(const QString& directory)
{
    return QDir(directory).entryList({ QStringLiteral("15-*.png") }, QDir::Files | QDir::NoDotAndDotDot);
}

} // namespace

// Download runs against the simulator, driven as the window drives them.
class TestDownloadRun : public QObject {
    Q_OBJECT

private slots:
    // Runs cancelled in the tiles and in the import, one that finishes with
    // what they left, one that finds both results, and the deletion.
    void runsInOneFolder()
    {
        RunFixture run(quick);
        QVERIFY(run.isReady());
        run.start({ .area = area, .source = srtm3 });
        const QString work = run.workingDirectory();
        const QString base = work + baseName;
        run.onLine(
            QStringLiteral("OpenStreetMap: Downloading http://%1/15/6740/12380.png").arg(run.authority()),
            [&run] { run.run().cancelDownload(); });
        run.download();
        QVERIFY(run.isIdle() && run.boxes().isEmpty());
        const int kept = int(tileFiles(work).size());
        QVERIFY(kept < tileCount);
        // An empty file is no tile.
        QVERIFY(QFile(work + QStringLiteral("/15-06758-12390.png")).open(QIODevice::WriteOnly));

        run.clearLog();
        run.onLine(QStringLiteral("Seamless: Unzip finished."), [&run] { run.run().cancelDownload(); });
        run.download();
        QVERIFY(run.waitFor([&] { return run.isIdle(); }));
        QCOMPARE(count(run.log(), QStringLiteral("OpenStreetMap: Downloading")), tileCount - kept);
        QVERIFY(run.boxes().isEmpty() && !run.log().contains(success));

        run.clearLog();
        run.download();
        QVERIFY(run.waitFor([&] { return !run.boxes().isEmpty(); }));
        const QStringList log = run.log();
        QVERIFY(log.contains(QStringLiteral("Seamless: Reusing file %1.zip.").arg(base)));
        QCOMPARE(count(log, QStringLiteral("Seamless: Downloading")), 0);
        const QStringList texture { QStringLiteral(
                                        "OpenStreetMap: Tiling, total file size = 5826 x 3813 pixels"),
            QStringLiteral("OpenStreetMap: Post processing downloaded image."),
            QStringLiteral("OpenStreetMap: Saving %1.png.").arg(base) };
        QStringList seen = log;
        seen.removeIf([](const QString& line) {
            return !line.startsWith(QLatin1String("OpenStreetMap: "))
                || line.contains(QLatin1String("Download"));
        });
        QCOMPARE(seen, texture);
        const QStringList end { QStringLiteral("Seamless: Saving file %1-el-col-scaled.png.").arg(base),
            success, QStringLiteral("Elevation file %1-el-corr.png successfully created.").arg(base),
            QStringLiteral("Texture file %1-el-col-scaled.png successfully created.").arg(base) };
        QCOMPARE(log.mid(log.size() - end.size()), end);
        QCOMPARE(
            run.boxes(), QStringList { QStringLiteral("relka: Download and post processing finished!") });
        QCOMPARE(QImage(base + QStringLiteral("-el-col-scaled.png")).size(), QSize(5826, 3813));
        QVERIFY(run.isIdle());
        for (int stage = 0; stage < DownloadRun::stageCount; ++stage)
            QCOMPARE(run.bar(DownloadRun::Stage(stage)).value, run.bar(DownloadRun::Stage(stage)).maximum);
        QVERIFY(!run.preview(DownloadRun::Preview::Elevation).isNull()
            && !run.preview(DownloadRun::Preview::Texture).isNull());

        run.clearLog();
        run.download();
        QCOMPARE(run.log(), startLines(srtm3) + end.mid(1));
        QCOMPARE(run.boxes().size(), 2);
        // The elevation preview is narrowed by cos(40.1875°) before it is fitted.
        const QSize elevation = run.preview(DownloadRun::Preview::Elevation).size();
        QVERIFY(qAbs(double(elevation.width()) / elevation.height() * 0.125 / 0.25 - 0.7641) < 0.01);

        // What the deletion keeps, and the results still end the next run at once.
        const QStringList others { QStringLiteral("1.00000N-0.00000S_2.00000W-3.00000E.zip"),
            QStringLiteral("12-00001-00002.png") };
        for (const QString& other : others)
            QVERIFY(QFile(work + u'/' + other).open(QIODevice::WriteOnly));
        run.run().deleteFiles();
        QStringList left = others + QStringList { QStringLiteral("messages.txt") };
        for (const char* result : { "-el-corr.png", "-el-col-scaled.png" })
            left << QFileInfo(base + QLatin1String(result)).fileName();
        left.sort();
        QCOMPARE(QDir(work).entryList(QDir::Files, QDir::Name), left);
        run.download();
        QCOMPARE(run.boxes().size(), 3);
    }

    // The conversation up to the archive, which the import then reads. The
    // verbose row also shows the waits the service asks for.
    void conversation_data()
    {
        QTest::addColumn<int>("source");
        QTest::addColumn<QString>("product");
        QTest::addColumn<bool>("verbose");
        QTest::addColumn<QSize>("size");
        QTest::newRow("SRTM 3, verbose") << 0 << "SM905HZ" << true << QSize(300, 150);
        QTest::newRow("NED 1, float samples") << 2 << "NED05HZ" << false << QSize(900, 450);
    }

    void conversation()
    {
        QFETCH(int, source);
        QFETCH(QString, product);
        QFETCH(bool, verbose);
        const QString seconds = QString::number(int(verbose));
        RunFixture run(quietTiles + QStringList { QStringLiteral("--refresh-seconds"), seconds });
        QVERIFY(run.isReady());
        const QString sourceText = SettingsStore::elevationDataSources().at(source);
        run.start({ .area = area, .source = sourceText, .verbose = verbose });
        run.download();
        QVERIFY(run.controlsLocked() && !run.isIdle());
        const QString base = run.workingDirectory() + baseName;
        QVERIFY(run.waitForLine(QStringLiteral("Seamless: Creating color file from elevation file.")));

        const QString http = QStringLiteral("http://") + run.authority();
        const QString corners = QStringLiteral("40.25,40.125,-105.75,-106");
        const QString summary = http
            + QStringLiteral(
                "/Website/distreq/RequestSummary.jsp?PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM&MD=DL&AL=%1"
                "&CS=250&PL=%2")
                  .arg(corners, product);
        const QString archive
            = http + QStringLiteral("/Website/distreq/archive/%1_40.25_40.125_-105.75_-106.zip").arg(product);
        QStringList expected = startLines(sourceText);
        const auto add = [&](const QStringList& lines, const QStringList& verboseLines = {}) {
            expected << lines << (verbose ? verboseLines : QStringList());
        };
        const auto request = [&](const QString& url) {
            add({ QStringLiteral("Seamless: Downloading ") + url },
                { QStringLiteral("seamlessRefresh(): requestId = #, host = 127.0.0.1, path = ")
                    + url.mid(http.size()) });
            add({ neverIssued });
        };
        const QString entry = QStringLiteral("seamlessHttpRequestFinished(#, 0)");
        const QString waiting = QStringLiteral("Seamless: Waiting %1 second(s) for refresh.").arg(seconds);
        request(summary);
        add({ waiting }, { QStringLiteral("Seamless: Waiting to download: ") + summary, entry });
        request(summary);
        add({}, { entry });
        request(http
            + QStringLiteral(
                "/Website/distreq/StartDownload.jsp?&PL=%1&AL=%2&CS=250&FORMAT=BIL&SUBMIT1=Download")
                  .arg(product, corners));
        add({}, { QStringLiteral("Seamless: Redirected, waiting to download: ") + archive, entry });
        request(archive);
        add({}, { entry, QStringLiteral("Seamless: File %1.zip saved.").arg(base) });
        QCOMPARE(run.elevationLog().mid(0, expected.size()), expected);
        const RunFixture::Bar zip = run.bar(DownloadRun::Stage::DownloadingZipFile);
        QCOMPARE(zip.value, zip.maximum);
        QFETCH(QSize, size);
        QCOMPARE(QImage(base + QStringLiteral("-el-corr.png")).size(), size);
        if (verbose) {
            QVERIFY(run.millisecondsBetween(waiting, QStringLiteral("Seamless: Downloading")) >= 1000);
            QVERIFY(run.millisecondsBetween(
                        QStringLiteral("Seamless: Redirected, waiting to download: ") + archive,
                        QStringLiteral("Seamless: Downloading"))
                >= 1000);
        }
        run.run().cancelDownload();
        QVERIFY(run.isIdle());
    }

    // The refresh timer of a cancelled run still fires; its answer is
    // dropped, and the next run starts again from the request page.
    void cancelDuringRefreshWait()
    {
        RunFixture run(quietTiles + QStringList { QStringLiteral("--refresh-seconds"), QStringLiteral("1") });
        QVERIFY(run.isReady());
        run.start({ .area = area, .source = srtm3, .verbose = true });
        run.download();
        QVERIFY(run.waitForLine(QStringLiteral("Seamless: Waiting 1 second(s) for refresh.")));
        run.run().cancelDownload();
        run.run().cancelDownload();
        QVERIFY(run.isIdle());
        QVERIFY(run.waitForLine(QStringLiteral(
            "seamlessHttpRequestFinished(#, 0): Seamless and OpenStreetMap download already finished.")));
        QVERIFY(run.isIdle());
        run.clearLog();
        run.download();
        QVERIFY(run.elevationLog().at(3).startsWith(
            QStringLiteral("Seamless: Downloading http://%1/Website/distreq/RequestSummary.jsp")
                .arg(run.authority())));
        run.run().cancelDownload();
    }

    void registryRule_data()
    {
        QTest::addColumn<Handler>("handler");
        QTest::addColumn<bool>("verbose");
        QTest::addColumn<QStringList>("lines"); // unknown id, first reply, second reply
        QTest::newRow("elevation")
            << Handler::Seamless << true
            << QStringList { "seamlessHttpRequestFinished(1, 0) - request never issued. Returning.",
                   "seamlessHttpRequestFinished(7, 1)",
                   "seamlessHttpRequestFinished(7, 1) - request already processed. Returning." };
        QTest::newRow("tiles")
            << Handler::OpenStreetMap << true
            << QStringList { "openStreetMapHttpRequestFinished(1, 0) - request never issued. Returning.",
                   "openStreetMapHttpRequestFinished(7, 1)",
                   "openStreetMapHttpRequestFinished(7, 1) - request already processed. Returning" };
        QTest::newRow("geocoding")
            << Handler::Geocode << true
            << QStringList { "geocodeRequestFinished(1, 0) - request never issued. Returning.",
                   "geocodeRequestFinished(7, 1)",
                   "geocodeRequestFinished(7, 1) - request already processed. Returning" };
        QTest::newRow("quiet: never marked processed")
            << Handler::Seamless << false
            << QStringList { "seamlessHttpRequestFinished(1, 0) - request never issued. Returning." };
    }

    void registryRule()
    {
        QFETCH(Handler, handler);
        QFETCH(bool, verbose);
        QFETCH(QStringList, lines);
        QStringList logged;
        MessageLog::setEcho([&logged](const QString& line) { logged.append(line); });
        HttpClient client;
        RequestRegistry registry;
        const int id = registry.issue(client, QStringLiteral("/x"), QStringLiteral("http://h/x"));
        QVERIFY(!registry.accept(handler, id + 1000, false, verbose));
        const RequestRegistry::Record record = registry.accept(handler, id, true, verbose);
        QVERIFY(record && record->buffer->isOpen() && record->url == QLatin1String("http://h/x"));
        QCOMPARE(!registry.accept(handler, id, true, verbose).isNull(), !verbose);
        MessageLog::setEcho({});
        for (QString& line : lines)
            line.replace(QStringLiteral("(1, 0)"), QStringLiteral("(%1, 0)").arg(id + 1000))
                .replace(QStringLiteral("(7, 1)"), QStringLiteral("(%1, 1)").arg(id));
        QCOMPARE(logged, lines);
        // A record held by a handler outlives the registry's entry.
        registry.clear();
        QVERIFY(!registry.find(id));
        record->releaseBuffer();
    }

    void baseFileName_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<QList<double>>("borders"); // north, south, west, east
        QTest::addColumn<QString>("name");
        QTest::newRow("southern hemisphere")
            << QStringLiteral(".") << QList<double> { -33.5, -34, -71, -70 }
            << QStringLiteral("./-33.50000N--34.00000S_-71.00000W--70.00000E");
        QTest::newRow("no plus sign, rounded")
            << QStringLiteral("/w") << QList<double> { 1.123456, 0, 179.999999, 180 }
            << QStringLiteral("/w/1.12346N-0.00000S_180.00000W-180.00000E");
        QTest::newRow("empty directory: root") << QString() << QList<double> { 1, 0, 2, 3 }
                                               << QStringLiteral("/1.00000N-0.00000S_2.00000W-3.00000E");
    }

    void baseFileName()
    {
        QFETCH(QString, directory);
        QFETCH(QList<double>, borders);
        QTEST(WorkFileName::baseFileName(directory, borders[0], borders[1], borders[2], borders[3]), "name");
    }
};

QTEST_GUILESS_MAIN(TestDownloadRun)
#include "tst_downloadrun.moc"
