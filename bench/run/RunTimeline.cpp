#include "RunTimeline.h"

#include <QDateTime>
#include <QFileInfo>

#include <algorithm>

void RunTimeline::start()
{
    entries.clear();
    startMsSinceEpoch = QDateTime::currentMSecsSinceEpoch();
    clock.start();
}

double RunTimeline::elapsed() const { return clock.nsecsElapsed() / 1e9; }

void RunTimeline::add(const QString& text) { entries.append({ elapsed(), text }); }

std::optional<double> RunTimeline::first(const QString& text) const
{
    const auto line = std::find_if(
        entries.cbegin(), entries.cend(), [&text](const Line& line) { return line.text.contains(text); });
    return line == entries.cend() ? std::nullopt : std::optional(line->at);
}

std::optional<double> RunTimeline::last(const QString& text) const
{
    const auto line = std::find_if(
        entries.crbegin(), entries.crend(), [&text](const Line& line) { return line.text.contains(text); });
    return line == entries.crend() ? std::nullopt : std::optional(line->at);
}

QString RunTimeline::lineBefore(double at) const
{
    const auto after = std::upper_bound(
        entries.cbegin(), entries.cend(), at, [](double at, const Line& line) { return at < line.at; });
    return after == entries.cbegin() ? QString() : std::prev(after)->text;
}

std::optional<double> RunTimeline::written(const QString& fileName) const
{
    const QFileInfo file(fileName);
    if (!file.exists())
        return std::nullopt;
    // File times come from the kernel's coarse clock, a few milliseconds
    // behind; enough for phases that last a second or more.
    const double at = (file.lastModified().toMSecsSinceEpoch() - startMsSinceEpoch) / 1e3;
    return at < 0 ? std::nullopt : std::optional(at);
}
