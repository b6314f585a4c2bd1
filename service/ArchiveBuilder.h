#pragma once

#include "ElevationProduct.h"
#include "ExtractArea.h"

#include <QString>

class TerrainRows;

#include <atomic>

// Writes the ZIP archive the extract service hands out for one product and
// area: the raster of the given terrain and its header, world file,
// statistics, projection and metadata page. The raster is filled and deflated in blocks of rows on the
// global thread pool, a few blocks at a time, so memory stays small and
// every core works on the costly part. Samples are written as the terrain
// gives them, so float rasters arrive bit for bit.
class ArchiveBuilder {
public:
    ArchiveBuilder(
        const ElevationProduct& product, const ExtractArea& area, const RasterGrid& grid, bool withHeader);

    const RasterGrid& rasterGrid() const { return grid; }

    // False when the file cannot be written or when stop was raised; a
    // partly written file is left for the caller to remove.
    bool write(const QString& path, const TerrainRows& terrain, const std::atomic_bool& stop) const;

private:
    // Name shared by the entries, derived from product and grid.
    QString stem() const;

    const ElevationProduct& product;
    ExtractArea area;
    RasterGrid grid;
    bool withHeader;
};
