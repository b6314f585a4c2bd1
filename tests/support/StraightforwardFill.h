#pragma once

// A deliberately plain NODATA filling, one pixel and one border pixel at a
// time on a single thread, written without the flood fill or the weighting
// code of DustRemoval. The benchmark and the tests check the fast filling
// against it. It assumes masks of pure black and pure white only.

#include "bil/ElevationImage.h"

#include <QImage>
#include <QPoint>

#include <cmath>
#include <set>
#include <utility>
#include <vector>

namespace StraightforwardFill {

inline bool isBlack(const QImage& mask, int x, int y) { return (mask.pixel(x, y) & 0xFFFFFFu) == 0; }

struct BorderPixel {
    int x;
    int y;
    QRgb pixel;
    std::vector<double> values;
};

inline void paint(QImage& image, const std::vector<QPoint>& spot, const std::set<std::pair<int, int>>& border,
    bool elevationFile)
{
    std::vector<BorderPixel> samples;
    for (const auto& [x, y] : border) {
        const QRgb pixel = image.pixel(x, y);
        if (elevationFile)
            samples.push_back({ x, y, pixel, { double(ElevationImage::decode(pixel)) } });
        else
            samples.push_back(
                { x, y, pixel, { double(qRed(pixel)), double(qGreen(pixel)), double(qBlue(pixel)) } });
    }
    bool uniform = true;
    for (const BorderPixel& b : samples)
        uniform = uniform && (elevationFile ? b.values == samples[0].values : b.pixel == samples[0].pixel);

    std::vector<QRgb> painted;
    for (const QPoint& s : spot) {
        if (uniform) {
            painted.push_back(
                elevationFile ? ElevationImage::encode(int(samples[0].values[0])) : samples[0].pixel);
            continue;
        }
        std::vector<double> sums(samples[0].values.size(), 0.0);
        double weightSum = 0.0;
        for (const BorderPixel& b : samples) {
            const int dx = b.x - s.x();
            const int dy = b.y - s.y();
            const double weight = std::pow(1.0 / (dx * dx + dy * dy), 2);
            weightSum += weight;
            for (std::size_t c = 0; c < sums.size(); ++c)
                sums[c] += weight * b.values[c];
        }
        if (elevationFile) {
            const double v = sums[0] / weightSum;
            painted.push_back(
                ElevationImage::encode(int(v >= 0 ? std::trunc(v + 0.5) : -std::trunc(0.5 - v))));
        } else {
            int rgb[3];
            for (int c = 0; c < 3; ++c) {
                const double v = sums[c] / weightSum;
                rgb[c] = v > 255.0 ? 255 : int(std::trunc(v));
            }
            painted.push_back(qRgb(rgb[0], rgb[1], rgb[2]));
        }
    }
    for (std::size_t i = 0; i < spot.size(); ++i)
        image.setPixel(spot[i], painted[i]);
}

// Fills every 4-connected black area of mask in image.
inline void fill(QImage& image, const QImage& mask, bool elevationFile)
{
    std::vector<bool> seen(std::size_t(mask.width()) * mask.height(), false);
    const auto index = [&](int x, int y) { return std::size_t(y) * mask.width() + x; };
    for (int y0 = 0; y0 < mask.height(); ++y0) {
        for (int x0 = 0; x0 < mask.width(); ++x0) {
            if (seen[index(x0, y0)] || !isBlack(mask, x0, y0))
                continue;
            std::vector<QPoint> spot { QPoint(x0, y0) };
            std::set<std::pair<int, int>> border;
            seen[index(x0, y0)] = true;
            for (std::size_t i = 0; i < spot.size(); ++i) {
                const QPoint p = spot[i];
                for (const QPoint& n :
                    { p + QPoint(-1, 0), p + QPoint(1, 0), p + QPoint(0, -1), p + QPoint(0, 1) }) {
                    if (!mask.valid(n))
                        continue;
                    if (!isBlack(mask, n.x(), n.y())) {
                        border.insert({ n.x(), n.y() });
                    } else if (!seen[index(n.x(), n.y())]) {
                        seen[index(n.x(), n.y())] = true;
                        spot.push_back(n);
                    }
                }
            }
            if (!border.empty())
                paint(image, spot, border, elevationFile);
        }
    }
}

} // namespace StraightforwardFill
