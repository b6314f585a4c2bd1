#pragma once

#include <QSize>

#include <array>

class BilHeaderFile;

// Where the pixels of an elevation image lie on the earth, in the raster's
// map units (degrees): the centre of the upper-left pixel and the pixel
// size, rows growing southwards.
struct GridGeometry {
    // The image the import made from the raster of this header, of the
    // given size.
    static GridGeometry of(const BilHeaderFile& header, const QSize& imageSize = {});

    // GDAL's affine transform: the outer corner is the first pixel's centre
    // less half a pixel.
    std::array<double, 6> geoTransform() const;

    // The rectangle the image stands for: from the first pixel's centre, as
    // many pixel steps east and south as the image has pixels, the way a run's
    // raster has its samples on the rectangle's edges.
    double west() const { return firstX; }
    double east() const { return firstX + size.width() * pixelWidth; }
    double north() const { return firstY; }
    double south() const { return firstY - size.height() * pixelHeight; }
    double rowLatitude(int row) const { return firstY - row * pixelHeight; }

    double firstX = 0;
    double firstY = 0;
    double pixelWidth = 1;
    double pixelHeight = 1;
    QSize size;
};
