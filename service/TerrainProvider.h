#pragma once

#include "ElevationProduct.h"
#include "ExtractArea.h"
#include "TerrainRows.h"

#include <functional>
#include <memory>

// Why there is no terrain: the status and the reason phrase the client is
// answered with (short enough for a status line).
struct TerrainFailure {
    int status = 502;
    QString reason;
};

// Where the elevations of an archive come from: computed on the spot, or
// gathered from elsewhere first.
class TerrainProvider {
public:
    // The rows, or (when they are null) why there are none.
    using Loaded
        = std::function<void(std::shared_ptr<const TerrainRows> rows, const TerrainFailure& failure)>;

    virtual ~TerrainProvider() = default;

    // Empty when the product is served, otherwise why it is not.
    virtual QString refusal(const ElevationProduct& product) const = 0;
    // The samples an archive of the area holds: by default on the grid
    // lines, from edge to edge of the rectangle.
    virtual RasterGrid gridFor(const ElevationProduct& product, const ExtractArea& area) const
    {
        return RasterGrid::covering(area, product.samplesPerDegree);
    }
    // Calls loaded on this thread, at once or later.
    virtual void load(const ElevationProduct& product, const RasterGrid& grid, const Loaded& loaded) = 0;
};
