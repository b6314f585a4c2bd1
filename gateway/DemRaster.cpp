#include "DemRaster.h"

#include <algorithm>

std::optional<DemRaster::Window> DemRaster::window(double north, double west, double cellHeight,
    double cellWidth, int rows, int columns, const GeoBounds& bounds)
{
    const int top = std::max(0, int(std::floor((north - bounds.north) / cellHeight)) - 1);
    const int bottom = std::min(rows - 1, int(std::floor((north - bounds.south) / cellHeight)) + 1);
    const int left = std::max(0, int(std::floor((bounds.west - west) / cellWidth)) - 1);
    const int right = std::min(columns - 1, int(std::floor((bounds.east - west) / cellWidth)) + 1);
    if (top > bottom || left > right)
        return std::nullopt;
    return Window { top, left, bottom - top + 1, right - left + 1 };
}
