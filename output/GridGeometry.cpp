#include "GridGeometry.h"

#include "bil/BilHeaderFile.h"

GridGeometry GridGeometry::of(const BilHeaderFile& header, const QSize& imageSize)
{
    return { header.ulX, header.ulY, header.pixelWidth, header.pixelHeight, imageSize };
}

std::array<double, 6> GridGeometry::geoTransform() const
{
    return { firstX - pixelWidth / 2, pixelWidth, 0, firstY + pixelHeight / 2, 0, -pixelHeight };
}
