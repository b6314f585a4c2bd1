#include "RunFixture.h"

#include <QCryptographicHash>
#include <QDir>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

const QString base = RunFixture::baseName.mid(1);
const QStringList quick { u"--refresh-seconds"_s, u"0"_s };

QStringList lines(const QByteArray& text)
{
    return QString::fromLatin1(text).split(u'\n', Qt::SkipEmptyParts);
}

// Waits in the event loop, which keeps reading the simulator's log.
bool finished(QProcess& child)
{
    return RunFixture::waitFor([&child] { return child.state() == QProcess::NotRunning; });
}

// File name to checksum, for the tiles, the archive and the two results.
using Files = QMap<QString, QByteArray>;

Files workFiles(const QString& directory)
{
    Files files;
    const QStringList patterns { u"15-*.png"_s, u"*.zip"_s, u"*-el-corr.png"_s, u"*-el-col-scaled.png"_s };
    for (const QString& name : QDir(directory).entryList(patterns, QDir::Files)) {
        QFile file(directory + u'/' + name);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        files.insert(
            name, file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result() : QByteArray());
    }
    return files;
}

} // namespace

// relka-run as a user runs it: its command line, how it ends, and runs
// interrupted one after another in the same folder, by a signal or killed.
// A killed run leaves no work file that a later run would take up in a
// broken state: whatever stands under a name after a kill is what the runs
// started afterwards end with.
class TestRelkaRun : public QObject {
    Q_OBJECT

    // The archive comes slowly, so an interruption can find it in the middle.
    SimProcess sim { quick + QStringList { u"--slow-body"_s, u"20000:/Website/distreq/archive"_s } };
    QTemporaryDir work;
    // A killed run cleans nothing up: it must leave nothing to clean.
    QTemporaryDir childTemporaries;
    QList<Files> afterInterruptions;

private slots:
    // The failures, last, start simulators of their own.
    void initTestCase()
    {
        QVERIFY(sim.isRunning());
        sim.serveAllServices();
    }

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
            << QStringList { "--plan", "--region", "40.3,40.1,-106,-105.8", "--area", RunFixture::area } << 0
            << QStringList { "--north 40.3 --west -106 --area 0.25",
                   "--north 40.175 --west -106 --area 0.25" };
        const auto refused = [](const char* name, const QStringList& arguments) {
            QTest::newRow(name) << arguments << 2 << QStringList();
        };
        refused("plan without area", { "--plan", "--region", "41,40,-106,-104" });
        refused("north without west", { "--north", "40" });
        refused("unknown source", { "--source", "srtm2" });
        refused("working directory that cannot be made",
            { "--north", "40", "--west", "-106", "--workdir", "/proc/x" });
    }

    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QProcess child;
        child.start(u"" RELKA_BINARY_DIR "/run/relka-run"_s, arguments);
        QVERIFY(finished(child));
        QCOMPARE(child.exitCode(), exitCode);
        QTEST(lines(child.readAllStandardOutput()), "output");
        QCOMPARE(child.readAllStandardError().startsWith("relka-run: "), exitCode == 2);
    }

    void interrupted_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<bool>("simulator"); // the line is in its log, or in relka-run's
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("times");
        QTest::newRow("killed in the tile downloads")
            << SIGKILL << false << QByteArray("OpenStreetMap: Image ") << 40;
        QTest::newRow("SIGTERM in the tile downloads")
            << SIGTERM << false << QByteArray("OpenStreetMap: Image ") << 40;
        QTest::newRow("killed in the archive body")
            << SIGKILL << true << QByteArray("/Website/distreq/archive/") << 1;
        QTest::newRow("SIGINT in the import")
            << SIGINT << false << QByteArray("Seamless: BIL file size is") << 1;
        QTest::newRow("killed saving the texture result")
            << SIGKILL << false << QByteArray("Seamless: Saving file ") << 1;
    }

    // The rows interrupt one run after another in the same folder; a signal
    // cancels the run, which then ends with 128 and the signal's number.
    void interrupted()
    {
        QFETCH(int, signal);
        QFETCH(bool, simulator);
        QFETCH(QByteArray, line);
        QFETCH(int, times);
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TMPDIR"_s, childTemporaries.path());
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        RunFixture::startRelkaRun(child, work.path(), -106, { "--verbose" });
        QByteArray out;
        sim.process().readAllStandardError();
        QVERIFY(RunFixture::waitFor([&] {
            out += simulator ? sim.process().readAllStandardError() : child.readAllStandardOutput();
            return out.count(line) >= times;
        }));
        // A child that has ended has no id, and kill(0) would hit this test's
        // whole process group.
        const qint64 pid = child.processId();
        QVERIFY(pid > 0);
        ::kill(pid_t(pid), signal);
        QVERIFY(finished(child));
        QCOMPARE(child.exitStatus(), signal == SIGKILL ? QProcess::CrashExit : QProcess::NormalExit);
        if (signal != SIGKILL)
            QCOMPARE(child.exitCode(), 128 + signal);
        QVERIFY(!child.readAllStandardOutput().contains(RunFixture::success.toLatin1()));
        QVERIFY(QDir(childTemporaries.path()).isEmpty());
        afterInterruptions.append(workFiles(work.path()));
    }

    // Two runs then share the folder, its tiles and its message log: the
    // one interrupted before and its neighbour to the east. The settings
    // store stays as it was.
    void runsAfterwardsShareTheFolder()
    {
        QFile::remove(work.filePath(u"messages.txt"_s));
        QProcess first;
        QProcess second;
        RunFixture::startRelkaRun(first, work.path());
        RunFixture::startRelkaRun(second, work.path(), -105.75);
        QVERIFY(finished(first) && finished(second));
        const QStringList out = lines(first.readAllStandardOutput());
        QVERIFY2(first.exitCode() == 0, qPrintable(out.mid(out.size() - 5).join(u'\n')));
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(out.at(out.size() - 3), RunFixture::success);
        const QByteArray progress = first.readAllStandardError();
        QVERIFY(progress.contains("Merging: done\n")
            && progress.contains("relka: Download and post processing finished!"));
        QVERIFY(!QImage(work.filePath(u"40.25000N-40.12500S_-105.75000W--105.50000E-el-col-scaled.png"_s))
                     .isNull());
        QFile log(work.filePath(u"messages.txt"_s));
        QVERIFY(log.open(QIODevice::ReadOnly));
        static const QRegularExpression stamped(u"^\\d\\d:\\d\\d:\\d\\d\\.\\d{3}: .*\\r$"_s);
        const QStringList logged = lines(log.readAll());
        for (const QString& line : logged)
            QVERIFY2(stamped.match(line).hasMatch(), qPrintable(line));
        QCOMPARE(logged.filter(RunFixture::success).size(), 2);
        QVERIFY(QSettings(u"Brenholt"_s, u"relka"_s).allKeys().isEmpty());

        const Files whole = workFiles(work.path());
        QVERIFY(!QImage(work.filePath(base + u"-el-corr.png"_s)).isNull());
        for (const Files& found : std::as_const(afterInterruptions)) {
            for (auto it = found.cbegin(); it != found.cend(); ++it)
                QVERIFY2(whole.value(it.key()) == it.value(), qPrintable(it.key() + u" was broken"_s));
        }
    }

    // A run that would wait for Cancel fails, and so does one whose archive
    // cannot be written (the tiles fit under the file size limit, the
    // archive does not).
    void failures_data()
    {
        QTest::addColumn<QStringList>("simOptions");
        QTest::addColumn<qint64>("fileSizeLimit");
        QTest::addColumn<QStringList>("lines"); // in this order among the output; %1 the base name
        QTest::newRow("waiting for Cancel")
            << QStringList { "--download-buttons", "0" } << qint64(0)
            << QStringList { "Seamless error: No \"Download\" button found in the request form." };
        QTest::newRow("archive that cannot be written")
            << QStringList() << qint64(24 * 1024)
            << QStringList { "Seamless error: Could not save file %1.zip.",
                   "Seamless: unzOpen(%1.zip) failed." };
    }

    void failures()
    {
        QFETCH(QStringList, simOptions);
        QFETCH(qint64, fileSizeLimit);
        QFETCH(QStringList, lines);
        RunFixture run(simOptions + quick);
        QVERIFY(run.isReady());
        QTemporaryDir directory;
        QProcess child;
        child.setChildProcessModifier([fileSizeLimit] {
            // A write past the limit fails with EFBIG instead of ending the process.
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit limit { rlim_t(fileSizeLimit), rlim_t(fileSizeLimit) };
            if (fileSizeLimit > 0)
                setrlimit(RLIMIT_FSIZE, &limit);
        });
        RunFixture::startRelkaRun(child, directory.path());
        QVERIFY(finished(child));
        QCOMPARE(child.exitCode(), 1);
        QStringList seen = ::lines(child.readAllStandardOutput());
        for (QString& line : lines)
            line.replace(u"%1"_s, directory.filePath(base));
        seen.removeIf([&lines](const QString& line) { return !lines.contains(line); });
        QCOMPARE(seen, lines);
    }
};

QTEST_GUILESS_MAIN(TestRelkaRun)
#include "tst_relkarun.moc"
