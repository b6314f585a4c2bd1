#pragma once

#include "TerrainProvider.h"

// The simulator's terrain: every product is served, its rows computed on
// the spot by a TerrainPatch.
class SyntheticTerrain : public TerrainProvider {
public:
    QString refusal(const ElevationProduct& product) const override;
    void load(const ElevationProduct& product, const RasterGrid& grid, const Loaded& loaded) override;
};
