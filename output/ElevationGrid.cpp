#include "ElevationGrid.h"

#include "bil/ElevationImage.h"

#include <algorithm>

ElevationGrid::ElevationGrid(const QImage& image, GridGeometry geometry)
    : grid(std::move(geometry))
{
    grid.size = image.size();
    const QImage pixels = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32
        ? image
        : image.convertToFormat(QImage::Format_RGB32);
    const int w = width();
    samples.resize(qsizetype(w) * height());
    // The range is kept in the stored integers: their reductions vectorise.
    int low = ElevationImage::maximumValue + 1;
    int high = ElevationImage::minimumValue;
    for (int y = 0; y < height(); ++y) {
        const QRgb* in = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        float* out = samples.data() + qsizetype(y) * w;
        for (int x = 0; x < w; ++x) {
            const int value = ElevationImage::decode(in[x]);
            // Whole 256ths of a metre below 2^24: exact in a float.
            out[x] = float(value) * (1.0f / 256);
            const bool isVoid = value == ElevationImage::minimumValue;
            low = std::min(low, isVoid ? ElevationImage::maximumValue + 1 : value);
            high = std::max(high, value);
        }
    }
    // The void marker is the smallest value: it never raises the maximum
    // above another one.
    if (low <= high) {
        lowest = float(low) / 256;
        highest = float(high) / 256;
    }
}
