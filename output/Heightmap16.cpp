#include "Heightmap16.h"

#include "output/ElevationGrid.h"
#include "output/Wgs84.h"

#include <QJsonDocument>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double steps = 65535;

// Where output pixel i of count falls on an axis of size samples: the two
// samples around it and the weight of the second.
struct Tap {
    int first;
    int second;
    float weight;
};

std::vector<Tap> tapsAlong(int size, int count)
{
    std::vector<Tap> taps(count);
    for (int i = 0; i < count; ++i) {
        const double at = std::clamp((i + 0.5) * size / count - 0.5, 0.0, double(size - 1));
        const int first = int(at);
        taps[i] = { first, std::min(first + 1, size - 1), float(at - first) };
    }
    return taps;
}

} // namespace

Heightmap16::Heightmap16(const ElevationGrid& grid, const EnginePreset& engine)
{
    const QSize size = engine.heightmapSize(grid.geometry().size);
    heights = QImage(size, QImage::Format_Grayscale16);
    if (heights.isNull())
        return;
    const float lowest = grid.minimum();
    const double range = double(grid.maximum()) - lowest;
    const float scale = range > 0 ? float(steps / range) : 0.0f;
    const std::vector<Tap> columns = tapsAlong(grid.width(), size.width());
    const std::vector<Tap> rows = tapsAlong(grid.height(), size.height());
    // The lowest elevation stands in for voids; at the grid's own size the
    // taps fall on the samples themselves.
    const auto sample = [lowest](float value) { return value == ElevationGrid::nodata ? lowest : value; };
    const auto quantised = [lowest, scale](float metres) {
        return quint16(std::clamp((metres - lowest) * scale, 0.0f, float(steps)) + 0.5f);
    };
    const bool sameSize = size == grid.geometry().size;
    std::vector<float> top(size.width());
    std::vector<float> bottom(size.width());
    for (int y = 0; y < size.height(); ++y) {
        quint16* out = reinterpret_cast<quint16*>(heights.scanLine(y));
        if (sameSize) {
            const float* row = grid.row(y);
            for (int x = 0; x < size.width(); ++x)
                out[x] = quantised(sample(row[x]));
            continue;
        }
        const Tap& r = rows[y];
        const float* upper = grid.row(r.first);
        const float* lower = grid.row(r.second);
        for (int x = 0; x < size.width(); ++x) {
            const Tap& c = columns[x];
            top[x] = sample(upper[c.first]) + c.weight * (sample(upper[c.second]) - sample(upper[c.first]));
            bottom[x]
                = sample(lower[c.first]) + c.weight * (sample(lower[c.second]) - sample(lower[c.first]));
        }
        for (int x = 0; x < size.width(); ++x)
            out[x] = quantised(top[x] + r.weight * (bottom[x] - top[x]));
    }

    const GridGeometry& geometry = grid.geometry();
    const double latitude = (geometry.north() + geometry.south()) / 2;
    const double widthMetres
        = (geometry.east() - geometry.west()) * Wgs84::metresPerDegreeOfLongitude(latitude);
    const double lengthMetres
        = (geometry.north() - geometry.south()) * Wgs84::metresPerDegreeOfLatitude(latitude);
    const double spacingX = widthMetres / size.width();
    const double spacingY = lengthMetres / size.height();
    description = engine.importValues(widthMetres, lengthMetres, spacingX, spacingY, std::max(range, 0.0));
    description.insert(QStringLiteral("width"), size.width());
    description.insert(QStringLiteral("height"), size.height());
    description.insert(QStringLiteral("minimum_m"), grid.minimum());
    description.insert(QStringLiteral("maximum_m"), grid.maximum());
    description.insert(QStringLiteral("north"), geometry.north());
    description.insert(QStringLiteral("south"), geometry.south());
    description.insert(QStringLiteral("west"), geometry.west());
    description.insert(QStringLiteral("east"), geometry.east());
    description.insert(QStringLiteral("metres_per_pixel_x"), spacingX);
    description.insert(QStringLiteral("metres_per_pixel_y"), spacingY);
    description.insert(QStringLiteral("engine"), engine.name());
}

QByteArray Heightmap16::raw() const
{
    const qsizetype rowBytes = qsizetype(heights.width()) * 2;
    QByteArray bytes(rowBytes * heights.height(), Qt::Uninitialized);
    for (int y = 0; y < heights.height(); ++y)
        qToLittleEndian<quint16>(heights.constScanLine(y), heights.width(), bytes.data() + y * rowBytes);
    return bytes;
}

QByteArray Heightmap16::sidecar() const { return QJsonDocument(description).toJson(); }
