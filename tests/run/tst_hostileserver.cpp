#include "RunFixture.h"

#include <QDir>
#include <QDirIterator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

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

// A server that misbehaves in every way the simulator's fault switches
// offer, one row each: the run logs its lines, ends idle, stalled or
// waiting, shows its message, and touches nothing outside its working
// directory. The branch a row does not test is kept waiting for an answer.
class TestHostileServer : public QObject {
    Q_OBJECT

    // Archives are built once for all rows.
    QTemporaryDir archives;

private slots:
    void matrix_data()
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

        row("summary dropped before the body", { "--drop-before-body", summary }, summary, {}, End::Stalled);
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

    void matrix()
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

QTEST_GUILESS_MAIN(TestHostileServer)
#include "tst_hostileserver.moc"
