#include "texture/TileMosaic.h"

#include "texture/TileList.h"

#include <algorithm>
#include <cstring>
#include <limits>

std::optional<QRect> TileMosaic::bounds(const QList<Tile>& tiles)
{
    if (tiles.isEmpty())
        return std::nullopt;
    int minX = std::numeric_limits<int>::max();
    int minY = minX;
    int maxX = std::numeric_limits<int>::min();
    int maxY = maxX;
    for (const Tile& t : tiles) {
        minX = std::min(minX, t.x * TileList::tileSize + t.left);
        maxX = std::max(maxX, t.x * TileList::tileSize + t.right);
        minY = std::min(minY, t.y * TileList::tileSize + t.top);
        maxY = std::max(maxY, t.y * TileList::tileSize + t.bottom);
    }
    return QRect(minX, minY, maxX - minX, maxY - minY);
}

TileMosaic::TileMosaic(const QRect& bounds)
    : origin(bounds.topLeft())
    , canvas(bounds.size(), QImage::Format_RGB888)
{
    canvas.fill(QColor::fromRgba(background));
}

void TileMosaic::paste(const Tile& tile, const QImage& tileImage)
{
    const QPoint offset = QPoint(tile.x, tile.y) * TileList::tileSize - origin;
    const QRect crop = QRect(QPoint(tile.left, tile.top), QPoint(tile.right, tile.bottom)) & tileImage.rect();
    const QRect target = crop.translated(offset) & canvas.rect();
    if (target.isEmpty())
        return;
    const QImage source = tileImage.convertToFormat(QImage::Format_RGB888);
    const QPoint from = target.topLeft() - offset;
    const size_t bytes = size_t(target.width()) * 3;
    for (int row = 0; row < target.height(); ++row)
        std::memcpy(canvas.scanLine(target.top() + row) + target.left() * 3,
            source.constScanLine(from.y() + row) + from.x() * 3, bytes);
}
