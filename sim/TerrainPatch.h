#pragma once

#include "ExtractArea.h"
#include "TerrainRows.h"

#include <vector>

// The simulated earth over one raster grid. Elevations are a fixed
// function of latitude and longitude (a sum of plane waves of many lengths
// and directions, squeezed into sea level to about 4,200 m), and voids are
// discs placed by hashing a global cell grid, so every request for the same
// place gets the same numbers and neighbouring rasters agree where they meet.
class TerrainPatch : public TerrainRows {
public:
    // Float rasters are kept to 1/32 m when quantised: the fraction bits
    // below that would only be noise, and zeros there halve the archive
    // and the time to deflate it.
    TerrainPatch(const RasterGrid& grid, bool quantised);

    void fillRow(int row, float* out) const override;
    QString origin() const override;

private:
    struct Void {
        double latitude;
        double longitude;
        double radius;
    };

    void collectVoids();

    RasterGrid grid;
    bool quantised;
    // Per column and wave, the longitude half of each wave, so a sample
    // costs a few multiply-adds instead of a sine per wave.
    std::vector<double> columnSines;
    std::vector<double> columnCosines;
    std::vector<Void> voids;
};
