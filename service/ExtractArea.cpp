#include "ExtractArea.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

std::optional<ExtractArea> ExtractArea::fromText(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return std::nullopt;
    double values[4];
    QStringList trimmed;
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        trimmed.append(parts[i].trimmed());
        values[i] = trimmed.last().toDouble(&ok);
        if (!ok || !std::isfinite(values[i]))
            return std::nullopt;
    }
    const ExtractArea area { values[0], values[1], values[2], values[3], trimmed.join(QLatin1Char(',')) };
    if (area.north <= area.south || area.east <= area.west || area.north > 90 || area.south < -90
        || area.west < -180 || area.east > 180)
        return std::nullopt;
    return area;
}

RasterGrid RasterGrid::covering(const ExtractArea& area, int samplesPerDegree)
{
    RasterGrid grid;
    grid.samplesPerDegree = samplesPerDegree;
    // The counts come from the extent, not from two rounded edges, so a
    // 1° wide area always has 3601 columns at 1" whatever its west edge.
    grid.rows = int(std::llround((area.north - area.south) * samplesPerDegree)) + 1;
    grid.columns = int(std::llround((area.east - area.west) * samplesPerDegree)) + 1;
    grid.topRow = std::llround(area.north * samplesPerDegree);
    grid.leftColumn = std::llround(area.west * samplesPerDegree);
    return grid;
}

RasterGrid RasterGrid::cellsCovering(const ExtractArea& area, int samplesPerDegree)
{
    // An edge within a millionth of a cell of a grid line lies on it.
    constexpr double tolerance = 1e-6;
    RasterGrid grid;
    grid.samplesPerDegree = samplesPerDegree;
    grid.cellCentred = true;
    grid.topRow = qint64(std::ceil(area.north * samplesPerDegree - tolerance));
    grid.leftColumn = qint64(std::floor(area.west * samplesPerDegree + tolerance));
    const auto bottom = qint64(std::floor(area.south * samplesPerDegree + tolerance));
    const auto right = qint64(std::ceil(area.east * samplesPerDegree - tolerance));
    grid.rows = int(std::max<qint64>(1, grid.topRow - bottom));
    grid.columns = int(std::max<qint64>(1, right - grid.leftColumn));
    return grid;
}
