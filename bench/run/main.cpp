// Times whole download runs of the real main dialog, offscreen, against the
// simulator started as a child process: from pressing "&Download" to the
// information box, for the two largest downloads the settings allow.
//
//   relka-bench-run [--case srtm1|ned13] [--repeat N] [--no-reuse]
//
// Each run gets a fresh working directory; unless --no-reuse is given, a
// second run follows on the same directory with the results deleted but
// the tiles and the archive kept. The simulator keeps built archives for
// the whole program, so only the first run of a case waits for one to be
// built. Settings live in a temporary store.
//
// Phases come from the time stamps of the echoed log lines and the times
// the run's files were written, per branch on its own timeline. Processor
// seconds are this process's, all threads, without the simulator. Peak
// memory is the process's so far: run one case per process for a figure of
// that case alone.

#include "EventStretchLog.h"
#include "RunPhases.h"
#include "RunTimeline.h"
#include "SimProcess.h"
#include "app/MainDialog.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "bench/Times.h"
#include "run/WorkFileName.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QEventLoop>
#include <QImage>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

constexpr double reportedStretchMs = 100;
constexpr int runTimeoutMs = 900000;
constexpr double north = 40.25;
constexpr double west = -106.0;

struct Case {
    const char* key;
    const char* title;
    int area;
    int source;
};

// Indices into SettingsStore::downloadAreas() and elevationDataSources().
const Case cases[] = {
    { "srtm1", "SRTM 1 arc-second, 2° x 1°", 0, 1 },
    { "ned13", "NED 1/3 arc-second, 1° x 0.5°", 1, 3 },
};

struct Outcome {
    bool finished = false;
    Times times;
    RunTimeline timeline;
    QList<EventStretchLog::Stretch> stretches;
    EventStretchLog::Stretch longest { 0, 0 };
    QString baseName;
    long peakMegabytes = 0;
};

long peakMegabytes()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

bool isTile(const QString& name)
{
    static const QRegularExpression tileName(QStringLiteral("^\\d+-\\d+-\\d+\\.png$"));
    return tileName.match(name).hasMatch();
}

// Leaves what a later run for the same rectangle reuses: tiles and archive.
void deleteAllButTilesAndArchive(const QString& directory)
{
    for (const QString& name : QDir(directory).entryList(QDir::Files)) {
        if (!isTile(name) && !name.endsWith(QLatin1String(".zip")))
            QFile::remove(directory + QLatin1Char('/') + name);
    }
}

Outcome runOnce(const Case& bench, const QString& workingDirectory, EventStretchLog& stretchLog)
{
    SettingsStore::setDownloadArea(SettingsStore::downloadAreas().at(bench.area));
    SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(bench.source));
    SettingsStore::setWorkingDirectory(workingDirectory);
    MainDialog dialog;
    dialog.doubleSpinBoxNorth->setValue(north);
    dialog.doubleSpinBoxWest->setValue(west);
    dialog.show();
    QCoreApplication::processEvents();

    Outcome outcome;
    outcome.baseName = WorkFileName::baseFileName(workingDirectory, dialog.doubleSpinBoxNorth->value(),
        dialog.doubleSpinBoxSouth->value(), dialog.doubleSpinBoxWest->value(),
        dialog.doubleSpinBoxEast->value());
    QEventLoop wait;
    MessageLog::setEcho([&outcome](const QString& line) { outcome.timeline.add(line); });
    MessageBoxes::setHandler([&outcome, &wait](QMessageBox::Icon, QWidget*, const QString& title,
                                 const QString& text, QMessageBox::StandardButtons buttons) {
        outcome.timeline.add(QStringLiteral("[box] ") + title + QLatin1String(": ") + text);
        outcome.finished = text == QLatin1String("Download and post processing finished!");
        if (outcome.finished)
            QMetaObject::invokeMethod(&wait, &QEventLoop::quit, Qt::QueuedConnection);
        return buttons.testFlag(QMessageBox::Ignore) ? QMessageBox::Ignore : QMessageBox::Ok;
    });
    QTimer::singleShot(runTimeoutMs, &wait, &QEventLoop::quit);

    const Times start = now();
    // Both clocks start together: stretches and log lines share one timeline.
    outcome.timeline.start();
    stretchLog.restart();
    dialog.pushButtonDownload->click();
    // The whole run may have happened inside the click's own event processing.
    if (!outcome.finished)
        wait.exec();
    outcome.times = now() - start;
    outcome.stretches = stretchLog.stretches();
    outcome.longest = stretchLog.longest();
    outcome.peakMegabytes = peakMegabytes();
    MessageLog::setEcho({});
    MessageBoxes::setHandler({});
    outcome.finished = outcome.finished && QFile::exists(outcome.baseName + QStringLiteral("-el-corr.png"))
        && QFile::exists(outcome.baseName + QStringLiteral("-el-col-scaled.png"));
    return outcome;
}

// One row per phase: seconds and the longest stretch without event
// processing that lies in it.
struct Row {
    QString label;
    std::optional<double> from;
    std::optional<double> to;
    double longestMs = 0;
};

QList<Row> rows(const Outcome& outcome)
{
    const RunPhases phases(outcome.timeline, outcome.baseName);
    QList<Row> list;
    for (const RunPhases::Branch& branch : phases.branches()) {
        for (const RunPhases::Phase& phase : branch.phases + QList { branch.whole }) {
            Row row { branch.name + QLatin1String(": ") + phase.name, phase.from, phase.to };
            for (const EventStretchLog::Stretch& stretch : outcome.stretches)
                row.longestMs = std::max(row.longestMs, phase.overlap(stretch.start, stretch.end) * 1e3);
            list.append(row);
        }
    }
    return list;
}

double median(QList<double> values)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    const qsizetype middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

QString seconds(std::optional<double> value)
{
    return value ? QString::number(*value, 'f', 2) : QStringLiteral("-");
}

void printOutcome(const Outcome& outcome)
{
    std::printf("  %-62s %8s %8s %8s %10s\n", "phase", "from s", "to s", "seconds", "stretch ms");
    for (const Row& row : rows(outcome))
        std::printf("  %-62s %8s %8s %8s %10.0f\n", qPrintable(row.label), qPrintable(seconds(row.from)),
            qPrintable(seconds(row.to)),
            qPrintable(row.from && row.to ? seconds(*row.to - *row.from) : seconds({})), row.longestMs);
    printRow(QStringLiteral("whole run, Download to the information box"), outcome.times);

    const RunPhases phases(outcome.timeline, outcome.baseName);
    std::printf("  longest stretch without event processing: %.0f ms at %.2f s (%s)\n",
        outcome.longest.milliseconds(), outcome.longest.start,
        qPrintable(phases.covering(outcome.longest.start, outcome.longest.end).join(QLatin1String("; "))));
    std::printf("  stretches over %.0f ms:\n", reportedStretchMs);
    for (const EventStretchLog::Stretch& stretch : outcome.stretches)
        std::printf("    %7.2f s %6.0f ms  %s\n      last line: %s\n", stretch.start, stretch.milliseconds(),
            qPrintable(phases.covering(stretch.start, stretch.end).join(QLatin1String("; "))),
            qPrintable(outcome.timeline.lineBefore(stretch.end).left(100)));
    std::printf("  peak memory (ru_maxrss) so far: %ld MB\n\n", outcome.peakMegabytes);
    std::fflush(stdout);
}

void printMedians(const char* title, const QList<Outcome>& outcomes)
{
    if (outcomes.size() < 2)
        return;
    std::printf("Medians of %lld runs, %s:\n  %-62s %8s %10s\n", static_cast<long long>(outcomes.size()),
        title, "phase", "seconds", "stretch ms");
    const QList<Row> first = rows(outcomes.first());
    QList<QList<Row>> all;
    for (const Outcome& outcome : outcomes)
        all.append(rows(outcome));
    for (qsizetype i = 0; i < first.size(); ++i) {
        QList<double> durations;
        QList<double> longest;
        for (const QList<Row>& runRows : all) {
            if (runRows[i].from && runRows[i].to)
                durations.append(*runRows[i].to - *runRows[i].from);
            longest.append(runRows[i].longestMs);
        }
        std::printf("  %-62s %8s %10.0f\n", qPrintable(first[i].label),
            qPrintable(durations.isEmpty() ? seconds({}) : seconds(median(durations))), median(longest));
    }
    QList<double> walls;
    QList<double> processors;
    QList<double> stretches;
    for (const Outcome& outcome : outcomes) {
        walls.append(outcome.times.wall);
        processors.append(outcome.times.cpu);
        stretches.append(outcome.longest.milliseconds());
    }
    printRow(QStringLiteral("whole run"), { median(walls), median(processors) });
    std::printf("  %-66s %7.0f ms\n\n", "longest stretch without event processing", median(stretches));
}

// What the stitching cannot avoid: decoding the tiles once, on the same files.
void printTileDecoding(const QString& directory)
{
    int count = 0;
    const Times start = now();
    for (const QString& name : QDir(directory).entryList(QDir::Files)) {
        if (isTile(name) && !QImage(directory + QLatin1Char('/') + name).isNull())
            ++count;
    }
    printRow(QStringLiteral("decoding the %1 tiles alone, after the run").arg(count), now() - start);
    std::printf("\n");
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        { QStringLiteral("case"), QStringLiteral("srtm1 or ned13 (default: both)."), QStringLiteral("case") },
        { QStringLiteral("repeat"), QStringLiteral("Runs per case (default: 1)."), QStringLiteral("count"),
            QStringLiteral("1") },
        { QStringLiteral("no-reuse"), QStringLiteral("Leave out the run that reuses tiles and archive.") },
    });
    parser.process(application);
    const int repeats = std::max(1, parser.value(QStringLiteral("repeat")).toInt());
    const bool reuse = !parser.isSet(QStringLiteral("no-reuse"));

    // Never the user's settings or files.
    QStandardPaths::setTestModeEnabled(true);
    QTemporaryDir scratch;
    if (!scratch.isValid())
        qFatal("no temporary directory");
    QSettings::setPath(
        QSettings::NativeFormat, QSettings::UserScope, scratch.filePath(QStringLiteral("config")));
    QDir::setCurrent(scratch.path());

    SimProcess sim({ QStringLiteral("--refresh-seconds"), QStringLiteral("0"), QStringLiteral("--cache-dir"),
        scratch.filePath(QStringLiteral("archives")) });
    if (!sim.isRunning())
        qFatal("the simulator did not start: %s", qPrintable(SimProcess::executable()));
    const QByteArray authority = sim.url(QString()).authority().toLatin1();
    for (const char* variable : { "RELKA_ELEVATION_SERVER", "RELKA_TILE_SERVER", "RELKA_GEOCODER" })
        qputenv(variable, authority);

    EventStretchLog stretchLog(reportedStretchMs);
    bool allFinished = true;
    for (const Case& bench : cases) {
        if (parser.isSet(QStringLiteral("case"))
            && parser.value(QStringLiteral("case")) != QLatin1String(bench.key))
            continue;
        QList<Outcome> fresh;
        QList<Outcome> reused;
        for (int repeat = 1; repeat <= repeats; ++repeat) {
            const QTemporaryDir work(scratch.filePath(QStringLiteral("work-XXXXXX")));
            std::printf("%s, run %d of %d, fresh working directory:\n", bench.title, repeat, repeats);
            fresh.append(runOnce(bench, work.path(), stretchLog));
            printOutcome(fresh.last());
            allFinished = allFinished && fresh.last().finished;
            if (repeat == repeats)
                printTileDecoding(work.path());
            if (!reuse)
                continue;
            deleteAllButTilesAndArchive(work.path());
            std::printf("%s, run %d of %d, tiles and archive kept:\n", bench.title, repeat, repeats);
            reused.append(runOnce(bench, work.path(), stretchLog));
            printOutcome(reused.last());
            allFinished = allFinished && reused.last().finished;
        }
        printMedians(bench.title, fresh);
        printMedians(qPrintable(QString::fromUtf8(bench.title) + QLatin1String(", reuse")), reused);
    }
    if (!allFinished)
        std::printf("A run did not end with the success box or its results are missing.\n");
    return allFinished ? 0 : 1;
}
