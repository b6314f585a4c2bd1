#include "EnginePreset.h"

#include <QJsonArray>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

// The nearest of the sizes; of two as near, the smaller.
int nearest(int size, const std::vector<int>& sizes)
{
    return *std::min_element(
        sizes.begin(), sizes.end(), [size](int a, int b) { return std::abs(a - size) < std::abs(b - size); });
}

// Unreal's recommended landscape sizes.
const std::vector<int> unrealSizes { 127, 253, 505, 1009, 2017, 4033, 8129 };
const std::vector<int> unitySizes { 33, 65, 129, 257, 513, 1025, 2049, 4097 };
constexpr int citiesSkylines2Size = 4096;
// Unreal maps the full 16-bit range to 512 m at a z scale of 100 %.
constexpr double unrealMetresAtFullScale = 512;

} // namespace

const QStringList& EnginePreset::names()
{
    static const QStringList names { QStringLiteral("native"), QStringLiteral("unreal"),
        QStringLiteral("unity"), QStringLiteral("cs2") };
    return names;
}

const QStringList& EnginePreset::displayNames()
{
    static const QStringList names { QStringLiteral("Native"), QStringLiteral("Unreal"),
        QStringLiteral("Unity"), QStringLiteral("Cities: Skylines 2") };
    return names;
}

std::optional<EnginePreset> EnginePreset::fromName(const QString& name)
{
    const qsizetype index = names().indexOf(name);
    if (index < 0)
        return std::nullopt;
    return EnginePreset(Engine(index));
}

QSize EnginePreset::heightmapSize(const QSize& grid) const
{
    switch (engine) {
    case Engine::Native:
        break;
    case Engine::Unreal:
        return { nearest(grid.width(), unrealSizes), nearest(grid.height(), unrealSizes) };
    case Engine::Unity: {
        const int side = nearest(std::max(grid.width(), grid.height()), unitySizes);
        return { side, side };
    }
    case Engine::CitiesSkylines2:
        return { citiesSkylines2Size, citiesSkylines2Size };
    }
    return grid;
}

QJsonObject EnginePreset::importValues(
    double widthMetres, double lengthMetres, double spacingX, double spacingY, double rangeMetres) const
{
    switch (engine) {
    case Engine::Native:
        break;
    case Engine::Unreal:
        return { { QStringLiteral("unreal_scale_cm"),
            QJsonArray { spacingX * 100, spacingY * 100, rangeMetres * 100 / unrealMetresAtFullScale } } };
    case Engine::Unity:
        return { { QStringLiteral("unity_size_m"), QJsonArray { widthMetres, rangeMetres, lengthMetres } } };
    case Engine::CitiesSkylines2:
        return { { QStringLiteral("cs2_height_scale_m"), rangeMetres } };
    }
    return {};
}
