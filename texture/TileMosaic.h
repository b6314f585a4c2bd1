#pragma once

#include "texture/Tile.h"

#include <QImage>
#include <QList>
#include <QRect>

#include <optional>

// The texture stitched together from the crop ranges of the tiles. The
// image is RGB888 and starts opaque blue, so whatever no tile covers stays
// blue.
//
// The size is taken as the distance between the first and the last covered
// global pixel in each direction, one less than the number of covered
// columns and rows: the easternmost column and southernmost row are cut off.
class TileMosaic {
public:
    static constexpr QRgb background = 0xFF0000FF;

    // The covered area in global pixels (tile index × 256 + pixel) with the
    // size described above; nothing for an empty list, whose bounds are
    // undefined. The size may be 0 in either direction.
    static std::optional<QRect> bounds(const QList<Tile>& tiles);

    explicit TileMosaic(const QRect& bounds);

    // Copies the tile's crop range out of tileImage (any format; pixels beyond
    // its size are left out) to the tile's place, clipped to the image.
    void paste(const Tile& tile, const QImage& tileImage);

    QImage& image() { return canvas; }

private:
    QPoint origin;
    QImage canvas;
};
