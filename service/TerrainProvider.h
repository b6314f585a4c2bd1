#pragma once

#include "ElevationProduct.h"
#include "ExtractArea.h"
#include "TerrainRows.h"

#include <functional>
#include <memory>

// Where the elevations of an archive come from: computed on the spot, or
// gathered from elsewhere first.
class TerrainProvider {
public:
    // Exactly one of the two is set: the rows, or why there are none (short
    // enough for a reason phrase).
    using Loaded = std::function<void(std::shared_ptr<const TerrainRows> rows, const QString& failure)>;

    virtual ~TerrainProvider() = default;

    // Empty when the product is served, otherwise why it is not.
    virtual QString refusal(const ElevationProduct& product) const = 0;
    // Calls loaded on this thread, at once or later.
    virtual void load(const ElevationProduct& product, const RasterGrid& grid, const Loaded& loaded) = 0;
};
