#include "texture/TileList.h"

#include <cmath>

namespace {

constexpr double pi = 3.141592653589793;

double columnCoordinate(double longitude, double n) { return (longitude + 180.0) / 360.0 * n; }

double rowCoordinate(double latitude, double n)
{
    const double r = latitude * pi / 180.0;
    return (1.0 + std::log(std::tan(r) + 1.0 / std::cos(r)) / -pi) * 0.5 * n;
}

int tileIndex(double coordinate) { return static_cast<int>(std::floor(coordinate)); }

// Truncated, so 0 to 255 whatever the rounding of the coordinate.
int pixelOffset(double coordinate)
{
    return static_cast<int>((coordinate - std::floor(coordinate)) * TileList::tileSize);
}

} // namespace

int TileList::zoomForAreaWidth(double width)
{
    if (width == 1.0)
        return 13;
    if (width == 0.5)
        return 14;
    if (width == 0.25)
        return 15;
    return 12;
}

QList<Tile> TileList::covering(double west, double east, double north, double south, int zoom)
{
    if (west > east || north < south)
        return {};
    const double n = std::pow(2.0, zoom);
    const double xW = columnCoordinate(west, n);
    const double xE = columnCoordinate(east, n);
    const double yN = rowCoordinate(north, n);
    const double yS = rowCoordinate(south, n);
    const int firstColumn = tileIndex(xW);
    const int lastColumn = tileIndex(xE);
    const int firstRow = tileIndex(yN);
    const int lastRow = tileIndex(yS);

    QList<Tile> tiles;
    tiles.reserve((lastColumn - firstColumn + 1) * (lastRow - firstRow + 1));
    for (int y = firstRow; y <= lastRow; ++y) {
        for (int x = firstColumn; x <= lastColumn; ++x) {
            Tile tile;
            tile.zoom = zoom;
            tile.x = x;
            tile.y = y;
            tile.top = y == firstRow ? pixelOffset(yN) : 0;
            tile.bottom = y == lastRow ? pixelOffset(yS) : tileSize - 1;
            tile.left = x == firstColumn ? pixelOffset(xW) : 0;
            tile.right = x == lastColumn ? pixelOffset(xE) : tileSize - 1;
            tiles.append(tile);
        }
    }
    return tiles;
}

QString TileList::fileName(const QString& workingDirectory, const Tile& tile)
{
    const auto padded = [](int index) { return QStringLiteral("%1").arg(index, 5, 10, QLatin1Char('0')); };
    return QStringLiteral("%1/%2-%3-%4.png")
        .arg(workingDirectory, QString::number(tile.zoom), padded(tile.x), padded(tile.y));
}

QString TileList::requestPath(const Tile& tile)
{
    return QStringLiteral("/%1/%2/%3.png").arg(tile.zoom).arg(tile.x).arg(tile.y);
}
