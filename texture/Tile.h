#pragma once

// One map tile of the texture and the part of it that lies inside the
// download rectangle. Pixel rows grow southwards and columns eastwards; all
// four bounds are inclusive pixel indices (0 to 255).
struct Tile {
    // Id of the tile's GET on the tile client; 0 while none was issued.
    int requestId = 0;
    int zoom = 1;
    int x = 0;
    // 0 is the northmost row of the world.
    int y = 0;
    int top = 0;
    int bottom = 0;
    int left = 0;
    int right = 0;
    // The tile image is on disk, found there or received and saved.
    bool done = false;

    bool operator==(const Tile&) const = default;
};
