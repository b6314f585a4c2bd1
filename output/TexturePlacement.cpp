#include "TexturePlacement.h"

#include "output/Wgs84.h"
#include "texture/TileList.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

constexpr int deepestZoom = 24;

} // namespace

TexturePlacement::TexturePlacement(int zoom, qint64 left, qint64 top)
    : zoom(zoom)
    , left(left)
    , top(top)
{
}

std::optional<TexturePlacement> TexturePlacement::ofTiles(const QList<Tile>& tiles)
{
    if (tiles.isEmpty())
        return std::nullopt;
    // The stitching's own corner: the smallest covered global pixel.
    qint64 left = std::numeric_limits<qint64>::max();
    qint64 top = std::numeric_limits<qint64>::max();
    for (const Tile& tile : tiles) {
        left = std::min(left, qint64(tile.x) * TileList::tileSize + tile.left);
        top = std::min(top, qint64(tile.y) * TileList::tileSize + tile.top);
    }
    return TexturePlacement(tiles.constFirst().zoom, left, top);
}

std::optional<TexturePlacement> TexturePlacement::ofRectangle(
    double west, double east, double north, double south, int width)
{
    if (!(east > west) || width < 1)
        return std::nullopt;
    const double tilesWide = double(width) / TileList::tileSize * 360 / (east - west);
    const int zoom = std::clamp(int(std::lround(std::log2(tilesWide))), 0, deepestZoom);
    return ofTiles(TileList::covering(west, east, north, south, zoom));
}

WorldFile TexturePlacement::worldFile() const
{
    const double halfWorld = std::numbers::pi * Wgs84::semiMajorAxis;
    const double pixel = 2 * halfWorld / (double(TileList::tileSize) * std::exp2(zoom));
    return { pixel, pixel, (left + 0.5) * pixel - halfWorld, halfWorld - (top + 0.5) * pixel };
}
