#include "RunFixture.h"

#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "http/HttpClient.h"
#include "run/RequestRegistry.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTest>

using namespace Qt::StringLiterals;

using Handler = RequestRegistry::Handler;
Q_DECLARE_METATYPE(Handler)

namespace {

const QString success = u"         ********* SUCCESS *********"_s;
const QString neverIssued = u"seamlessHttpRequestFinished(#, 0) - request never issued. Returning."_s;

QStringList startLines(const QString& source)
{
    return { u"Begin download: "_s + source, u"                "_s + RunFixture::area,
        u"                40.25, 40.125, -106, -105.75"_s };
}

int count(const QStringList& log, const QString& start)
{
    return int(
        std::count_if(log.cbegin(), log.cend(), [&](const QString& line) { return line.startsWith(start); }));
}

QStringList tileFiles(const QString& directory)
{
    return QDir(directory).entryList({ u"15-*.png"_s }, QDir::Files | QDir::NoDotAndDotDot);
}

} // namespace

// Download runs against the simulator, driven as the window drives them.
class TestDownloadRun : public QObject {
    Q_OBJECT

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
        const int kept = int(tileFiles(work).size());
        QVERIFY(kept < RunFixture::tileCount);
        // An empty file is no tile.
        QVERIFY(QFile(work + u"/15-06758-12390.png"_s).open(QIODevice::WriteOnly));

        run.clearLog();
        run.onLine(u"Seamless: Unzip finished."_s, [&run] { run.run().cancelDownload(); });
        run.download();
        QVERIFY(run.waitFor([&] { return run.isIdle(); }));
        QCOMPARE(count(run.log(), u"OpenStreetMap: Downloading"_s), RunFixture::tileCount - kept);
        QVERIFY(run.boxes().isEmpty() && !run.log().contains(success));
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
                     << neverIssued;
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
        QCOMPARE(count(log, u"Seamless: Downloading"_s), 0);
        const QStringList texture { u"OpenStreetMap: Tiling, total file size = 5826 x 3813 pixels"_s,
            u"OpenStreetMap: Post processing downloaded image."_s,
            u"OpenStreetMap: Saving %1.png."_s.arg(base) };
        const QStringList end { u"Seamless: Saving file %1-el-col-scaled.png."_s.arg(base), success,
            u"Elevation file %1-el-corr.png successfully created."_s.arg(base),
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
        run.run().deleteFiles();
        QStringList left = others + QStringList { u"messages.txt"_s };
        for (const char* result : { "-el-corr.png", "-el-col-scaled.png" })
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
};

QTEST_GUILESS_MAIN(TestDownloadRun)
#include "tst_downloadrun.moc"
