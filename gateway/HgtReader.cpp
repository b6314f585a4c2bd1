#include "HgtReader.h"

#include <QFile>
#include <QtEndian>

#include <zlib.h>

#include <cmath>
#include <limits>

namespace {

constexpr qint16 voidSample = -32768;
// The largest tile read: 1 arc-second.
constexpr qint64 largestTile = 3601LL * 3601 * 2;

QByteArray gunzip(const QByteArray& packed)
{
    z_stream stream {};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return {};
    QByteArray out(qsizetype(largestTile), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.constData()));
    stream.avail_in = uInt(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    const int status = inflate(&stream, Z_FINISH);
    out.truncate(qsizetype(stream.total_out));
    inflateEnd(&stream);
    return status == Z_STREAM_END ? out : QByteArray();
}

}

std::optional<DemRaster> HgtReader::read(const QString& path, int south, int west, const GeoBounds& bounds)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > largestTile)
        return std::nullopt;
    QByteArray data = file.readAll();
    if (data.startsWith("\x1f\x8b"))
        data = gunzip(data);
    const int size = int(std::lround(std::sqrt(double(data.size() / 2))));
    if (size < 2 || qint64(size) * size * 2 != data.size())
        return std::nullopt;

    // Samples sit on the cell's corners, so each one's own cell reaches half
    // a step beyond the tile's borders.
    DemRaster tile;
    tile.cellHeight = tile.cellWidth = 1.0 / (size - 1);
    const double north = south + 1 + tile.cellHeight / 2;
    const double westEdge = west - tile.cellWidth / 2;
    const std::optional<DemRaster::Window> window
        = DemRaster::window(north, westEdge, tile.cellHeight, tile.cellWidth, size, size, bounds);
    if (!window)
        return DemRaster {};
    tile.north = north - window->firstRow * tile.cellHeight;
    tile.west = westEdge + window->firstColumn * tile.cellWidth;
    tile.rows = window->rows;
    tile.columns = window->columns;
    tile.samples.resize(std::size_t(tile.rows) * std::size_t(tile.columns));
    const auto* raw = reinterpret_cast<const uchar*>(data.constData());
    float* out = tile.samples.data();
    for (int r = 0; r < tile.rows; ++r) {
        const uchar* row = raw + (qint64(window->firstRow + r) * size + window->firstColumn) * 2;
        for (int c = 0; c < tile.columns; ++c) {
            const qint16 sample = qFromBigEndian<qint16>(row + 2 * c);
            *out++ = sample == voidSample ? std::numeric_limits<float>::quiet_NaN() : float(sample);
        }
    }
    return tile;
}
