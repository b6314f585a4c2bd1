#pragma once

#include <QImage>

#include <cmath>

// An image whose pixels carry elevations instead of colours: each pixel holds
// a signed 24-bit integer in its red (bits 16-23), green (8-15) and blue
// (0-7) bytes, so an elevation raster survives a round trip through PNG.
//
// Note the two vertical conventions: setElevation() counts rows from the top,
// elevation() from the bottom. Callers rely on both.
class ElevationImage : public QImage {
public:
    static constexpr int minimumValue = -8388608;
    static constexpr int maximumValue = 8388607;

    ElevationImage() = default;
    ElevationImage(int width, int height, QImage::Format format);
    ElevationImage(const QSize& size, QImage::Format format);
    explicit ElevationImage(const QString& fileName, const char* format = nullptr);
    // a and b are map units per pixel horizontally and vertically.
    ElevationImage(const QString& fileName, double a, double b, const char* format = nullptr);
    // Shares the pixels and the vertical scale; the coordinate scales restart at 1.
    ElevationImage(const ElevationImage& other);
    ElevationImage& operator=(const ElevationImage& other) = default;

    // Row y counts from the top. z is rounded half away from zero and only
    // its low 24 bits are kept: callers clamp first.
    void setElevation(int x, int y, double z);
    // Row y counts from the bottom; 0.0 outside the image.
    double elevation(int x, int y) const;

    double zScale() const { return scaleZ; }
    void setZScale(double scale) { scaleZ = scale; }

    void clear(const unsigned int& value);

    // The pixel encoding on its own, for code that walks scan lines.
    static QRgb encode(int value) { return 0xFF000000u | (static_cast<unsigned int>(value) & 0xFFFFFFu); }
    static int decode(QRgb pixel)
    {
        const int u = static_cast<int>(pixel & 0xFFFFFFu);
        return u < 0x800000 ? u : u - 0x1000000;
    }
    // Half away from zero, as a value to be stored is rounded; NaN gives 0.
    // value must lie within the range of int.
    static int rounded(double value)
    {
        if (std::isnan(value))
            return 0;
        return value < 0 ? -static_cast<int>(std::trunc(-value + 0.5))
                         : static_cast<int>(std::trunc(value + 0.5));
    }

private:
    static int scaled(double coordinate, double scale);

    double scaleX = 1.0;
    double scaleY = 1.0;
    double scaleZ = 1.0;
};
