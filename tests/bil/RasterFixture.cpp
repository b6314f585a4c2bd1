#include "RasterFixture.h"

#include <QFile>
#include <QtEndian>

namespace {
constexpr double west = -105.0;
constexpr double north = 41.0;
constexpr double cellSize = 1.0;
} // namespace

RasterFixture::RasterFixture(int rows, int cols, int nbits, const QList<double>& samples)
    : rows(rows)
    , cols(cols)
    , nbits(nbits)
    , samples(samples)
{
}

RasterFixture& RasterFixture::byteOrder(const QString& word, QSysInfo::Endian written)
{
    order = word;
    writtenOrder = written;
    return *this;
}

RasterFixture& RasterFixture::nodata(double value)
{
    nodataValue = value;
    return *this;
}

RasterFixture& RasterFixture::prefix(const QByteArray& bytes)
{
    leadingBytes = bytes;
    return *this;
}

RasterFixture& RasterFixture::worldFile()
{
    geometryInWorldFile = true;
    return *this;
}

RasterFixture& RasterFixture::statistics(int minimum, int maximum)
{
    statisticsRange = std::make_pair(minimum, maximum);
    return *this;
}

QByteArray RasterFixture::sampleBytes() const
{
    QByteArray bytes(samples.size() * (nbits / 8), '\0');
    uchar* out = reinterpret_cast<uchar*>(bytes.data());
    const bool big = writtenOrder == QSysInfo::BigEndian;
    for (double sample : samples) {
        switch (nbits) {
        case 8:
            *out++ = static_cast<uchar>(sample);
            break;
        case 16:
            big ? qToBigEndian(static_cast<qint16>(sample), out)
                : qToLittleEndian(static_cast<qint16>(sample), out);
            out += 2;
            break;
        default:
            big ? qToBigEndian(static_cast<float>(sample), out)
                : qToLittleEndian(static_cast<float>(sample), out);
            out += 4;
            break;
        }
    }
    return bytes;
}

QByteArray RasterFixture::tiffPrefix(int markerIndex, const QByteArray& marker)
{
    return QByteArrayLiteral("II*\0") + QByteArray(markerIndex, 'x') + marker;
}

void RasterFixture::writeFile(const QString& fileName, const QByteArray& contents)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(fileName));
}

void RasterFixture::write(const QString& baseName) const
{
    writeFile(baseName + ".bil", leadingBytes + sampleBytes());

    QString header = QStringLiteral("NROWS %1\nNCOLS %2\nNBANDS 1\nNBITS %3\nBYTEORDER %4\nLAYOUT BIL\n")
                         .arg(rows)
                         .arg(cols)
                         .arg(nbits)
                         .arg(order);
    if (!geometryInWorldFile)
        header
            += QStringLiteral("ULXMAP %1\nULYMAP %2\nXDIM %3\nYDIM %3\n").arg(west).arg(north).arg(cellSize);
    if (nodataValue)
        header += QStringLiteral("NODATA %1\n").arg(*nodataValue);
    writeFile(baseName + ".hdr", header.toLatin1());

    if (geometryInWorldFile) {
        // The world file's last line is the centre of the bottom row.
        writeFile(baseName + ".blw",
            QStringLiteral("%1\n0\n0\n%2\n%3\n%4\n")
                .arg(cellSize)
                .arg(-cellSize)
                .arg(west)
                .arg(north - (rows - 1) * cellSize)
                .toLatin1());
    }
    if (statisticsRange)
        writeFile(baseName + ".stx",
            QStringLiteral("1 %1 %2 0.0 0.0\n")
                .arg(statisticsRange->first)
                .arg(statisticsRange->second)
                .toLatin1());
}
