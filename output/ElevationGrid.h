#pragma once

#include "output/GridGeometry.h"

#include <QImage>

#include <vector>

// The corrected elevations of a rectangle in metres, decoded once from the
// elevation image for the outputs made from them.
class ElevationGrid {
public:
    // The NODATA marker of the elevation image, in metres: a void.
    static constexpr float nodata = -32768.0f;

    // image holds elevation x 256 as signed 24-bit pixels; geometry.size is
    // taken from it.
    ElevationGrid(const QImage& image, GridGeometry geometry);

    const GridGeometry& geometry() const { return grid; }
    int width() const { return grid.size.width(); }
    int height() const { return grid.size.height(); }
    const float* row(int y) const { return samples.data() + qsizetype(y) * width(); }
    const float* data() const { return samples.data(); }

    // Over the samples that are not void; both nodata when all are.
    float minimum() const { return lowest; }
    float maximum() const { return highest; }

private:
    GridGeometry grid;
    std::vector<float> samples;
    float lowest = nodata;
    float highest = nodata;
};
