#include "SyntheticTerrain.h"

#include "TerrainPatch.h"

QString SyntheticTerrain::refusal(const ElevationProduct&) const { return {}; }

void SyntheticTerrain::load(const ElevationProduct& product, const RasterGrid& grid, const Loaded& loaded)
{
    loaded(std::make_shared<TerrainPatch>(grid, product.dialect != ElevationProduct::Dialect::Esri), {});
}
