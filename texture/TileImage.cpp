#include "texture/TileImage.h"

#include <QBuffer>
#include <QImageReader>

QImage TileImage::decode(const QByteArray& body)
{
    QBuffer device;
    device.setData(body);
    device.open(QIODevice::ReadOnly);
    QImageReader reader(&device, "png");
    const QSize size = reader.size();
    if (!size.isValid() || size.width() > largestSide || size.height() > largestSide)
        return {};
    return reader.read();
}
