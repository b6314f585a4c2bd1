#pragma once

#include "DemRaster.h"
#include "ExtractArea.h"
#include "TerrainRows.h"

// The raster of an extract cut from the DEM tiles around it: each sample
// takes the cell it falls in of the first tile that has a value there, so
// tiles meet without seams and overlapping borders fill each other's voids;
// where no tile has a value the sample is a void.
class DemMosaic : public TerrainRows {
public:
    DemMosaic(const RasterGrid& grid, std::vector<DemRaster> tiles, const QString& origin);

    void fillRow(int row, float* out) const override;
    QString origin() const override { return source; }

private:
    RasterGrid grid;
    std::vector<DemRaster> tiles;
    // Per tile, the tile column of each raster column (-1 outside).
    std::vector<std::vector<int>> columns;
    QString source;
};
