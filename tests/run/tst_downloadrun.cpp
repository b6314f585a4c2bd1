#include "RunFixture.h"

#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "http/HttpClient.h"
#include "run/RequestRegistry.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Handler = RequestRegistry::Handler;
Q_DECLARE_METATYPE(Handler)

namespace {

QStringList startLines(const QString& source)
{
    return { u"Begin download: "_s + source, u"                "_s + RunFixture::area,
        u"                40.25, 40.125, -106, -105.75"_s };
}

const QString summary = u"/Website/distreq/RequestSummary.jsp"_s;
const QString archive = u"/Website/distreq/archive"_s;
// The first tile of the rectangle (north 40.25, west -106, zoom 15).
const QString tile = u"/15/6735/12375.png"_s;
const QString geocoder = u"/demo.cgi"_s;
const QString tooLarge = u"error: The answer to * is larger than 16777216 bytes; download aborted."_s;
const QString aborted = u"Seamless: Download aborted."_s;
const QString unzipped = u"Seamless: Unzip finished."_s;

// How the run stands once the fault has struck.
enum class End {
    Idle, // the program ended the run itself
    Stalled, // the run reported that it waits for Cancel
    Waiting, // the run waits for an answer
};

QStringList filesBelow(const QString& root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(root).relativeFilePath(it.next());
    return files;
}

// The entries a climbing or absolute name would have reached.
QStringList rasterFilesIn(const QString& directory)
{
    return QDir(directory).entryList(
        { u"*.bil"_s, u"*.hdr"_s, u"*.blw"_s, u"*.stx"_s, u"*.prj"_s }, QDir::Files);
}

// "*" stands for any text, the rest for itself.
QRegularExpression pattern(const QString& line)
{
    QStringList parts = line.split(u'*');
    for (QString& part : parts)
        part = QRegularExpression::escape(part);
    return QRegularExpression(u'^' + parts.join(u".*"_s) + u'$');
}

} // namespace

Q_DECLARE_METATYPE(End)

// Download runs against the simulator, driven as the window drives them.
class TestDownloadRun : public QObject {
    Q_OBJECT

    // The hostile server's rows build their archives once, here.
    QTemporaryDir archives;

private slots:
    // Runs cancelled in the tiles and in the import, one that finishes with
    // what they left, one that finds both results, and the deletion. The
    // verbose log shows the whole conversation and the waits the service
    // asks for; the archive holds float samples.
    void runsInOneFolder()
    {
        RunFixture run({ u"--refresh-seconds"_s, u"1"_s });
        QVERIFY(run.isReady());
        const QString source = SettingsStore::elevationDataSources().at(2);
        run.start({ .source = source, .verbose = true });
        const QString work = run.workingDirectory();
        const QString base = work + RunFixture::baseName;
        const QString http = u"http://"_s + run.authority();
        run.onLine(u"OpenStreetMap: Downloading %1/15/6740/12380.png"_s.arg(http),
            [&run] { run.run().cancelDownload(); });
        run.download();
        QVERIFY(run.isIdle() && run.boxes().isEmpty());
        // The elevation branch starts after the cancel all the same; its
        // waiting page and the page after it are dropped.
        const QString dropped
            = u"seamlessHttpRequestFinished(#, 0): Seamless and OpenStreetMap download already finished."_s;
        QVERIFY(run.waitFor([&] { return run.log().count(dropped) == 2; }));
        const int kept = int(QDir(work).entryList({ u"15-*.png"_s }, QDir::Files).size());
        QVERIFY(kept < RunFixture::tileCount);
        // An empty file is no tile.
        QVERIFY(QFile(work + u"/15-06758-12390.png"_s).open(QIODevice::WriteOnly));

        run.clearLog();
        run.onLine(u"Seamless: Unzip finished."_s, [&run] { run.run().cancelDownload(); });
        run.download();
        QVERIFY(run.waitFor([&] { return run.isIdle(); }));
        QCOMPARE(run.log().filter(u"OpenStreetMap: Downloading"_s).size(), RunFixture::tileCount - kept);
        QVERIFY(run.boxes().isEmpty() && !run.log().contains(RunFixture::success));
        const QString corners = u"40.25,40.125,-105.75,-106"_s;
        const QString summary = http
            + u"/Website/distreq/RequestSummary.jsp?PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM&MD=DL&AL=%1&CS=250&PL=NED05HZ"_s
                  .arg(corners);
        const QString archive = http + u"/Website/distreq/archive/NED05HZ_40.25_40.125_-105.75_-106.zip"_s;
        QStringList expected = startLines(source);
        const QString entry = u"seamlessHttpRequestFinished(#, 0)"_s;
        const auto request = [&](const QString& url) {
            expected << u"Seamless: Downloading "_s + url
                     << u"seamlessRefresh(): requestId = #, host = 127.0.0.1, path = "_s
                    + url.mid(http.size())
                     << u"seamlessHttpRequestFinished(#, 0) - request never issued. Returning."_s;
        };
        const QString waiting = u"Seamless: Waiting 1 second(s) for refresh."_s;
        const QString redirected = u"Seamless: Redirected, waiting to download: "_s + archive;
        request(summary);
        expected << waiting << u"Seamless: Waiting to download: "_s + summary << entry;
        request(summary);
        expected << entry;
        request(http
            + u"/Website/distreq/StartDownload.jsp?&PL=NED05HZ&AL=%1&CS=250&FORMAT=BIL&SUBMIT1=Download"_s
                  .arg(corners));
        expected << redirected << entry;
        request(archive);
        expected << entry << u"Seamless: File %1.zip saved."_s.arg(base);
        QCOMPARE(run.elevationLog().mid(0, expected.size()), expected);
        QVERIFY(run.millisecondsBetween(waiting, u"Seamless: Downloading"_s) >= 1000);
        QVERIFY(run.millisecondsBetween(redirected, u"Seamless: Downloading"_s) >= 1000);

        run.clearLog();
        run.download();
        QVERIFY(run.waitFor([&] { return !run.boxes().isEmpty(); }));
        QStringList log = run.log();
        QVERIFY(log.contains(u"Seamless: Reusing file %1.zip."_s.arg(base)));
        QCOMPARE(log.filter(u"Seamless: Downloading"_s).size(), 0);
        const QStringList texture { u"OpenStreetMap: Tiling, total file size = 5826 x 3813 pixels"_s,
            u"OpenStreetMap: Post processing downloaded image."_s,
            u"OpenStreetMap: Saving %1.png."_s.arg(base) };
        const QStringList end { u"Seamless: Saving file %1-el-col-scaled.png."_s.arg(base),
            RunFixture::success, u"Elevation file %1-el-corr.png successfully created."_s.arg(base),
            u"Texture file %1-el-col-scaled.png successfully created."_s.arg(base) };
        QCOMPARE(log.mid(log.size() - end.size()), end);
        log.removeIf([&texture](const QString& line) { return !texture.contains(line); });
        QCOMPARE(log, texture);
        QCOMPARE(run.boxes(), QStringList { u"relka: Download and post processing finished!"_s });
        QCOMPARE(QImage(base + u"-el-col-scaled.png"_s).size(), QSize(5826, 3813));
        QCOMPARE(QImage(base + u"-el-corr.png"_s).size(), QSize(900, 450));
        QVERIFY(run.isIdle());
        QVERIFY(!run.preview(DownloadRun::Preview::Elevation).isNull()
            && !run.preview(DownloadRun::Preview::Texture).isNull());

        run.clearLog();
        run.download();
        QCOMPARE(run.log(), startLines(source) + end.mid(1));
        QCOMPARE(run.boxes().size(), 2);
        // The elevation preview is narrowed by cos(40.1875°) before it is fitted.
        const QSize elevation = run.preview(DownloadRun::Preview::Elevation).size();
        QVERIFY(qAbs(double(elevation.width()) / elevation.height() * 0.125 / 0.25 - 0.7641) < 0.01);

        // What the deletion keeps, and the results still end the next run at once.
        const QStringList others { u"1.00000N-0.00000S_2.00000W-3.00000E.zip"_s, u"12-00001-00002.png"_s };
        for (const QString& other : others)
            QVERIFY(QFile(work + u'/' + other).open(QIODevice::WriteOnly));
        for (const char* sidecar : { ".pgw", "-el-col.prj", "-el-corr.pgw" })
            QVERIFY(QFile(base + QLatin1String(sidecar)).open(QIODevice::WriteOnly));
        run.run().deleteFiles();
        QStringList left = others + QStringList { u"messages.txt"_s };
        for (const char* result : { "-el-corr.png", "-el-corr.pgw", "-el-col-scaled.png" })
            left << QFileInfo(base + QLatin1String(result)).fileName();
        left.sort();
        QCOMPARE(QDir(work).entryList(QDir::Files, QDir::Name), left);
        run.download();
        QCOMPARE(run.boxes().size(), 3);
    }

    void registryRule_data()
    {
        QTest::addColumn<Handler>("handler");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("verbose");
        QTest::addColumn<QString>("end"); // of the already-processed text
        QTest::newRow("elevation") << Handler::Seamless << "seamlessHttpRequestFinished" << true << ".";
        QTest::newRow("tiles") << Handler::OpenStreetMap << "openStreetMapHttpRequestFinished" << true << "";
        QTest::newRow("geocoding") << Handler::Geocode << "geocodeRequestFinished" << true << "";
        QTest::newRow("quiet: never marked processed")
            << Handler::Seamless << "seamlessHttpRequestFinished" << false << "";
    }

    // The texts of an unknown id, of a first and of a second reply.
    void registryRule()
    {
        QFETCH(Handler, handler);
        QFETCH(QString, name);
        QFETCH(bool, verbose);
        QFETCH(QString, end);
        QStringList logged;
        MessageLog::setEcho([&logged](const QString& line) { logged.append(line); });
        HttpClient client;
        RequestRegistry registry;
        const int id = registry.issue(client, u"/x"_s, u"http://h/x"_s);
        QVERIFY(!registry.accept(handler, id + 1000, false, verbose));
        QVERIFY(registry.accept(handler, id, true, verbose));
        QCOMPARE(!registry.accept(handler, id, true, verbose).isNull(), !verbose);
        MessageLog::setEcho({});
        const QString call = u"%1(%2, 1)"_s.arg(name).arg(id);
        QStringList expected { u"%1(%2, 0) - request never issued. Returning."_s.arg(name).arg(id + 1000) };
        if (verbose)
            expected << call << call + " - request already processed. Returning" + end;
        QCOMPARE(logged, expected);
    }

    // A server that misbehaves in every way the simulator's fault switches
    // offer, one row each: the run logs its lines, ends idle, stalled or
    // waiting, shows its message, and touches nothing outside its working
    // directory. The branch a row does not test is kept waiting for an answer.
    void hostileServer_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("faulty"); // the path the fault strikes
        QTest::addColumn<QStringList>("lines"); // in this order among the others
        QTest::addColumn<End>("end");
        QTest::addColumn<QString>("label"); // part of the message shown
        const auto row = [](const char* name, const QStringList& options, const QString& faulty,
                             const QStringList& lines, End end, const QString& label = {}) {
            QTest::newRow(name) << options << faulty << lines << end << label;
        };
        row("summary 204", { "--fail-status", "204:" + summary }, summary,
            { "Seamless error: Download failed: No Content." }, End::Idle, "No Content");
        row("tile 503", { "--fail-status", "503:" + tile }, tile,
            { "OpenStreetMap error: Download failed: Service Unavailable." }, End::Idle);
        row("geocoder 500", { "--fail-status", "500:" + geocoder }, geocoder,
            { "geocode error: Could not find latitude or longitude in the result file." }, End::Idle);

        row("archive silent", { "--no-answer", archive }, archive, {}, End::Waiting);
        row("tile dropped in the body", { "--drop-body", tile }, tile, {}, End::Stalled);

        row("summary page without end", { "--endless-body", summary }, summary, { "Seamless " + tooLarge },
            End::Idle);
        row("geocoder page without end", { "--endless-body", geocoder }, geocoder, { "geocode " + tooLarge },
            End::Idle);

        // The waiting page stays on show, without its error passage.
        const QString waitingPage = "every 0 second(s) until your data are ready.</P>\r\n<P></P>";
        row("no download button", { "--download-buttons", "0" }, summary,
            { "Seamless error: No \"Download\" button found in the request form.", aborted }, End::Stalled,
            "The National Map Seamless Request Summary Page");
        row("two download buttons", { "--download-buttons", "2" }, summary,
            { "Seamless error: More than one \"Download\" button found in the request form.", aborted },
            End::Stalled, waitingPage);
        row("form without target", { "--form-without-action" }, summary, {}, End::Stalled, waitingPage);
        row("no source matches", {}, QString(), { "Seamless error: refresh called with empty url." },
            End::Stalled);
        row("archive without header", { "--archive-without-hdr" }, archive,
            { unzipped,
                "Seamless error: Could not create BIL file from \"*.zip\": \"*.bil\" or/and \"*.hdr\" not "
                "found." },
            End::Waiting);
        row("archive entries climbing out", { "--archive-fault", "climbing-names" }, archive,
            { "Seamless: szFileName = ../*", unzipped, "Seamless: BIL file size is *" }, End::Waiting);
        row("archive entries with absolute names", { "--archive-fault", "absolute-names" }, archive,
            { "Seamless: szFileName = /*", unzipped, "Seamless: BIL file size is *" }, End::Waiting);
        row("archive entry claiming gigabytes", { "--archive-fault", "claims-gigabytes" }, archive,
            { "Seamless error: * claims 4026531840 bytes, more than the *", unzipped,
                "Seamless error: Could not create BIL file from *" },
            End::Waiting);
        // The tiles that came are stitched without the broken one.
        const QStringList brokenTile { "OpenStreetMap error: Could not load image from buffer.",
            "OpenStreetMap error: Could not save image %tile.",
            "OpenStreetMap error: Could not load %tile for tiling.", "OpenStreetMap: Saving *.png." };
        row("tile that is no PNG", { "--fail-status", "200:" + tile }, tile, brokenTile, End::Waiting);
        row("tile that is a PNG bomb", { "--png-bomb", tile }, tile, brokenTile.mid(0, 2), End::Waiting);
    }

    void hostileServer()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, faulty);
        QFETCH(QStringList, lines);
        QFETCH(End, end);
        const bool tiles = faulty.startsWith(u"/15/"_s);
        // The other branch is never answered.
        options << u"--no-answer"_s << (tiles ? summary : u"/15/"_s);
        RunFixture run(
            options + QStringList { u"--refresh-seconds"_s, u"0"_s, u"--cache-dir"_s, archives.path() });
        QVERIFY(run.isReady());
        // Three levels down, so that a name climbing out would still land
        // in this folder, where it can be seen.
        QTemporaryDir root;
        const QString work = root.filePath(u"a/b/c"_s);
        QVERIFY(QDir().mkpath(work));
        // Without a faulty path the source is one the service does not know.
        run.start({ .source = faulty.isEmpty() ? u"none"_s : RunFixture::srtm3, .workingDirectory = work });
        QList<QRegularExpression> patterns;
        for (const QString& line : lines)
            patterns << pattern(QString(line).replace(u"%tile"_s, work + u"/15-06735-12375.png"_s));
        qsizetype found = 0;
        qsizetype scanned = 0;
        const auto seen = [&] {
            const QStringList log = run.log();
            for (; scanned < log.size() && found < patterns.size(); ++scanned)
                found += patterns[found].match(log[scanned]).hasMatch();
            return found == patterns.size();
        };
        if (faulty == geocoder)
            run.run().geocode(u"1600 Pennsylvania Ave NW, Washington DC"_s);
        else
            run.download();
        QVERIFY(run.waitFor([&] { return run.simulatorLog().contains(faulty.toLatin1()); }));
        QVERIFY2(run.waitFor(seen), qPrintable(run.elevationLog().join(u'\n')));
        if (end == End::Idle)
            QVERIFY(run.waitFor([&] { return !run.controlsLocked(); }));
        if (end == End::Stalled)
            QVERIFY(run.waitFor([&] { return run.hasStalled(); }));
        QCOMPARE(run.controlsLocked(), end != End::Idle);
        QFETCH(QString, label);
        QVERIFY2(run.message().contains(label), qPrintable(run.message()));
        run.run().cancelDownload();
        QVERIFY(run.isIdle());

        for (const QString& file : filesBelow(root.path()))
            QVERIFY2(file.startsWith(u"a/b/c/"_s), qPrintable(file));
        QCOMPARE(rasterFilesIn(QDir::rootPath()), QStringList());
        QCOMPARE(rasterFilesIn(QDir::currentPath()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestDownloadRun)
#include "tst_downloadrun.moc"
