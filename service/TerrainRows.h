#pragma once

#include <QString>

// The elevations of one raster grid, row by row, as an archive is written.
class TerrainRows {
public:
    virtual ~TerrainRows() = default;

    // Elevations in metres for one raster row; NaN marks a void sample.
    // Called from several threads at once.
    virtual void fillRow(int row, float* out) const = 0;
    // One sentence on where the numbers come from, for the metadata page.
    virtual QString origin() const = 0;
};
