#pragma once

#include "texture/Tile.h"

#include <QList>
#include <QString>

// The Web Mercator tiles that cover a rectangle given in decimal degrees,
// and the names a tile goes by on disk and on the tile server.
class TileList {
public:
    static constexpr int tileSize = 256;

    // 13, 14 and 15 for areas exactly 1°, 0.5° and 0.25° wide; 12 for
    // every other width.
    static int zoomForAreaWidth(double width);

    // Row by row from north to south, west to east within a row. The bounds
    // come from the rectangle's borders in the outer rows and columns and
    // span the whole tile inside. Empty when west lies east of east or
    // north south of south.
    static QList<Tile> covering(double west, double east, double north, double south, int zoom);

    // workingDirectory/zoom-xxxxx-yyyyy.png
    static QString fileName(const QString& workingDirectory, const Tile& tile);
    // /zoom/x/y.png
    static QString requestPath(const Tile& tile);
};
