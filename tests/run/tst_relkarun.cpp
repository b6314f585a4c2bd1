#include "RunFixture.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

namespace {

const QString base = QStringLiteral("40.25000N-40.12500S_-106.00000W--105.75000E");
const QString success = QStringLiteral("         ********* SUCCESS *********");

QStringList lines(const QByteArray& text)
{
    return QString::fromLatin1(text).split(u'\n', Qt::SkipEmptyParts);
}

// Waits in the event loop, which keeps reading the simulator's log.
bool finished(QProcess& child)
{
    return QTest::qWaitFor([&child] { return child.state() == QProcess::NotRunning; }, RunFixture::patience())
        && child.exitStatus() == QProcess::NormalExit;
}

// Starts relka-run on the rectangle at north 40.25, west west.
void start(QProcess& child, const QString& directory, double west = -106)
{
    child.start(QStringLiteral(RELKA_BINARY_DIR "/run/relka-run"),
        { "--north", "40.25", "--west", QString::number(west), "--area", "0.25", "--source", "srtm3",
            "--workdir", directory });
}

} // namespace

class TestRelkaRun : public QObject {
    Q_OBJECT

private slots:
    void commandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("output");
        QTest::newRow("plan of a 2 x 2 region")
            << QStringList { "--plan", "--region", "41,40,-106,-104", "--area", "1" } << 0
            << QStringList { "--north 41 --west -106 --area 1", "--north 41 --west -105 --area 1",
                   "--north 40.5 --west -106 --area 1", "--north 40.5 --west -105 --area 1" };
        QTest::newRow("plan reaching past the region")
            << QStringList { "--plan", "--region", "40.3,40.1,-106,-105.8", "--area",
                   "0.25° (lon) by 0.125° (lat)" }
            << 0
            << QStringList { "--north 40.3 --west -106 --area 0.25",
                   "--north 40.175 --west -106 --area 0.25" };
        QTest::newRow("plan without area")
            << QStringList { "--plan", "--region", "41,40,-106,-104" } << 2 << QStringList();
        QTest::newRow("north without west") << QStringList { "--north", "40" } << 2 << QStringList();
        QTest::newRow("unknown source") << QStringList { "--source", "srtm2" } << 2 << QStringList();
        QTest::newRow("latitude out of range")
            << QStringList { "--north", "91", "--west", "0" } << 2 << QStringList();
        QTest::newRow("working directory that cannot be made") << QStringList { "--north", "40", "--west",
            "-106", "--workdir", "/proc/relka" } << 2 << QStringList();
    }

    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QProcess child;
        child.start(QStringLiteral(RELKA_BINARY_DIR "/run/relka-run"), arguments);
        QVERIFY(finished(child));
        QCOMPARE(child.exitCode(), exitCode);
        QTEST(lines(child.readAllStandardOutput()), "output");
        QCOMPARE(child.readAllStandardError().startsWith("relka-run: "), exitCode == 2);
    }

    // Two runs of neighbouring rectangles share the folder, its tiles and
    // its message log; the settings store stays as it was.
    void twoRunsShareAFolder()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        QTemporaryDir work;
        QProcess first;
        QProcess second;
        start(first, work.path());
        start(second, work.path(), -105.75);
        QVERIFY(finished(first) && finished(second));
        const QStringList out = lines(first.readAllStandardOutput());
        QVERIFY2(first.exitCode() == 0, qPrintable(out.mid(out.size() - 5).join(u'\n')));
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(out.at(out.size() - 3), success);
        const QByteArray progress = first.readAllStandardError();
        QVERIFY(progress.contains("Merging: done\n") && progress.contains("Downloading zip file: done\n"));
        QVERIFY(progress.contains("relka: Download and post processing finished!"));
        for (const QString& name : { base, QStringLiteral("40.25000N-40.12500S_-105.75000W--105.50000E") }) {
            QVERIFY(!QImage(work.filePath(name + "-el-corr.png")).isNull());
            QVERIFY(!QImage(work.filePath(name + "-el-col-scaled.png")).isNull());
        }
        for (const QString& tile : QDir(work.path()).entryList({ "15-*.png" }))
            QVERIFY2(!QImage(work.filePath(tile)).isNull(), qPrintable(tile));
        QFile log(work.filePath("messages.txt"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        static const QRegularExpression whole(QStringLiteral("^\\d\\d:\\d\\d:\\d\\d\\.\\d{3}: .*\\r$"));
        const QStringList logged = lines(log.readAll());
        for (const QString& line : logged)
            QVERIFY2(whole.match(line).hasMatch(), qPrintable(line));
        QCOMPARE(logged.filter(success).size(), 2);
        QVERIFY(QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka")).allKeys().isEmpty());
    }

    void endings_data()
    {
        QTest::addColumn<QStringList>("simOptions");
        QTest::addColumn<int>("signal");
        QTest::addColumn<qint64>("fileSizeLimit");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("lines"); // in this order among the output; %1 the base name
        const QStringList slowArchive { "--slow-body", "20000:/Website/distreq/archive" };
        QTest::newRow("SIGINT cancels") << slowArchive << SIGINT << qint64(0) << 130 << QStringList();
        QTest::newRow("SIGTERM cancels") << slowArchive << SIGTERM << qint64(0) << 143 << QStringList();
        QTest::newRow("a run that would wait for Cancel fails")
            << QStringList { "--download-buttons", "0" } << 0 << qint64(0) << 1
            << QStringList { "Seamless error: No \"Download\" button found in the request form." };
        // The tiles fit under the limit, the archive does not.
        QTest::newRow("archive that cannot be written")
            << QStringList() << 0 << qint64(24 * 1024) << 1
            << QStringList { "Seamless error: Could not save file %1.zip.",
                   "Seamless: unzOpen(%1.zip) failed." };
    }

    void endings()
    {
        QFETCH(QStringList, simOptions);
        QFETCH(int, signal);
        QFETCH(qint64, fileSizeLimit);
        QFETCH(QStringList, lines);
        RunFixture run(simOptions + QStringList { QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        QTemporaryDir work;
        QProcess child;
        if (fileSizeLimit > 0) {
            child.setChildProcessModifier([fileSizeLimit] {
                // A write past the limit fails with EFBIG instead of ending the process.
                std::signal(SIGXFSZ, SIG_IGN);
                const rlimit limit { rlim_t(fileSizeLimit), rlim_t(fileSizeLimit) };
                setrlimit(RLIMIT_FSIZE, &limit);
            });
        }
        start(child, work.path());
        QByteArray out;
        if (signal != 0) {
            QVERIFY(QTest::qWaitFor(
                [&] {
                    out += child.readAllStandardOutput();
                    return out.contains("Seamless: Downloading http://")
                        && out.contains("/Website/distreq/archive/");
                },
                RunFixture::patience()));
            ::kill(pid_t(child.processId()), signal);
        }
        QVERIFY(finished(child));
        QTEST(child.exitCode(), "exitCode");
        QStringList seen = ::lines(out + child.readAllStandardOutput());
        for (QString& line : lines)
            line.replace(QLatin1String("%1"), work.filePath(base));
        seen.removeIf([&lines](const QString& line) { return !lines.contains(line); });
        QCOMPARE(seen, lines);
        // Whole or absent: no half archive under its name or beside it.
        QCOMPARE(QDir(work.path()).entryList({ "*.zip.*", signal ? "*.zip" : "-" }), QStringList());
        QVERIFY(!QFile::exists(work.filePath(base + "-el-col-scaled.png")));
    }
};

QTEST_GUILESS_MAIN(TestRelkaRun)
#include "tst_relkarun.moc"
