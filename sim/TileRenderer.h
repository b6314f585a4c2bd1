#pragma once

#include <QImage>

// Draws map tiles of a made-up town-and-country landscape. Features are
// laid out on a grid of blocks in the zoom level's world pixels, so
// neighbouring tiles join without seams and the same tile always comes out
// the same. The colours are the map tones the program's texture step looks
// for (light background, vegetation greens, reddish areas and roads) plus
// a few it leaves alone (water, buildings, yellow and white roads).
class TileRenderer {
public:
    static constexpr int tileSize = 256;
    static constexpr int maximumZoom = 19;

    // Expects a valid tile: zoom 0 to maximumZoom, x and y below 2^zoom.
    static QImage render(int zoom, int x, int y);
};
