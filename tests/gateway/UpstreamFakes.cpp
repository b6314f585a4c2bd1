#include "UpstreamFakes.h"

#include <QtEndian>

#include <gdal.h>
#include <zlib.h>

#include <memory>
#include <vector>

std::optional<float> UpstreamFakes::terrain(qint64 north, qint64 west)
{
    if (north % 17 == 0 && west % 17 == 0)
        return std::nullopt;
    return float(((north * 7 + west * 13) % 3000 + 3000) % 3000 + 100) + float((north + west) & 255) / 256;
}

bool UpstreamFakes::listen() { return dem.listen() && tiles.listen() && geocoder.listen(); }

QStringList UpstreamFakes::arguments(const QString& contact, int budget) const
{
    const QString base = "http://127.0.0.1:%1";
    return { "--cache-dir", cache.path(), "--srtm-url", base.arg(dem.port()) + "/skadi", "--ned-url",
        base.arg(dem.port()) + "/ned", "--geocoder-url", base.arg(geocoder.port()) + "/onelineaddress",
        "--tile-url", base.arg(tiles.port()) + "/tile?z={z}&x={x}&y={y}&key=secret", "--contact", contact,
        "--tile-budget", QString::number(budget), "--refresh-seconds", "0" };
}

RangeFile& UpstreamFakes::serve(
    const QString& product, int south, int west, const QList<HttpResponse>& before)
{
    // Made once per process: a full-size tile takes a while.
    static QTemporaryDir made;
    const bool hgt = product.startsWith('S');
    const QString path = made.filePath(QString("%1%2%3").arg(hgt).arg(south).arg(west));
    if (!QFile::exists(path))
        hgt ? writeHgt(path, south, west, terrain) : writeGeoTiff(path, south, west, 3600, terrain);
    const QByteArray target
        = QString(hgt ? "/skadi/N%1/N%1W%2.hgt.gz" : "/ned/1/TIFF/current/n%1w%2/USGS_1_n%1w%2.tif")
              .arg(hgt ? south : south + 1)
              .arg(-west)
              .toLatin1();
    RangeFile& file = files[target] = RangeFile { path, before };
    dem.setHandler(target, [&file](const HttpRequest& request) { return file.answer(request); });
    return file;
}

bool UpstreamFakes::writeHgt(const QString& path, int south, int west, const Height& height)
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

bool UpstreamFakes::writeGeoTiff(
    const QString& path, int south, int west, int cellsPerDegree, const Height& height)
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
