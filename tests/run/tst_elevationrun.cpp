#include "RunFixture.h"

#include "app/SettingsStore.h"

#include <QFile>
#include <QImage>
#include <QTest>

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");
const QString srtm3 = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");
const QString neverIssued
    = QStringLiteral("seamlessHttpRequestFinished(#, 0) - request never issued. Returning.");
// The rectangle of every run here: north 40.25, west -106 with the area above.
const QString corners = QStringLiteral("40.25,40.125,-105.75,-106");

QStringList startLines(const QString& source)
{
    return { QStringLiteral("Begin download: ") + source, QStringLiteral("                ") + area,
        QStringLiteral("                40.25, 40.125, -106, -105.75") };
}

QString summaryUrl(const QString& authority, const QString& product)
{
    return QStringLiteral("http://%1/Website/distreq/RequestSummary.jsp?PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM"
                          "&MD=DL&AL=%2&CS=250&PL=%3")
        .arg(authority, corners, product);
}

QString downloading(const QString& url) { return QStringLiteral("Seamless: Downloading ") + url; }

// The conversation up to the answer to the form: a waiting page, the
// summary page and the submission of its form.
QStringList conversationToForm(const QString& authority, const QString& product)
{
    return { downloading(summaryUrl(authority, product)), neverIssued,
        QStringLiteral("Seamless: Waiting 0 second(s) for refresh."),
        downloading(summaryUrl(authority, product)), neverIssued,
        downloading(
            QStringLiteral("http://%1/Website/distreq/StartDownload.jsp?&PL=%2&AL=%3&CS=250&FORMAT=BIL"
                           "&SUBMIT1=Download")
                .arg(authority, product, corners)),
        neverIssued };
}

QString archiveUrl(const QString& authority, const QString& product)
{
    return QStringLiteral("http://%1/Website/distreq/archive/%2_40.25_40.125_-105.75_-106.zip")
        .arg(authority, product);
}

} // namespace

// A download run's elevation branch against the simulated service, watched
// through the message log and what the window would show.
class TestElevationRun : public QObject {
    Q_OBJECT

private slots:
    void conversationReachesArchive_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("product");
        const QStringList products { "SM905HZ", "SM305HZ", "NED05HZ", "ND305HZ", "T1305HZ" };
        for (int i = 0; i < products.size(); ++i) {
            const QString source = SettingsStore::elevationDataSources().at(i);
            QTest::newRow(qPrintable(products[i])) << source << products[i];
        }
    }

    void conversationReachesArchive()
    {
        QFETCH(QString, source);
        QFETCH(QString, product);
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        run.makeTileServerUnreachable();
        run.start({ .area = area, .source = source });
        run.download();
        QVERIFY(run.controlsLocked() && !run.isIdle());
        const QString archive = run.baseFileName() + QStringLiteral(".zip");
        QVERIFY(QTest::qWaitFor([&] { return QFile::exists(archive); }, 60000));
        const QStringList expected = startLines(source) + conversationToForm(run.authority(), product)
            + QStringList { downloading(archiveUrl(run.authority(), product)), neverIssued };
        QCOMPARE(run.elevationLog(), expected);
        QFile saved(archive);
        QVERIFY(saved.open(QIODevice::ReadOnly) && saved.read(2) == "PK");
        const RunFixture::Bar zip = run.bar(DownloadRun::Stage::DownloadingZipFile);
        QCOMPARE(zip.value, zip.maximum);
    }

    void verboseConversation()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        run.makeTileServerUnreachable();
        run.start({ .area = area, .source = srtm3, .verbose = true });
        run.download();
        const QString archive = archiveUrl(run.authority(), QStringLiteral("SM905HZ"));
        QVERIFY(run.waitForLine(QStringLiteral("Seamless: File %1.zip saved.").arg(run.baseFileName())));
        const QString summary = summaryUrl(run.authority(), QStringLiteral("SM905HZ"));
        const QString summaryPath = summary.mid(summary.indexOf(QLatin1String("/Website")));
        const QStringList expected = startLines(srtm3)
            + QStringList { downloading(summary),
                  QStringLiteral("seamlessRefresh(): requestId = #, host = 127.0.0.1, path = ") + summaryPath,
                  neverIssued, QStringLiteral("Seamless: Waiting 0 second(s) for refresh."),
                  QStringLiteral("Seamless: Waiting to download: ") + summary,
                  QStringLiteral("seamlessHttpRequestFinished(#, 0)") };
        QCOMPARE(run.elevationLog().mid(0, expected.size()), expected);
        QVERIFY(run.elevationLog().contains(
            QStringLiteral("Seamless: Redirected, waiting to download: ") + archive));
    }

    void archiveOnDiskIsReused()
    {
        RunFixture run;
        QVERIFY(run.isReady());
        run.makeTileServerUnreachable();
        run.start({ .area = area, .source = srtm3 });
        QFile archive(run.baseFileName() + QStringLiteral(".zip"));
        QVERIFY(archive.open(QIODevice::WriteOnly));
        archive.close();
        run.download();
        const QString reusing = QStringLiteral("Seamless: Reusing file %1.").arg(archive.fileName());
        QCOMPARE(run.elevationLog(), startLines(srtm3) + QStringList { reusing });
        QCOMPARE(run.bar(DownloadRun::Stage::DownloadingZipFile).value, 100);
    }

    void bothResultsOnDiskEndTheRunAtOnce()
    {
        RunFixture run;
        QVERIFY(run.isReady());
        run.makeTileServerUnreachable();
        run.start({ .area = area, .source = srtm3 });
        QImage picture(400, 200, QImage::Format_RGB32);
        picture.fill(Qt::darkGreen);
        QVERIFY(picture.save(run.baseFileName() + QStringLiteral("-el-corr.png")));
        QVERIFY(picture.save(run.baseFileName() + QStringLiteral("-el-col-scaled.png")));
        run.download();
        const QStringList success {
            QStringLiteral("         ********* SUCCESS *********"),
            QStringLiteral("Elevation file %1-el-corr.png successfully created.").arg(run.baseFileName()),
            QStringLiteral("Texture file %1-el-col-scaled.png successfully created.").arg(run.baseFileName())
        };
        QCOMPARE(run.elevationLog(), startLines(srtm3) + success);
        QCOMPARE(
            run.boxes(), QStringList { QStringLiteral("relka: Download and post processing finished!") });
        QVERIFY(run.isIdle());
        // The elevation preview is narrowed by cos(40.1875°) before it is fitted.
        const QSize elevation = run.preview(DownloadRun::Preview::Elevation).size();
        const QSize texture = run.preview(DownloadRun::Preview::Texture).size();
        QVERIFY(qAbs(double(elevation.width()) / elevation.height() - 2 * 0.7641) < 0.02);
        QVERIFY(qAbs(double(texture.width()) / texture.height() - 2.0) < 0.02);
        QCOMPARE(run.bar(DownloadRun::Stage::Merging).value, run.bar(DownloadRun::Stage::Merging).maximum);
    }

    void cancelDuringRefreshWait()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("2") });
        QVERIFY(run.isReady());
        run.makeTileServerUnreachable();
        run.start({ .area = area, .source = srtm3, .verbose = true });
        run.download();
        QVERIFY(run.waitForLine(QStringLiteral("Seamless: Waiting 2 second(s) for refresh.")));
        run.run().cancelDownload();
        QVERIFY(run.isIdle());
        run.run().cancelDownload();
        QVERIFY(run.isIdle());
        // The pending refresh still asks again; its answer is dropped.
        QVERIFY(run.waitForLine(QStringLiteral(
            "seamlessHttpRequestFinished(#, 0): Seamless and OpenStreetMap download already finished.")));
        QVERIFY(run.isIdle());

        run.clearLog();
        run.download();
        QVERIFY(run.waitForLine(neverIssued));
        QCOMPARE(
            run.elevationLog().at(3), downloading(summaryUrl(run.authority(), QStringLiteral("SM905HZ"))));
        run.run().cancelDownload();
    }

    void cancelDuringArchiveBody()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0"),
            QStringLiteral("--slow-body"), QStringLiteral("20000:/Website/distreq/archive") });
        QVERIFY(run.isReady());
        run.makeTileServerUnreachable();
        run.start({ .area = area, .source = srtm3 });
        run.download();
        QVERIFY(QTest::qWaitFor(
            [&] { return run.bar(DownloadRun::Stage::DownloadingZipFile).value > 0; }, 30000));
        const int lines = run.elevationLog().size();
        run.run().cancelDownload();
        QVERIFY(run.isIdle());
        QCOMPARE(run.bar(DownloadRun::Stage::DownloadingZipFile).value, 0);
        QTest::qWait(200);
        QCOMPARE(run.elevationLog().size(), lines);
        QVERIFY(!QFile::exists(run.baseFileName() + QStringLiteral(".zip")));
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("workingDirectory");
        QTest::addColumn<QStringList>("tail"); // the log after the start lines, "*" for the conversation
        QTest::addColumn<bool>("cancelled");
        QTest::addColumn<QString>("label");
        const QStringList quick { "--refresh-seconds", "0" };
        const QString noButtons = "Seamless error: No \"Download\" button found in the request form.";
        const QString failed = "Seamless error: Download failed: Not Found.";
        // The waiting page stays on show, without its error passage.
        const QString waiting = "every 0 second(s) until your data are ready.</P>\r\n<P></P>";
        QTest::newRow("unaccepted status")
            << QStringList { "--fail-status", "404:/Website" } << srtm3 << QString()
            << QStringList { "summary", neverIssued, failed } << true << failed;
        QTest::newRow("no download button")
            << quick + QStringList { "--download-buttons", "0" } << srtm3 << QString()
            << QStringList { "*", noButtons, "Seamless: Download aborted." } << false
            << "The National Map Seamless Request Summary Page";
        QTest::newRow("two download buttons")
            << quick + QStringList { "--download-buttons", "2" } << srtm3 << QString()
            << QStringList { "*",
                   "Seamless error: More than one \"Download\" button found in the request form.",
                   "Seamless: Download aborted." }
            << false << waiting;
        QTest::newRow("form without target, silent")
            << quick + QStringList { "--form-without-action" } << srtm3 << QString() << QStringList { "*" }
            << false << waiting;
        QTest::newRow("no source matches")
            << quick << QStringLiteral("SRTM 2 arc sec") << QString()
            << QStringList { "Seamless error: refresh called with empty url." } << false << QString();
        QTest::newRow("archive body dropped: waits for Cancel")
            << quick + QStringList { "--drop-body", "/Website/distreq/archive" } << srtm3 << QString()
            << QStringList { "*", "archive", neverIssued } << false << "The document has moved";
        QTest::newRow("archive cannot be written")
            << quick << srtm3 << QStringLiteral("/nonexistent/folder")
            << QStringList { "*", "archive", neverIssued, "Seamless error: Could not open file %1.zip.",
                   "Seamless error: Could not save file %1.zip.", "Seamless: unzOpen(%1.zip) failed.",
                   "Seamless: unzGoToFirstFile() failed.", "Seamless: Could not close %1.zip.",
                   "Seamless: Unzip finished.",
                   "Seamless error: Could not create BIL file from \"%1.zip\": \"%1.bil\" or/and \"%1.hdr\" "
                   "not "
                   "found." }
            << false << QString();
    }

    void failures()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, source);
        QFETCH(QString, workingDirectory);
        QFETCH(QStringList, tail);
        RunFixture run(options);
        QVERIFY(run.isReady());
        run.makeTileServerUnreachable();
        run.start({ .area = area, .source = source, .workingDirectory = workingDirectory });
        QStringList expected = startLines(source);
        const QString product = QStringLiteral("SM905HZ");
        for (const QString& line : tail) {
            if (line == QLatin1String("*"))
                expected += conversationToForm(run.authority(), product).mid(0, 5);
            else if (line == QLatin1String("summary"))
                expected += downloading(summaryUrl(run.authority(), product));
            else if (line == QLatin1String("archive"))
                expected += conversationToForm(run.authority(), product).mid(5)
                    + QStringList { downloading(archiveUrl(run.authority(), product)) };
            else
                expected += QString(line).replace(QLatin1String("%1"), run.baseFileName());
        }
        run.download();
        QVERIFY(QTest::qWaitFor([&] { return run.elevationLog().size() >= expected.size(); }, 30000));
        QTest::qWait(1500);
        QCOMPARE(run.elevationLog(), expected);
        QFETCH(bool, cancelled);
        QCOMPARE(run.isIdle(), cancelled);
        QFETCH(QString, label);
        QVERIFY(label.isEmpty() ? run.message().isEmpty() : run.message().contains(label));
        if (!cancelled)
            run.run().cancelDownload();
        QVERIFY(run.isIdle());
    }
};

QTEST_GUILESS_MAIN(TestElevationRun)
#include "tst_elevationrun.moc"
