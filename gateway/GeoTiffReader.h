#pragma once

#include "DemRaster.h"

// Reads the part of a north-up GeoTIFF elevation tile (first band, in
// geographic degrees) that covers the bounds, through GDAL. The band's
// NODATA value, and anything not finite, become voids.
class GeoTiffReader {
public:
    // Nothing when GDAL cannot read the file or it is not north-up.
    static std::optional<DemRaster> read(const QString& path, const GeoBounds& bounds);
};
