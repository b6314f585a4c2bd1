#include "DemTileMaker.h"

#include <QFile>
#include <QtEndian>

#include <gdal.h>

#include <zlib.h>

#include <memory>
#include <vector>

namespace DemTileMaker {

bool writeHgt(const QString& path, int south, int west, const Height& height)
{
    constexpr int size = 3601;
    QByteArray raw(qsizetype(size) * size * 2, Qt::Uninitialized);
    auto* out = reinterpret_cast<uchar*>(raw.data());
    for (int r = 0; r < size; ++r) {
        for (int c = 0; c < size; ++c, out += 2)
            qToBigEndian(qint16(height((south + 1) * 3600LL - r, west * 3600LL + c).value_or(-32768)), out);
    }
    gzFile file = gzopen(QFile::encodeName(path).constData(), "wb1");
    const bool written = file && gzwrite(file, raw.constData(), unsigned(raw.size())) == raw.size();
    return file && gzclose(file) == Z_OK && written;
}

bool writeGeoTiff(const QString& path, int south, int west, int cellsPerDegree, const Height& height)
{
    constexpr int buffer = 6;
    GDALAllRegister();
    const int size = cellsPerDegree + 2 * buffer;
    const std::unique_ptr<void, void (*)(void*)> memory(
        GDALCreate(GDALGetDriverByName("MEM"), "", size, size, 1, GDT_Float32, nullptr), GDALClose);
    const double cell = 1.0 / cellsPerDegree;
    double transform[6] = { west - buffer * cell, cell, 0, south + 1 + buffer * cell, 0, -cell };
    GDALSetGeoTransform(memory.get(), transform);
    GDALRasterBandH band = GDALGetRasterBand(memory.get(), 1);
    GDALSetRasterNoDataValue(band, -999999);
    const qint64 northEdge = qint64(south + 1) * cellsPerDegree + buffer;
    const qint64 westEdge = qint64(west) * cellsPerDegree - buffer;
    std::vector<float> row(std::size_t(size), 0);
    for (int r = 0; r < size; ++r) {
        for (int c = 0; c < size; ++c)
            row[std::size_t(c)] = height(northEdge - r, westEdge + c).value_or(-999999.0f);
        if (GDALRasterIO(band, GF_Write, 0, r, size, 1, row.data(), size, 1, GDT_Float32, 0, 0) != CE_None)
            return false;
    }
    const char* options[] = { "BLOCKSIZE=512", "COMPRESS=LZW", "PREDICTOR=YES", nullptr };
    GDALDatasetH tile = GDALCreateCopy(GDALGetDriverByName("COG"), QFile::encodeName(path).constData(),
        memory.get(), false, const_cast<char**>(options), nullptr, nullptr);
    GDALClose(tile);
    return tile != nullptr;
}

}
