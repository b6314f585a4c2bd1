// A tile's bytes as the texture branch takes them: decoded as PNG when the
// reply arrives, loaded again from the tile file (whatever its format) for
// the stitching, and pasted into a texture.

#include "FuzzEnvironment.h"
#include "texture/TileMosaic.h"

#include <QImage>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    if (QImage::fromData(body, "PNG").isNull())
        return 0;
    const QImage tile = QImage::fromData(body);
    // A tile cropped on every side inside a texture of two tiles' width.
    const Tile placed { .x = 1, .top = 5, .bottom = 200, .left = 3, .right = 250 };
    TileMosaic mosaic(QRect(200, 0, 300, 256));
    mosaic.paste(placed, tile);
    return 0;
}
