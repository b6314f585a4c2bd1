#pragma once

#include "DemRaster.h"

// Reads an SRTM tile in the HGT layout: n x n big-endian 16-bit samples,
// north row first, -32768 for voids, the outer rows and columns on the
// cell's borders (n is 3601 at 1 arc-second, 1201 at 3). The file may be
// gzip-compressed. Only the part covering the bounds is kept.
class HgtReader {
public:
    // south and west name the tile's cell; nothing when the file is not a
    // tile of a known size.
    static std::optional<DemRaster> read(const QString& path, int south, int west, const GeoBounds& bounds);
};
