#pragma once

#include <QImage>
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

    // For comparisons: while set, every file goes to Qt's reader.
    static void setQtReaderOnly(bool qtOnly);
};
