#include "DemTileMaker.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include <gdal.h>

#include <zlib.h>

#include <vector>

namespace DemTileMaker {

QByteArray hgt(int south, int west, int size, const Height& height, bool compressed)
{
    const qint64 perDegree = size - 1;
    QByteArray raw(qsizetype(size) * size * 2, Qt::Uninitialized);
    auto* out = reinterpret_cast<uchar*>(raw.data());
    for (int r = 0; r < size; ++r) {
        for (int c = 0; c < size; ++c) {
            const std::optional<float> value = height((south + 1) * perDegree - r, west * perDegree + c);
            qToBigEndian(value ? qint16(*value) : qint16(-32768), out);
            out += 2;
        }
    }
    if (!compressed)
        return raw;
    z_stream stream {};
    deflateInit2(&stream, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray packed(qsizetype(deflateBound(&stream, uLong(raw.size())) + 64), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef*>(raw.data());
    stream.avail_in = uInt(raw.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = uInt(packed.size());
    deflate(&stream, Z_FINISH);
    packed.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return packed;
}

bool writeGeoTiff(const QString& path, int south, int west, int cellsPerDegree, int buffer,
    const Height& height, bool compressed)
{
    GDALAllRegister();
    const int size = cellsPerDegree + 2 * buffer;
    char tiled[] = "TILED=YES";
    char deflate[] = "COMPRESS=DEFLATE";
    char predictor[] = "PREDICTOR=3";
    char level[] = "ZLEVEL=1";
    char* options[] = { tiled, deflate, predictor, level, nullptr };
    GDALDatasetH dataset = GDALCreate(GDALGetDriverByName("GTiff"), QFile::encodeName(path).constData(), size,
        size, 1, GDT_Float32, compressed ? options : nullptr);
    if (!dataset)
        return false;
    const double cell = 1.0 / cellsPerDegree;
    double transform[6] = { west - buffer * cell, cell, 0, south + 1 + buffer * cell, 0, -cell };
    GDALSetGeoTransform(dataset, transform);
    GDALRasterBandH band = GDALGetRasterBand(dataset, 1);
    GDALSetRasterNoDataValue(band, -999999);
    const qint64 northEdge = qint64(south + 1) * cellsPerDegree + buffer;
    const qint64 westEdge = qint64(west) * cellsPerDegree - buffer;
    std::vector<float> row(std::size_t(size), 0);
    bool written = true;
    for (int r = 0; r < size && written; ++r) {
        for (int c = 0; c < size; ++c)
            row[std::size_t(c)] = height(northEdge - r, westEdge + c).value_or(-999999.0f);
        written
            = GDALRasterIO(band, GF_Write, 0, r, size, 1, row.data(), size, 1, GDT_Float32, 0, 0) == CE_None;
    }
    GDALClose(dataset);
    return written;
}

QByteArray geoTiff(int south, int west, int cellsPerDegree, int buffer, const Height& height)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("tile.tif"));
    QFile file(path);
    if (!writeGeoTiff(path, south, west, cellsPerDegree, buffer, height) || !file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

}
