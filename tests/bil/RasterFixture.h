#pragma once

#include <QFile>
#include <QList>
#include <QString>
#include <QtEndian>

#include <optional>

// The tests name only the options they set; GCC 12 warns about the members
// left to their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

// Small BIL rasters for the import tests: a size × size data file (".bil")
// and its header (".hdr") at 1° pixels from 105° W, 41° N. Samples are given
// top row first; fewer than size × size make a data file that ends early.
struct RasterOptions {
    QString byteOrder = QStringLiteral("I"); // the header's word
    bool bigEndian = false; // how the samples are written; may disagree with the word
    std::optional<double> nodata;
    QByteArray prefix; // bytes in front of the samples (a TIFF wrapper)
    // Minimum and maximum for a statistics file (".stx"); the header reads it
    // only without an upper-left x, so the geometry then goes to a world file.
    std::optional<std::pair<int, int>> statistics;
};

// The smallest raster the header reader accepts, in rows and in columns.
constexpr int smallestRaster = 16;

// A smallestRaster × smallestRaster list of samples, top row first, with
// the block × block samples of corner at its top left and fill elsewhere.
inline QList<double> cornerRaster(const QList<double>& corner, int block, double fill = 0)
{
    QList<double> samples(smallestRaster * smallestRaster, fill);
    for (int i = 0; i < corner.size(); ++i)
        samples[(i / block) * smallestRaster + i % block] = corner[i];
    return samples;
}

inline void writeFile(const QString& fileName, const QByteArray& contents)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(fileName));
}

// A little-endian TIFF start, filler, and the marker at the given index of the bytes after the first four.
inline QByteArray tiffPrefix(int markerIndex, const QByteArray& marker)
{
    return QByteArrayLiteral("II*\0") + QByteArray(markerIndex, 'x') + marker;
}

// nbits 8: unsigned bytes, 16: signed integers, 32: IEEE floats.
inline void writeRaster(const QString& baseName, int size, int nbits, const QList<double>& samples,
    const RasterOptions& options = {})
{
    QByteArray data = options.prefix;
    for (double sample : samples) {
        uchar bytes[4];
        if (nbits == 8)
            bytes[0] = static_cast<uchar>(sample);
        else if (nbits == 16)
            options.bigEndian ? qToBigEndian(qint16(sample), bytes) : qToLittleEndian(qint16(sample), bytes);
        else
            options.bigEndian ? qToBigEndian(float(sample), bytes) : qToLittleEndian(float(sample), bytes);
        data.append(reinterpret_cast<const char*>(bytes), nbits / 8);
    }
    writeFile(baseName + ".bil", data);

    QString header = QStringLiteral("NROWS %1\nNCOLS %1\nNBANDS 1\nNBITS %2\nBYTEORDER %3\nLAYOUT BIL\n")
                         .arg(size)
                         .arg(nbits)
                         .arg(options.byteOrder);
    if (options.nodata)
        header += QStringLiteral("NODATA %1\n").arg(*options.nodata);
    if (options.statistics) {
        // The world file's last line is the centre of the bottom row.
        writeFile(baseName + ".blw", QStringLiteral("1\n0\n0\n-1\n-105\n%1\n").arg(42 - size).toLatin1());
        writeFile(baseName + ".stx",
            QStringLiteral("1 %1 %2 0.0 0.0\n")
                .arg(options.statistics->first)
                .arg(options.statistics->second)
                .toLatin1());
    } else {
        header += QStringLiteral("ULXMAP -105\nULYMAP 41\nXDIM 1\nYDIM 1\n");
    }
    writeFile(baseName + ".hdr", header.toLatin1());
}
