#include "RunFixture.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");

// File name to checksum, for the tiles, the archive and the two results.
using Files = QMap<QString, QByteArray>;

Files workFiles(const QString& directory)
{
    Files files;
    const QStringList names = QDir(directory).entryList(
        { QStringLiteral("15-*.png"), QStringLiteral("*.zip"), QStringLiteral("*-el-corr.png"),
            QStringLiteral("*-el-col-scaled.png") },
        QDir::Files);
    for (const QString& name : names) {
        QFile file(directory + u'/' + name);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        files.insert(
            name, file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result() : QByteArray());
    }
    return files;
}

} // namespace

// Runs of relka-run killed one after another in the same folder leave no
// work file that a later run would take up in a broken state: whatever
// stands under a name after a kill is what a run started again ends with.
class TestCrashConsistency : public QObject {
    Q_OBJECT

    // The archive comes slowly, so a kill can find it in the middle.
    SimProcess sim { { QStringLiteral("--refresh-seconds"), QStringLiteral("0"),
        QStringLiteral("--slow-body"), QStringLiteral("20000:/Website/distreq/archive") } };
    QTemporaryDir work;
    // A killed run cleans nothing up: it must leave nothing to clean.
    QTemporaryDir childTemporaries;
    QList<Files> afterKills;

private slots:
    void initTestCase()
    {
        QVERIFY(sim.isRunning());
        for (const char* variable : { "RELKA_ELEVATION_SERVER", "RELKA_TILE_SERVER", "RELKA_GEOCODER" })
            qputenv(variable, sim.url(QString()).authority().toLatin1());
    }

    void killedRun_data()
    {
        // The kill comes once the log holds the line so many times.
        QTest::addColumn<bool>("simulator"); // its log, or relka-run's
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("times");
        QTest::newRow("during the tile downloads") << false << QByteArray("OpenStreetMap: Image ") << 40;
        QTest::newRow("during the archive body") << true << QByteArray("/Website/distreq/archive/") << 1;
        QTest::newRow("during the import") << false << QByteArray("Seamless: BIL file size is") << 1;
        QTest::newRow("while the texture result is saved")
            << false << QByteArray("Seamless: Saving file ") << 1;
    }

    void killedRun()
    {
        QFETCH(bool, simulator);
        QFETCH(QByteArray, line);
        QFETCH(int, times);
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TMPDIR"), childTemporaries.path());
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QStringLiteral(RELKA_BINARY_DIR "/run/relka-run"),
            { "--north", "40.25", "--west", "-106", "--source", "srtm3", "--area", area, "--workdir",
                work.path(), "--verbose" });
        QByteArray out;
        sim.process().readAllStandardError();
        const auto reached = [&] {
            out += simulator ? sim.process().readAllStandardError() : child.readAllStandardOutput();
            return out.count(line) >= times;
        };
        QVERIFY(QTest::qWaitFor(reached, RunFixture::patience()));
        ::kill(pid_t(child.processId()), SIGKILL);
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);
        QVERIFY(QDir(childTemporaries.path()).isEmpty());
        afterKills.append(workFiles(work.path()));
        // The next run starts a new log.
        QFile::remove(work.filePath(QStringLiteral("messages.txt")));
    }

    void restartedRunEndsAsNeverKilled()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        run.start({ .area = area,
            .source = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]"),
            .workingDirectory = work.path() });
        run.download();
        QVERIFY(run.waitFor([&] { return !run.boxes().isEmpty(); }));
        const Files whole = workFiles(work.path());
        QCOMPARE(whole.size(), 24 * 16 + 3);
        for (const Files& found : std::as_const(afterKills)) {
            for (auto it = found.cbegin(); it != found.cend(); ++it)
                QVERIFY2(whole.value(it.key()) == it.value(),
                    qPrintable(it.key() + QStringLiteral(" was broken")));
        }
    }
};

QTEST_GUILESS_MAIN(TestCrashConsistency)
#include "tst_crashconsistency.moc"
