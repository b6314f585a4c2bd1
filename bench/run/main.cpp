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
// Per phase: its bounds and length, the processor seconds spent meanwhile
// and the longest stretch without event processing inside it, in ms.
// Phases come from the time stamps of the echoed log lines and the times
// the run's files were written, per branch on its own timeline. Processor
// seconds are this process's (all threads, without the simulator) and the
// GUI thread's; while the branches overlap, a phase's process figure holds
// the other branch's work too. The machine may be shared: wall seconds then
// stretch, processor seconds hardly. Peak memory is the process's so far:
// run one case per process for a figure of that case alone.

#include "DialogRun.h"
#include "RunPhases.h"
#include "SimProcess.h"
#include "app/SettingsStore.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QImage>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr qsizetype listedStretches = 12;
constexpr double north = 40.25;
constexpr double west = -106.0;

struct Case {
    const char* key;
    const char* title;
    int area;
    int source;

    DialogRun::Settings settings(const QString& workingDirectory) const
    {
        return { SettingsStore::downloadAreas().at(area), SettingsStore::elevationDataSources().at(source),
            workingDirectory, north, west };
    }
};

// Indices into SettingsStore::downloadAreas() and elevationDataSources().
const Case cases[] = {
    { "srtm1", "SRTM 1 arc-second, 2° x 1°", 0, 1 },
    { "ned13", "NED 1/3 arc-second, 1° x 0.5°", 1, 3 },
};

using Outcome = DialogRun::Outcome;
using Row = DialogRun::Row;

// Leaves what a later run for the same rectangle reuses: tiles and archive.
void deleteAllButTilesAndArchive(const QString& directory)
{
    for (const QString& name : QDir(directory).entryList(QDir::Files)) {
        if (!RunPhases::isTile(name) && !name.endsWith(QLatin1String(".zip")))
            QFile::remove(directory + QLatin1Char('/') + name);
    }
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

const char* const rowHeader = "  %-58s %7s %7s %7s %7s %7s %9s\n";
const char* const rowFormat = "  %-58s %7s %7s %7s %7.2f %7.2f %9.0f\n";

void printRows(const QList<Row>& rows)
{
    std::printf(rowHeader, "phase", "from s", "to s", "wall s", "proc s", "gui s", "stretch");
    for (const Row& row : rows)
        std::printf(rowFormat, qPrintable(row.label), qPrintable(seconds(row.from)),
            qPrintable(seconds(row.to)), qPrintable(seconds(row.wall)), row.processor.process,
            row.processor.gui, row.longestMs);
}

QString where(const Outcome& outcome, const EventStretchLog::Stretch& stretch)
{
    return RunPhases(outcome.timeline, outcome.baseName)
        .covering(stretch.start, stretch.end)
        .join(QLatin1String("; "));
}

void printOutcome(const Outcome& outcome)
{
    printRows(outcome.rows);
    printRow(QStringLiteral("whole run, Download to the information box"), outcome.times);
    std::printf("  %-66s %7.2f s\n", "of which on the GUI thread", outcome.guiProcessor);
    std::printf("  longest stretch without event processing: %.0f ms (%.0f ms on the GUI thread) at %.2f s\n"
                "    in %s\n",
        outcome.longest.milliseconds(), outcome.longest.guiProcessor * 1e3, outcome.longest.start,
        qPrintable(where(outcome, outcome.longest)));
    std::printf("  longest stretch without a timer firing: %.0f ms at %.2f s\n    in %s\n",
        outcome.longestTimerWait.milliseconds(), outcome.longestTimerWait.start,
        qPrintable(where(outcome, outcome.longestTimerWait)));
    // On a busy machine many short stretches are the GUI thread waiting for
    // a processor; the longest are the ones to look at.
    QList<EventStretchLog::Stretch> longest = outcome.stretches;
    std::sort(longest.begin(), longest.end(),
        [](const auto& a, const auto& b) { return a.milliseconds() > b.milliseconds(); });
    longest = longest.mid(0, listedStretches);
    std::sort(longest.begin(), longest.end(), [](const auto& a, const auto& b) { return a.start < b.start; });
    std::printf("  %lld stretches over %.0f ms; the longest %lld:\n",
        static_cast<long long>(outcome.stretches.size()), DialogRun::reportedStretchMs,
        static_cast<long long>(longest.size()));
    for (const EventStretchLog::Stretch& stretch : longest)
        std::printf("    %7.2f s %6.0f ms (%4.0f ms GUI thread) %s\n      last line: %s\n", stretch.start,
            stretch.milliseconds(), stretch.guiProcessor * 1e3, qPrintable(where(outcome, stretch)),
            qPrintable(outcome.timeline.lineBefore(stretch.end).left(100)));
    std::printf("  peak memory (ru_maxrss) so far: %ld MB\n\n", outcome.peakMegabytes);
    std::fflush(stdout);
}

void printMedians(const QString& title, const QList<Outcome>& outcomes)
{
    if (outcomes.size() < 2)
        return;
    std::printf("Medians of %lld runs, %s:\n", static_cast<long long>(outcomes.size()), qPrintable(title));
    QList<Row> medians = outcomes.first().rows;
    for (qsizetype i = 0; i < medians.size(); ++i) {
        QList<double> walls;
        QList<double> processors;
        QList<double> guiProcessors;
        QList<double> longest;
        for (const Outcome& outcome : outcomes) {
            const Row& row = outcome.rows[i];
            if (row.wall)
                walls.append(*row.wall);
            processors.append(row.processor.process);
            guiProcessors.append(row.processor.gui);
            longest.append(row.longestMs);
        }
        Row& row = medians[i];
        row.from = row.to = std::nullopt;
        row.wall = walls.isEmpty() ? std::nullopt : std::optional(median(walls));
        row.processor = { 0, median(processors), median(guiProcessors) };
        row.longestMs = median(longest);
    }
    printRows(medians);
    QList<double> walls;
    QList<double> processors;
    QList<double> stretches;
    QList<double> timerWaits;
    for (const Outcome& outcome : outcomes) {
        walls.append(outcome.times.wall);
        processors.append(outcome.times.cpu);
        stretches.append(outcome.longest.milliseconds());
        timerWaits.append(outcome.longestTimerWait.milliseconds());
    }
    printRow(QStringLiteral("whole run"), { median(walls), median(processors) });
    std::printf("  %-66s %7.0f ms\n", "longest stretch without event processing", median(stretches));
    std::printf("  %-66s %7.0f ms\n\n", "longest stretch without a timer firing", median(timerWaits));
}

// What the stitching cannot avoid: decoding the tiles once, on the same files.
void printTileDecoding(const QString& directory)
{
    int count = 0;
    const Times start = now();
    for (const QString& name : QDir(directory).entryList(QDir::Files)) {
        if (RunPhases::isTile(name) && !QImage(directory + QLatin1Char('/') + name).isNull())
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

    DialogRun runner;
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
            fresh.append(runner.run(bench.settings(work.path())));
            printOutcome(fresh.last());
            allFinished = allFinished && fresh.last().finished;
            if (repeat == repeats)
                printTileDecoding(work.path());
            if (!reuse)
                continue;
            deleteAllButTilesAndArchive(work.path());
            std::printf("%s, run %d of %d, tiles and archive kept:\n", bench.title, repeat, repeats);
            reused.append(runner.run(bench.settings(work.path())));
            printOutcome(reused.last());
            allFinished = allFinished && reused.last().finished;
        }
        printMedians(QString::fromUtf8(bench.title), fresh);
        printMedians(QString::fromUtf8(bench.title) + QLatin1String(", tiles and archive kept"), reused);
    }
    if (!allFinished)
        std::printf("A run did not end with the success box or its results are missing.\n");
    return allFinished ? 0 : 1;
}
