#include "RunPhases.h"

#include "RunTimeline.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace {

using Moment = std::optional<double>;

// The earlier of two moments, either of which may be missing.
Moment earlier(Moment one, Moment other)
{
    if (!one || !other)
        return one ? one : other;
    return std::min(*one, *other);
}

Moment lastTileWritten(const RunTimeline& timeline, const QString& directory)
{
    Moment last;
    for (const QString& name : QDir(directory).entryList(QDir::Files)) {
        if (RunPhases::isTile(name))
            last = std::max(last, timeline.written(directory + QLatin1Char('/') + name));
    }
    return last;
}

} // namespace

bool RunPhases::isTile(const QString& fileName)
{
    // Tiles are named zoom-x-y.png; the run's own files start with a latitude.
    static const QRegularExpression tileName(QStringLiteral("^\\d+-\\d+-\\d+\\.png$"));
    return tileName.match(fileName).hasMatch();
}

double RunPhases::Phase::overlap(double start, double end) const
{
    return isKnown() ? std::max(0.0, std::min(end, *to) - std::max(start, *from)) : 0;
}

RunPhases::RunPhases(const RunTimeline& timeline, const QString& baseName)
{
    const auto line = [&timeline](const char* text) { return timeline.first(QString::fromLatin1(text)); };
    const auto written = [&timeline, &baseName](const char* suffix) {
        return timeline.written(baseName + QLatin1String(suffix));
    };
    const Moment press = 0.0;

    const Moment reused = line("Seamless: Reusing file");
    const Moment elevationStart = earlier(line("Seamless: Downloading"), reused);
    const Moment archiveReady = written(".zip") ? written(".zip") : reused;
    const Moment unzipStart = line("Seamless: unzOpen(");
    const Moment unzipEnd = line("Seamless: Unzip finished.");
    const Moment nodata = line("Seamless: NODATA value");
    const Moment colouring = line("Seamless: Creating color file");
    const Moment elevationEnd = written("-el-col.png");
    list.append({ QStringLiteral("Elevation branch"),
        {
            { QStringLiteral("texture branch's tile loop first"), press, elevationStart },
            { QStringLiteral("elevation conversation and archive (network)"), elevationStart, archiveReady },
            { QStringLiteral("1 s timer before unpacking"), archiveReady, unzipStart },
            { QStringLiteral("unpacking"), unzipStart, unzipEnd },
            { QStringLiteral("import: reading the raster, preview"), unzipEnd, nodata },
            { QStringLiteral("import: NODATA mask and filling"), nodata, colouring },
            { QStringLiteral("import: colouring, colour file saved"), colouring, elevationEnd },
        },
        { QStringLiteral("whole branch"), press, elevationEnd } });

    const Moment tiling = line("OpenStreetMap: Tiling");
    // When every tile was on disk, none is written and stitching starts at once.
    const Moment tilesWritten = lastTileWritten(timeline, QFileInfo(baseName).absolutePath());
    const Moment tilesReady = tilesWritten ? tilesWritten : tiling;
    const Moment postProcessing = line("OpenStreetMap: Post processing downloaded image.");
    const Moment saving = line("OpenStreetMap: Saving");
    const Moment textureEnd = written(".png");
    list.append({ QStringLiteral("Texture branch"),
        {
            { QStringLiteral("tile check and downloads (network)"), press, tilesReady },
            { QStringLiteral("1 s timer before stitching"), tilesReady, tiling },
            { QStringLiteral("tile loading and stitching"), tiling, postProcessing },
            { QStringLiteral("post-processing"), postProcessing, saving },
            { QStringLiteral("preview, texture saved"), saving, textureEnd },
        },
        { QStringLiteral("whole branch"), press, textureEnd } });

    const Moment mergeStart = elevationEnd && textureEnd ? std::max(elevationEnd, textureEnd) : Moment();
    const Moment mergeSaving = timeline.first(QStringLiteral("-el-col-scaled.png."));
    const Moment merged = written("-el-col-scaled.png");
    const Moment box = timeline.last(QStringLiteral("[box]"));
    list.append({ QStringLiteral("Merge"),
        {
            { QStringLiteral("loading, scaling, merging rows"), mergeStart, mergeSaving },
            { QStringLiteral("merged texture saved"), mergeSaving, merged },
            { QStringLiteral("preview, success lines and box"), merged, box },
        },
        { QStringLiteral("whole merge"), mergeStart, box } });
}

QStringList RunPhases::covering(double start, double end) const
{
    QStringList names;
    for (const Branch& branch : list) {
        const auto most = std::max_element(branch.phases.cbegin(), branch.phases.cend(),
            [=](const Phase& a, const Phase& b) { return a.overlap(start, end) < b.overlap(start, end); });
        if (most->overlap(start, end) > 0)
            names.append(branch.name + QLatin1String(": ") + most->name);
    }
    return names;
}
