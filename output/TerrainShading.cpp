#include "TerrainShading.h"

#include "output/ElevationGrid.h"
#include "output/Wgs84.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace {

// A grid row with its edge samples repeated once on either side, so that
// every sample has a left and a right neighbour.
void padded(const float* row, int width, std::vector<float>& out)
{
    out[0] = row[0];
    std::copy(row, row + width, out.begin() + 1);
    out[width + 1] = row[width - 1];
}

// Horn's slopes of one row, rise per metre towards east and north, from
// the padded rows above, at and below it. A void neighbour counts as the
// centre sample, a void centre is flat; the selects keep the loop free of
// branches, so it is vectorised. eastScale and northScale turn the
// weighted differences into slopes.
void slopesOfRow(const float* __restrict above, const float* __restrict middle, const float* __restrict below,
    int width, float eastScale, float northScale, float* __restrict east, float* __restrict north)
{
    constexpr float nodata = ElevationGrid::nodata;
    for (int x = 0; x < width; ++x) {
        const float centre = middle[x + 1];
        const auto at = [centre](float sample) { return sample == nodata ? centre : sample; };
        const float a = at(above[x]), b = at(above[x + 1]), c = at(above[x + 2]);
        const float d = at(middle[x]), f = at(middle[x + 2]);
        const float g = at(below[x]), h = at(below[x + 1]), i = at(below[x + 2]);
        const float towardsEast = ((c + 2 * f + i) - (a + 2 * d + g)) * eastScale;
        const float towardsNorth = ((a + 2 * b + c) - (g + 2 * h + i)) * northScale;
        const bool flat = centre == nodata;
        east[x] = flat ? 0.0f : towardsEast;
        north[x] = flat ? 0.0f : towardsNorth;
    }
}

// Calls shade(y, east, north, scale) with the slopes of each row, top to
// bottom, and what scales (-east, -north, 1) to the unit normal.
template <typename Shade> void forEachRow(const ElevationGrid& grid, Shade shade)
{
    const int width = grid.width();
    const int height = grid.height();
    const GridGeometry& geometry = grid.geometry();
    // Grid row r is padded once, into rows[r % 3], where it stays while
    // the rows above and below it need it.
    std::vector<float> rows[3];
    for (std::vector<float>& row : rows)
        row.resize(std::size_t(width) + 2);
    const auto paddedRow = [&rows](int r) { return rows[r % 3].data(); };
    padded(grid.row(0), width, rows[0]);
    std::vector<float> east(width);
    std::vector<float> north(width);
    std::vector<float> scale(width);
    for (int y = 0; y < height; ++y) {
        const int above = std::max(y - 1, 0);
        const int below = std::min(y + 1, height - 1);
        if (below > y)
            padded(grid.row(below), width, rows[below % 3]);
        const double latitude = geometry.rowLatitude(y);
        // The weights of each side add up to 4; neighbours two steps apart,
        // or one at the image's edge.
        const double stepX = geometry.pixelWidth * Wgs84::metresPerDegreeOfLongitude(latitude);
        const double stepY = geometry.pixelHeight * Wgs84::metresPerDegreeOfLatitude(latitude);
        const float northScale = below > above ? float(1 / (4 * (below - above) * stepY)) : 0.0f;
        slopesOfRow(paddedRow(above), paddedRow(y), paddedRow(below), width, float(1 / (8 * stepX)),
            northScale, east.data(), north.data());
        if (width > 1) {
            east[0] *= 2;
            east[width - 1] *= 2;
        } else {
            east[0] = 0;
        }
        for (int x = 0; x < width; ++x)
            scale[x] = 1 / std::sqrt(1 + east[x] * east[x] + north[x] * north[x]);
        shade(y, east.data(), north.data(), scale.data());
    }
}

// 0 ... 255 from 0 ... 1, rounded to nearest.
inline uchar byteOf(float unit) { return uchar(std::clamp(unit, 0.0f, 1.0f) * 255.0f + 0.5f); }

void hillshadeRow(const float* __restrict east, const float* __restrict north, const float* __restrict scale,
    int width, const float sun[3], uchar* __restrict pixel)
{
    for (int x = 0; x < width; ++x)
        pixel[x] = byteOf((sun[2] - east[x] * sun[0] - north[x] * sun[1]) * scale[x]);
}

// The pixels are made whole in 32 bits, which vectorises, and then laid
// out three bytes apart.
void normalRow(const float* __restrict east, const float* __restrict north, const float* __restrict scale,
    int width, quint32* __restrict packed, uchar* __restrict pixel)
{
    for (int x = 0; x < width; ++x)
        packed[x] = byteOf((1 - east[x] * scale[x]) / 2) | quint32(byteOf((1 - north[x] * scale[x]) / 2)) << 8
            | quint32(byteOf((1 + scale[x]) / 2)) << 16;
    for (int x = 0; x < width; ++x, pixel += 3)
        std::memcpy(pixel, &packed[x], 3);
}

} // namespace

TerrainShading::TerrainShading(const ElevationGrid& grid, bool withHillshade, bool withNormalMap)
{
    const int width = grid.width();
    if (withHillshade)
        shade = QImage(grid.geometry().size, QImage::Format_Grayscale8);
    if (withNormalMap)
        normals = QImage(grid.geometry().size, QImage::Format_RGB888);
    if (shade.isNull() && normals.isNull())
        return;
    constexpr double radians = std::numbers::pi / 180;
    const double azimuth = sunAzimuthDegrees * radians;
    const double altitude = sunAltitudeDegrees * radians;
    // Towards the sun: east, north, up.
    const float sun[3] = { float(std::sin(azimuth) * std::cos(altitude)),
        float(std::cos(azimuth) * std::cos(altitude)), float(std::sin(altitude)) };
    std::vector<quint32> packed(normals.isNull() ? 0 : width);
    forEachRow(grid, [&](int y, const float* east, const float* north, const float* scale) {
        if (!shade.isNull())
            hillshadeRow(east, north, scale, width, sun, shade.scanLine(y));
        if (!normals.isNull())
            normalRow(east, north, scale, width, packed.data(), normals.scanLine(y));
    });
}
