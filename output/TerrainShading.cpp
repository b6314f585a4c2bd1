#include "TerrainShading.h"

#include "output/ElevationGrid.h"
#include "output/Wgs84.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// Rise per metre towards east and towards north.
struct Slope {
    double east;
    double north;
};

// Calls shade(slope, pixel) for every sample, row by row.
template <typename Shade>
QImage shaded(const ElevationGrid& grid, QImage::Format format, int bytesPerPixel, Shade shade)
{
    const int width = grid.width();
    const int height = grid.height();
    const GridGeometry& geometry = grid.geometry();
    QImage image(width, height, format);
    if (image.isNull())
        return image;
    for (int y = 0; y < height; ++y) {
        const int above = std::max(y - 1, 0);
        const int below = std::min(y + 1, height - 1);
        const float* up = grid.row(above);
        const float* middle = grid.row(y);
        const float* down = grid.row(below);
        const double latitude = geometry.rowLatitude(y);
        const double stepX = geometry.pixelWidth * Wgs84::metresPerDegreeOfLongitude(latitude);
        // Four times the distance between the rows compared: the weights add up to 4.
        const double spanY
            = 4 * (below - above) * geometry.pixelHeight * Wgs84::metresPerDegreeOfLatitude(latitude);
        uchar* pixel = image.scanLine(y);
        for (int x = 0; x < width; ++x, pixel += bytesPerPixel) {
            const int left = std::max(x - 1, 0);
            const int right = std::min(x + 1, width - 1);
            const double centre = middle[x];
            const auto at = [centre](const float* row, int column) {
                return row[column] == ElevationGrid::nodata ? centre : double(row[column]);
            };
            Slope slope { 0, 0 };
            if (centre != ElevationGrid::nodata) {
                const double spanX = 4 * (right - left) * stepX;
                if (spanX > 0)
                    slope.east = (at(up, right) + 2 * at(middle, right) + at(down, right) - at(up, left)
                                     - 2 * at(middle, left) - at(down, left))
                        / spanX;
                if (spanY > 0)
                    slope.north = (at(up, left) + 2 * at(up, x) + at(up, right) - at(down, left)
                                      - 2 * at(down, x) - at(down, right))
                        / spanY;
            }
            shade(slope, pixel);
        }
    }
    return image;
}

// The unit normal of a surface with this slope: (-east, -north, 1) scaled.
double normalScale(const Slope& slope)
{
    return 1 / std::sqrt(1 + slope.east * slope.east + slope.north * slope.north);
}

uchar byteOf(double value) { return uchar(std::lround(std::clamp(value, 0.0, 255.0))); }

} // namespace

QImage TerrainShading::hillshade(const ElevationGrid& grid)
{
    constexpr double radians = std::numbers::pi / 180;
    const double azimuth = sunAzimuthDegrees * radians;
    const double altitude = sunAltitudeDegrees * radians;
    // Towards the sun: east, north, up.
    const double sunEast = std::sin(azimuth) * std::cos(altitude);
    const double sunNorth = std::cos(azimuth) * std::cos(altitude);
    const double sunUp = std::sin(altitude);
    return shaded(grid, QImage::Format_Grayscale8, 1, [=](const Slope& slope, uchar* pixel) {
        const double cosine = (-slope.east * sunEast - slope.north * sunNorth + sunUp) * normalScale(slope);
        *pixel = byteOf(255 * cosine);
    });
}

QImage TerrainShading::normalMap(const ElevationGrid& grid)
{
    return shaded(grid, QImage::Format_RGB888, 3, [](const Slope& slope, uchar* pixel) {
        const double scale = normalScale(slope);
        const auto mapped = [](double component) { return byteOf((component + 1) * 127.5); };
        pixel[0] = mapped(-slope.east * scale);
        pixel[1] = mapped(-slope.north * scale);
        pixel[2] = mapped(scale);
    });
}
