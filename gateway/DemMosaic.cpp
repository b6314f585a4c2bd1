#include "DemMosaic.h"

#include <algorithm>
#include <limits>

DemMosaic::DemMosaic(const RasterGrid& grid, std::vector<DemRaster> tiles, const QString& origin)
    : grid(grid)
    , tiles(std::move(tiles))
    , source(origin)
{
    for (const DemRaster& tile : this->tiles) {
        std::vector<int>& indices = columns.emplace_back(std::size_t(grid.columns));
        for (int c = 0; c < grid.columns; ++c)
            indices[std::size_t(c)] = tile.columnOf(grid.longitude(c));
    }
}

void DemMosaic::fillRow(int row, float* out) const
{
    std::fill(out, out + grid.columns, std::numeric_limits<float>::quiet_NaN());
    const double latitude = grid.latitude(row);
    for (std::size_t t = 0; t < tiles.size(); ++t) {
        const DemRaster& tile = tiles[t];
        const int tileRow = tile.rowOf(latitude);
        if (tileRow < 0)
            continue;
        const std::vector<int>& indices = columns[t];
        for (int c = 0; c < grid.columns; ++c) {
            const int column = indices[std::size_t(c)];
            if (column >= 0 && std::isnan(out[c]))
                out[c] = tile.at(tileRow, column);
        }
    }
}
