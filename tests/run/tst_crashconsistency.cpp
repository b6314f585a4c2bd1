#include "RunFixture.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");
const QString srtm3 = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");
constexpr double north = 40.25;
constexpr double west = -106.0;

// File name to checksum, for the tiles, the archive and the two results.
using Files = QMap<QString, QByteArray>;

QByteArray checksum(const QString& path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result().toHex() : QByteArray();
}

Files workFiles(const QString& directory)
{
    Files files;
    const QStringList names = QDir(directory).entryList(
        { QStringLiteral("15-*.png"), QStringLiteral("*.zip"), QStringLiteral("*-el-corr.png"),
            QStringLiteral("*-el-col-scaled.png") },
        QDir::Files);
    for (const QString& name : names)
        files.insert(name, checksum(directory + u'/' + name));
    return files;
}

QByteArray messages(const QString& directory)
{
    QFile log(directory + QStringLiteral("/messages.txt"));
    return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
}

} // namespace

// A run killed at any moment leaves no work file that a later run would
// take up in a broken state: whatever stands under its name is whole, and
// the run started again ends with the same results as one never killed.
class TestCrashConsistency : public QObject {
    Q_OBJECT

    Files reference;

    // Runs to the end in this process.
    static bool runToSuccess(RunFixture& run, const QString& directory)
    {
        run.start(
            { .area = area, .source = srtm3, .north = north, .west = west, .workingDirectory = directory });
        run.download();
        return run.waitForSuccess();
    }

    // Every work file found is the one an uninterrupted run writes.
    void compareWithReference(const QString& directory, const char* point)
    {
        const Files found = workFiles(directory);
        for (auto it = found.cbegin(); it != found.cend(); ++it)
            QVERIFY2(reference.value(it.key()) == it.value(),
                qPrintable(
                    QStringLiteral("%1 is broken after a kill %2").arg(it.key(), QLatin1String(point))));
    }

private slots:
    void initTestCase()
    {
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        QTemporaryDir directory;
        QVERIFY(runToSuccess(run, directory.path()));
        reference = workFiles(directory.path());
        QCOMPARE(reference.size(), 24 * 16 + 3);
    }

    void killedRunsEndAsOneNeverKilled()
    {
        // The archive comes slowly, so the kill finds it in the middle.
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0"),
            QStringLiteral("--slow-body"), QStringLiteral("100000:/Website/distreq/archive") });
        QVERIFY(run.isReady());
        QTemporaryDir directory;
        const QString work = directory.path();
        const QString base = QStringLiteral("40.25000N-40.12500S_-106.00000W--105.75000E");
        const QString archiveLine
            = QStringLiteral("Seamless: Downloading http://%1/Website/distreq/archive/").arg(run.authority());
        const QList<QPair<const char*, std::function<bool()>>> points {
            { "during the tile downloads",
                [&] {
                    return QDir(work).entryList({ QStringLiteral("15-*.png") }, QDir::Files).size() > 40;
                } },
            { "during the archive body", [&] { return messages(work).contains(archiveLine.toUtf8()); } },
            { "during the import", [&] { return messages(work).count("Seamless: BIL file size is") > 0; } },
        };
        // A killed run cleans nothing up: it must leave nothing to clean.
        QTemporaryDir childTemporaries;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TMPDIR"), childTemporaries.path());
        for (const auto& [point, reached] : points) {
            QProcess child;
            child.setProcessEnvironment(environment);
            child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            child.setStandardOutputFile(QProcess::nullDevice());
            child.start(QStringLiteral(RELKA_BINARY_DIR "/run/relka-run"),
                { "--north", QString::number(north), "--west", QString::number(west), "--source", srtm3,
                    "--area", area, "--workdir", work });
            QVERIFY2(child.waitForStarted(), point);
            QVERIFY2(QTest::qWaitFor(reached, 120000), point);
            QTest::qWait(100);
            ::kill(pid_t(child.processId()), SIGKILL);
            QVERIFY(child.waitForFinished(10000));
            QCOMPARE(child.exitStatus(), QProcess::CrashExit);
            compareWithReference(work, point);
            QVERIFY2(QDir(childTemporaries.path()).isEmpty(), point);
            if (QTest::currentTestFailed())
                return;
            // The next child starts over the same files, and a new log.
            QFile::remove(work + QStringLiteral("/messages.txt"));
        }
        QVERIFY(!QFile::exists(work + u'/' + base + QStringLiteral("-el-col-scaled.png")));

        QVERIFY(runToSuccess(run, work));
        QCOMPARE(workFiles(work), reference);
    }
};

QTEST_GUILESS_MAIN(TestCrashConsistency)
#include "tst_crashconsistency.moc"
