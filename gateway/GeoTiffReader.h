#pragma once

#include "DemRaster.h"
#include "PartialFile.h"

// Reads the part of a north-up GeoTIFF elevation tile (first band, in
// geographic degrees) that covers the bounds, through GDAL, in the tile's
// own cells: the samples are the stored floats, bit for bit. The band's
// NODATA value, and anything not finite, become voids.
//
// A tile that is only partly on disk is read in passes: the header names
// the blocks the bounds need, and as long as any of their bytes (or the
// header's own) are missing, the answer is what to fetch instead of a
// raster.
class GeoTiffReader {
public:
    struct Result {
        // Nothing when the tile is unreadable or bytes are missing.
        std::optional<DemRaster> raster;
        QList<ByteRange> missing;
    };

    static Result read(const QString& path, const GeoBounds& bounds);
    static Result read(const PartialFile& file, const GeoBounds& bounds);

private:
    static Result read(const QString& path, const GeoBounds& bounds, const PartialFile* partial);
};
