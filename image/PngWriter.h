#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

// Writes the program's images as PNG files, several times faster than
// QImage::save: the rows are filtered as libpng would filter them and
// compressed as one zlib stream, by libdeflate at a level chosen per kind of
// image (masks, which libdeflate cannot make as small, by zlib as libpng
// does; pictures derived for other programs by ISA-L, fastest). The program's
// own files are at most 2 % larger than Qt's and carry the colour
// type, bit depth and resolution that Qt's writer gives the same image, so
// every PNG reader decodes them to the same pixels.
//
// Images in formats that Qt writes with other colour types (indexed,
// one-bit, 16-bit colour), images with text or a colour space, and file names
// that do not end in ".png" are passed to Qt's writer unchanged.
// All functions are thread-safe.
class PngWriter {
public:
    // What an image holds decides how hard its file is compressed.
    enum class Content {
        Elevation, // elevation images: smooth, large, the bulk of the work
        Mask, // two colours, mostly one of them
        Picture, // colour pictures: the colour file, the textures
        Derived, // made from the elevations for other programs: written fast
    };

    // Returns what QImage::save(fileName) would return: false for a null
    // image, a file that cannot be created or a write that fails (a full
    // disk). The file appears whole or not at all: after a failure nothing
    // is left, and an earlier file of the same name stays as it was.
    static bool save(const QImage& image, const QString& fileName, Content content);

    // The file save() would write, in memory; empty for a null image.
    static QByteArray encode(const QImage& image, Content content);
    // Writes data encoded before, with save()'s results and guarantees.
    static bool save(const QByteArray& encoded, const QString& fileName);

    // For comparisons: while set, every image goes to Qt's writer.
    static void setQtWriterOnly(bool qtOnly);
};
