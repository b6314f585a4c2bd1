#include "run/ConsoleProgress.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>

ConsoleProgress::ConsoleProgress(const DownloadRun& run, FILE* stream)
    : stream(stream)
    , live(isatty(fileno(stream)))
{
    connect(&run, &DownloadRun::stageRangeChanged, this,
        [this](DownloadRun::Stage stage, int maximum) { stages[int(stage)].maximum = maximum; });
    connect(&run, &DownloadRun::busyChanged, this, [this](bool busy) {
        if (busy)
            std::fill(std::begin(stages), std::end(stages), StageState());
    });
    connect(&run, &DownloadRun::stageValueChanged, this, [this](DownloadRun::Stage stage, int value) {
        stages[int(stage)].value = value;
        update(stage, false);
    });
    connect(&run, &DownloadRun::stageCompleted, this, [this](DownloadRun::Stage stage) {
        stages[int(stage)].value = stages[int(stage)].maximum;
        update(stage, true);
    });
}

void ConsoleProgress::update(DownloadRun::Stage stage, bool completed)
{
    StageState& state = stages[int(stage)];
    if (state.done || state.value == 0)
        return;
    // The archive's bar also shows the service's pages; it is through with
    // the archive saved.
    const bool complete = stage == DownloadRun::Stage::DownloadingZipFile
        ? completed
        : state.maximum > 0 && state.value >= state.maximum;
    const int percent = state.maximum > 0 ? int(qint64(state.value) * 100 / state.maximum) : 0;
    if (live) {
        const int filled = percent * 30 / 100;
        std::fprintf(stream, "\r%-28s [%-30s] %3d%%%s", qPrintable(name(stage)),
            qPrintable(QString(filled, u'#')), percent, complete ? "\n" : "");
    } else if (complete) {
        std::fprintf(stream, "%s: done\n", qPrintable(name(stage)));
    }
    std::fflush(stream);
    state.done = complete;
}

QString ConsoleProgress::name(DownloadRun::Stage stage)
{
    static const char* const names[DownloadRun::stageCount] = { "Downloading single tiles", "Tiling",
        "Post processing", "Downloading zip file", "Extracting", "Creating elevation image",
        "Correcting elevation image", "Coloring elevation", "Scaling elevation", "Merging" };
    return QLatin1String(names[int(stage)]);
}
