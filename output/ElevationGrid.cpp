#include "ElevationGrid.h"

#include "bil/ElevationImage.h"

#include <algorithm>
#include <limits>

ElevationGrid::ElevationGrid(const QImage& image, GridGeometry geometry)
    : grid(std::move(geometry))
{
    grid.size = image.size();
    const QImage pixels = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32
        ? image
        : image.convertToFormat(QImage::Format_RGB32);
    samples.resize(qsizetype(width()) * height());
    float low = std::numeric_limits<float>::max();
    float high = std::numeric_limits<float>::lowest();
    for (int y = 0; y < height(); ++y) {
        const QRgb* in = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        float* out = samples.data() + qsizetype(y) * width();
        for (int x = 0; x < width(); ++x) {
            // Whole 256ths of a metre below 2^24: exact in a float.
            out[x] = float(ElevationImage::decode(in[x])) / 256.0f;
            if (out[x] != nodata) {
                low = std::min(low, out[x]);
                high = std::max(high, out[x]);
            }
        }
    }
    if (low <= high) {
        lowest = low;
        highest = high;
    }
}
