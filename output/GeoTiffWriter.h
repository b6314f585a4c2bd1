#pragma once

#include <QString>

class CoordinateSystem;
class ElevationGrid;

// The corrected elevations as a one-band GeoTIFF: Float32 metres (exactly
// the image's values), the grid's geotransform and coordinate system, and
// ElevationGrid::nodata as the NODATA value. Uncompressed: compressing the
// floats would cost more than all the other outputs together, and every
// reader takes the file as it is.
class GeoTiffWriter {
public:
    // False when GDAL fails or the file cannot be made. The file appears
    // whole or not at all: GDAL writes it under a temporary name beside it.
    // Thread-safe.
    static bool write(const ElevationGrid& grid, const CoordinateSystem& system, const QString& fileName);
};
