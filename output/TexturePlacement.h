#pragma once

#include "output/WorldFile.h"
#include "texture/Tile.h"

#include <QList>

#include <optional>

// Where a texture stitched from map tiles lies in Web Mercator (EPSG:3857):
// its zoom level and the global pixel of its upper-left corner.
class TexturePlacement {
public:
    // The texture the stitching makes of these tiles; empty for no tiles.
    static std::optional<TexturePlacement> ofTiles(const QList<Tile>& tiles);
    // The texture of a run for this rectangle, at the zoom level that makes
    // it width pixels wide.
    static std::optional<TexturePlacement> ofRectangle(
        double west, double east, double north, double south, int width);

    // In metres of EPSG:3857.
    WorldFile worldFile() const;

private:
    TexturePlacement(int zoom, qint64 left, qint64 top);

    int zoom;
    qint64 left;
    qint64 top;
};
