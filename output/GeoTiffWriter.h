#pragma once

#include <QByteArray>

class CoordinateSystem;
class ElevationGrid;

// The corrected elevations as a one-band GeoTIFF: Float32 metres (exactly
// the image's values), the grid's geotransform and coordinate system, and
// ElevationGrid::nodata as the NODATA value. The file is made in memory,
// so nothing of GDAL's lands beside it.
class GeoTiffWriter {
public:
    // Empty when GDAL fails. Thread-safe.
    static QByteArray encode(const ElevationGrid& grid, const CoordinateSystem& system);
};
