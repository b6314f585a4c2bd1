#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QSysInfo>

#include <optional>

// Writes a small BIL raster for the import tests: the data file (".bil")
// and a header (".hdr"), optionally a world file (".blw") and a statistics
// file (".stx"). Samples are given top row first, each row left to right;
// fewer samples than rows × cols make a data file that ends early.
class RasterFixture {
public:
    // nbits 8: unsigned bytes, 16: signed integers, 32: IEEE floats.
    RasterFixture(int rows, int cols, int nbits, const QList<double>& samples);

    // The header's byte-order word and the order the samples are written in
    // (the default: "I", little-endian); a test may make them disagree.
    RasterFixture& byteOrder(const QString& word, QSysInfo::Endian written);
    RasterFixture& nodata(double value);
    // Bytes written in front of the samples (a TIFF wrapper, for instance).
    RasterFixture& prefix(const QByteArray& bytes);
    // Leaves the geometry out of the header and writes it as a world file.
    RasterFixture& worldFile();
    RasterFixture& statistics(int minimum, int maximum);

    void write(const QString& baseName) const;

    // The samples alone, as the data file holds them.
    QByteArray sampleBytes() const;
    // A little-endian TIFF start, followed by filler up to the marker and the
    // marker itself at the given index of the bytes after the first four.
    static QByteArray tiffPrefix(int markerIndex, const QByteArray& marker);
    static void writeFile(const QString& fileName, const QByteArray& contents);

private:
    int rows;
    int cols;
    int nbits;
    QList<double> samples;
    QString order = QStringLiteral("I");
    QSysInfo::Endian writtenOrder = QSysInfo::LittleEndian;
    std::optional<double> nodataValue;
    QByteArray leadingBytes;
    bool geometryInWorldFile = false;
    std::optional<std::pair<int, int>> statisticsRange;
};
