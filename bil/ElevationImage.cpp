#include "ElevationImage.h"

#include <algorithm>
#include <cmath>

ElevationImage::ElevationImage(int width, int height, QImage::Format format)
    : QImage(width, height, format)
{
}

ElevationImage::ElevationImage(const QSize& size, QImage::Format format)
    : QImage(size, format)
{
}

ElevationImage::ElevationImage(const QString& fileName, const char* format)
    : QImage(fileName, format)
{
}

ElevationImage::ElevationImage(const QString& fileName, double a, double b, const char* format)
    : QImage(fileName, format)
    , scaleX(1.0 / a)
    , scaleY(1.0 / b)
{
}

ElevationImage::ElevationImage(const ElevationImage& other)
    : QImage(other)
    , scaleZ(other.scaleZ)
{
}

int ElevationImage::scaled(double coordinate, double scale)
{
    // Truncation toward zero, not floor: -1 with scale 1 lands on 0.
    return static_cast<int>(std::trunc(coordinate * scale + 0.5));
}

void ElevationImage::setElevation(int x, int y, double z)
{
    const int column = scaled(x, scaleX);
    if (column < 0 || column >= width())
        return;
    const int row = scaled(y, scaleY);
    if (row < 0 || row >= height())
        return;
    // Beyond 24 bits only the low bits survive anyway; bounding keeps the
    // conversion to an integer defined for huge values and NaN.
    const double q = std::isnan(z) ? 0.0 : std::clamp(z / scaleZ, -1e15, 1e15);
    const long long e
        = q < 0 ? -static_cast<long long>(std::trunc(-q + 0.5)) : static_cast<long long>(std::trunc(q + 0.5));
    setPixel(column, row, 0xFF000000u | (static_cast<unsigned long long>(e) & 0xFFFFFFu));
}

double ElevationImage::elevation(int x, int y) const
{
    const int column = scaled(x, scaleX);
    if (column < 0 || column >= width())
        return 0.0;
    const int row = height() - 1 - scaled(y, scaleY);
    if (row < 0 || row >= height())
        return 0.0;
    return scaleZ * decode(pixel(column, row));
}

void ElevationImage::clear(const unsigned int& value)
{
    for (int row = 0; row < height(); ++row)
        for (int column = 0; column < width(); ++column)
            setPixel(column, row, value);
}
