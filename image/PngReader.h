#pragma once

#include <QImage>
#include <QSize>
#include <QString>

// Reads PNG files as QImage(fileName) does, faster for the kind of file
// PngWriter writes: 8-bit grey, RGB or RGBA without interlacing, the stream
// inflated at once by libdeflate. Any other file, and any file that is
// damaged, too large for QImageReader's allocation limit or carries other
// chunks than IHDR, pHYs, IDAT and IEND, goes to Qt's reader, so the result
// is always the image, format and resolution Qt's reader gives.
// Thread-safe.
class PngReader {
public:
    static QImage read(const QString& fileName);

    // Raises Qt's limit on the size of a decoded image, where it is lower,
    // so that images of this size load as 32-bit pixels: the work files of
    // the largest rasters exceed the default.
    static void allowLoading(const QSize& size);

    // For comparisons: while set, every file goes to Qt's reader.
    static void setQtReaderOnly(bool qtOnly);
};
