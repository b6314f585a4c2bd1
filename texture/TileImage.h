#pragma once

#include <QByteArray>
#include <QImage>

// Decodes a tile body. Only a PNG passes, and only one of a sane size: the
// size the image declares is checked before any pixel memory is taken, so
// a small body that claims a huge picture (a PNG bomb) costs nothing.
class TileImage {
public:
    // Far above the 256 × 256 of a real tile.
    static constexpr int largestSide = 4096;

    // A null image when the body is no PNG or declares a larger picture.
    static QImage decode(const QByteArray& body);
};
