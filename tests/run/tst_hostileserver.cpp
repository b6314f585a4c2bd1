#include "RunFixture.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");
const QString srtm3 = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");
// A source the service does not know: the elevation branch stops at once.
const QString noSource = QStringLiteral("none");
const QString summary = QStringLiteral("/Website/distreq/RequestSummary.jsp");
const QString form = QStringLiteral("/Website/distreq/StartDownload.jsp");
const QString archive = QStringLiteral("/Website/distreq/archive");
// The first tile of the rectangle (north 40.25, west -106, zoom 15): a fault
// that aborts it ends the tile checks early.
const QString tile = QStringLiteral("/15/6735/12375.png");
const QString tooLarge = QStringLiteral("The answer to * is larger than 16777216 bytes; download aborted.");

// Who talks to the faulty server, and what the run looks like afterwards.
enum class Branch { Elevation, Tiles, Geocoder };
enum class End {
    Idle, // the program ended the run itself
    Waiting, // the run waits for Cancel
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
        { QStringLiteral("*.bil"), QStringLiteral("*.hdr"), QStringLiteral("*.blw"), QStringLiteral("*.stx"),
            QStringLiteral("*.prj") },
        QDir::Files);
}

} // namespace

Q_DECLARE_METATYPE(Branch)
Q_DECLARE_METATYPE(End)

// A server that misbehaves in every way the simulator's fault switches
// offer, one row each: the run ends in its log line, in an idle or a
// cancellable state, and touches nothing outside its working directory.
class TestHostileServer : public QObject {
    Q_OBJECT

    // Archives are built once for all rows.
    QTemporaryDir archives;

private slots:
    void matrix_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<Branch>("branch");
        // In this order among the others; "%url" is the faulty address, a
        // trailing "*" matches any end.
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<End>("end");
        QTest::addColumn<QString>("faulty");

        const QList<QPair<int, QString>> statuses { { 204, "No Content" }, { 304, "Not Modified" },
            { 404, "Not Found" }, { 503, "Service Unavailable" } };
        for (const auto& [status, reason] : statuses) {
            for (const QString& path : { summary, form, archive }) {
                QTest::addRow("elevation %s %d", qPrintable(path.section('/', -1)), status)
                    << QStringList { "--fail-status", QStringLiteral("%1:%2").arg(status).arg(path) }
                    << Branch::Elevation << QStringList { "Seamless error: Download failed: " + reason + '.' }
                    << End::Idle << path;
            }
            QTest::addRow("tile %d", status)
                << QStringList { "--fail-status", QStringLiteral("%1:%2").arg(status).arg(tile) }
                << Branch::Tiles << QStringList { "OpenStreetMap error: Download failed: " + reason + '.' }
                << End::Idle << tile;
        }
        QTest::newRow("geocoder 500")
            << QStringList { "--fail-status", "500:/demo.cgi" } << Branch::Geocoder
            << QStringList { "geocode error: Could not find latitude or longitude in "
                             "the result file." }
            << End::Idle << "/demo.cgi";

        for (const QString& path : { summary, archive }) {
            const QString name = path.section('/', -1);
            QTest::addRow("elevation %s dropped before the body", qPrintable(name))
                << QStringList { "--drop-before-body", path } << Branch::Elevation << QStringList()
                << End::Waiting << path;
            QTest::addRow("elevation %s dropped in the body", qPrintable(name))
                << QStringList { "--drop-body", path } << Branch::Elevation << QStringList() << End::Waiting
                << path;
            QTest::addRow("elevation %s silent", qPrintable(name))
                << QStringList { "--no-answer", path } << Branch::Elevation << QStringList() << End::Waiting
                << path;
        }
        QTest::newRow("tile dropped before the body")
            << QStringList { "--drop-before-body", tile } << Branch::Tiles << QStringList() << End::Waiting
            << tile;
        QTest::newRow("tile dropped in the body")
            << QStringList { "--drop-body", tile } << Branch::Tiles << QStringList() << End::Waiting << tile;
        QTest::newRow("tile silent") << QStringList { "--no-answer", tile } << Branch::Tiles << QStringList()
                                     << End::Waiting << tile;
        QTest::newRow("geocoder silent") << QStringList { "--no-answer", "/demo.cgi" } << Branch::Geocoder
                                         << QStringList() << End::Waiting << "/demo.cgi";

        QTest::newRow("slow summary page")
            << QStringList { "--slow-body", "3000:" + summary } << Branch::Elevation
            << QStringList { "Seamless: Downloading http://%authority" + form + '*' } << End::Waiting
            << summary;
        QTest::newRow("summary page without end")
            << QStringList { "--endless-body", summary } << Branch::Elevation
            << QStringList { "Seamless error: " + tooLarge } << End::Idle << summary;
        QTest::newRow("tile without end")
            << QStringList { "--endless-body", tile } << Branch::Tiles
            << QStringList { "OpenStreetMap error: " + tooLarge } << End::Idle << tile;
        QTest::newRow("geocoder page without end")
            << QStringList { "--endless-body", "/demo.cgi" } << Branch::Geocoder
            << QStringList { "geocode error: " + tooLarge } << End::Idle << "/demo.cgi";
        QTest::newRow("summary page with broken chunks")
            << QStringList { "--broken-chunks", summary } << Branch::Elevation << QStringList()
            << End::Waiting << summary;
        QTest::newRow("summary page with negative length")
            << QStringList { "--negative-length", summary } << Branch::Elevation
            << QStringList { "Seamless: Downloading http://%authority" + form + '*' } << End::Waiting
            << summary;

        const QString unzipped = "Seamless: Unzip finished.";
        QTest::newRow("archive entries climbing out")
            << QStringList { "--archive-fault", "climbing-names" } << Branch::Elevation
            << QStringList { "Seamless: szFileName = ../*", unzipped, "Seamless: BIL file size is *" }
            << End::Waiting << archive;
        QTest::newRow("archive entries with absolute names")
            << QStringList { "--archive-fault", "absolute-names" } << Branch::Elevation
            << QStringList { "Seamless: szFileName = /*", unzipped, "Seamless: BIL file size is *" }
            << End::Waiting << archive;
        QTest::newRow("archive entry claiming gigabytes")
            << QStringList { "--archive-fault", "claims-gigabytes" } << Branch::Elevation
            << QStringList { "Seamless error: * claims 4026531840 bytes, more than the *", unzipped,
                   "Seamless error: Could not create BIL file from *" }
            << End::Waiting << archive;

        QTest::newRow("tile that is no PNG")
            << QStringList { "--fail-status", "200:" + tile } << Branch::Tiles
            << QStringList { "OpenStreetMap error: Could not load image from "
                             "buffer.",
                   "OpenStreetMap error: Could not save image %tile." }
            << End::Waiting << tile;
        QTest::newRow("tile that is a PNG bomb") << QStringList { "--png-bomb", tile } << Branch::Tiles
                                                 << QStringList { "OpenStreetMap error: Could not load image "
                                                                  "from buffer.",
                                                        "OpenStreetMap error: Could not save image %tile." }
                                                 << End::Waiting << tile;
    }

    void matrix()
    {
        QFETCH(QStringList, options);
        QFETCH(Branch, branch);
        QFETCH(QStringList, lines);
        QFETCH(End, end);
        QFETCH(QString, faulty);
        RunFixture run(options + QStringList { "--refresh-seconds", "0", "--cache-dir", archives.path() });
        QVERIFY(run.isReady());
        // Three levels down, so that a name climbing out would still land
        // in this folder, where it can be seen.
        QTemporaryDir root;
        const QString work = root.filePath("a/b/c");
        QVERIFY(QDir().mkpath(work));
        if (branch == Branch::Elevation)
            run.makeTileServerUnreachable();
        run.start(
            { .area = area, .source = branch == Branch::Tiles ? noSource : srtm3, .workingDirectory = work });
        const QString tileFile = work + "/15-06735-12375.png";
        for (QString& line : lines)
            line.replace("%authority", run.authority()).replace("%tile", tileFile);
        // "*" stands for any text, the rest for itself.
        const auto matches = [](const QString& line, const QString& pattern) {
            QStringList parts = pattern.split('*');
            for (QString& part : parts)
                part = QRegularExpression::escape(part);
            return QRegularExpression('^' + parts.join(".*") + '$').match(line).hasMatch();
        };
        const auto seen = [&] {
            QStringList found;
            for (const QString& line : run.log()) {
                if (found.size() < lines.size() && matches(line, lines[found.size()]))
                    found << line;
            }
            return found.size();
        };

        if (branch == Branch::Geocoder) {
            run.run().geocode("1600 Pennsylvania Ave NW, Washington DC");
        } else {
            run.download();
        }
        // The faulty request has been answered (or left unanswered) once
        // the simulator logs it.
        QVERIFY(QTest::qWaitFor([&] { return run.simulatorLog().contains(faulty.toLatin1()); }, 60000));
        // The tile branch's lines would hide the rest in a failure message.
        const auto shown = [&] {
            static const QRegularExpression tileLines("^(OpenStreetMap: Downloading|openStreetMapHttp)");
            QStringList log = run.log();
            log.removeIf([](const QString& line) { return tileLines.match(line).hasMatch(); });
            return log.join('\n');
        };
        QVERIFY2(QTest::qWaitFor([&] { return seen() == lines.size(); }, 20000), qPrintable(shown()));
        const auto idle = [&] { return !run.controlsLocked(); };
        if (end == End::Idle) {
            QVERIFY(QTest::qWaitFor(idle, 10000));
        } else {
            QTest::qWait(300);
            QVERIFY2(!idle(), "the run should wait for Cancel");
            run.run().cancelDownload();
            QVERIFY(idle());
        }
        // Nothing goes on after the end.
        const QStringList after = run.log();
        QTest::qWait(300);
        QCOMPARE(run.log(), after);

        for (const QString& file : filesBelow(root.path()))
            QVERIFY2(file.startsWith("a/b/c/"), qPrintable(file));
        QCOMPARE(rasterFilesIn(QDir::rootPath()), QStringList());
        QCOMPARE(rasterFilesIn(QDir::currentPath()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestHostileServer)
#include "tst_hostileserver.moc"
