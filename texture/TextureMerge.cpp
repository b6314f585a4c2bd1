#include "texture/TextureMerge.h"

#include "texture/MarkerColours.h"

namespace {

// Non-premultiplied 32-bit pixels for both images, with alpha if either has
// it: the rows are then read and written as plain QRgb values.
QImage::Format workingFormat(const QImage& a, const QImage& b)
{
    return a.hasAlphaChannel() || b.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32;
}

// Each channel e × t / 255, truncated; opaque.
QRgb multiplied(QRgb e, QRgb t)
{
    return qRgb(qRed(e) * qRed(t) / 255, qGreen(e) * qGreen(t) / 255, qBlue(e) * qBlue(t) / 255);
}

} // namespace

TextureMerge::TextureMerge(const QImage& elevationColours, const QImage& texture)
    : texture(texture.convertToFormat(workingFormat(elevationColours, texture)))
    , merged(elevationColours.scaled(texture.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                 .convertToFormat(workingFormat(elevationColours, texture)))
{
}

void TextureMerge::mergeRow(int y)
{
    constexpr QRgb rgb = 0x00FFFFFF;
    const QRgb* map = reinterpret_cast<const QRgb*>(texture.constScanLine(y));
    QRgb* out = reinterpret_cast<QRgb*>(merged.scanLine(y));
    for (int x = 0; x < merged.width(); ++x) {
        const QRgb t = map[x] & rgb;
        if (t == (MarkerColours::green & rgb) || t == (MarkerColours::lightPink & rgb)
            || t == (MarkerColours::pink & rgb))
            out[x] = multiplied(out[x], map[x]);
        else if (t != (MarkerColours::white & rgb))
            out[x] = map[x];
    }
}
