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

QStringList UpstreamFakes::arguments(int budget, const QString& contact) const
{
    const QString base = "http://127.0.0.1:%1";
    return { "--cache-dir", cache.path(), "--srtm-url", base.arg(dem.port()) + "/skadi", "--ned-url",
        base.arg(dem.port()) + "/ned", "--geocoder-url", base.arg(geocoder.port()) + "/onelineaddress",
        "--tile-url", base.arg(tiles.port()) + "/tile?z={z}&x={x}&y={y}&key=secret", "--contact", contact,
        "--tile-budget", QString::number(budget), "--refresh-seconds", "0", "--attribution-file",
        cache.filePath("ATTRIBUTION.txt") };
}

RangeFile& UpstreamFakes::serve(
    const QString& product, int south, int west, const QList<HttpResponse>& before)
{
    // Made once per process: a full-size tile takes a while.
    static QTemporaryDir made;
    const bool hgt = product.startsWith('S');
    const QString path = made.filePath(QString("%1%2%3").arg(hgt).arg(south).arg(west));
    if (!QFile::exists(path))
        writeTile(path, hgt, south, west, 3600, terrain);
    const QString address = hgt ? "/skadi/N%1/N%1W%2.hgt.gz" : "/ned/1/TIFF/current/n%1w%2/USGS_1_n%1w%2.tif";
    const QByteArray target = address.arg(hgt ? south : south + 1).arg(-west).toLatin1();
    RangeFile& file = files[target] = RangeFile { path, before };
    dem.setHandler(target, [&file](const HttpRequest& request) { return file.answer(request); });
    return file;
}

bool UpstreamFakes::writeTile(
    const QString& path, bool hgt, int south, int west, int perDegree, const Height& height)
{
    // SRTM samples lie on the grid lines, the tile's edges included; 3DEP
    // cells lie between them, 6 of them beyond the edges.
    const int buffer = hgt ? 0 : 6;
    const int size = perDegree + (hgt ? 1 : 2 * buffer);
    const float nodata = hgt ? -32768 : -999999;
    GDALAllRegister();
    const std::unique_ptr<void, void (*)(void*)> memory(
        GDALCreate(GDALGetDriverByName("MEM"), "", size, size, 1, hgt ? GDT_Int16 : GDT_Float32, nullptr),
        GDALClose);
    const double cell = 1.0 / perDegree;
    const double margin = (buffer + (hgt ? 0.5 : 0)) * cell;
    double transform[6] = { west - margin, cell, 0, south + 1 + margin, 0, -cell };
    GDALSetGeoTransform(memory.get(), transform);
    GDALRasterBandH band = GDALGetRasterBand(memory.get(), 1);
    GDALSetRasterNoDataValue(band, nodata);
    std::vector<float> row(size);
    for (int r = 0; r < size; ++r) {
        for (int c = 0; c < size; ++c)
            row[c] = height((south + 1LL) * perDegree + buffer - r, qint64(west) * perDegree - buffer + c)
                         .value_or(nodata);
        if (GDALRasterIO(band, GF_Write, 0, r, size, 1, row.data(), size, 1, GDT_Float32, 0, 0) != CE_None)
            return false;
    }
    if (hgt) {
        QByteArray raw(qsizetype(size) * size * 2, Qt::Uninitialized);
        gzFile file = gzopen(QFile::encodeName(path).constData(), "wb1");
        const bool read
            = GDALRasterIO(band, GF_Read, 0, 0, size, size, raw.data(), size, size, GDT_Int16, 0, 0)
            == CE_None;
        qToBigEndian<qint16>(raw.constData(), size * size, raw.data());
        return read && gzwrite(file, raw.constData(), unsigned(raw.size())) == raw.size()
            && gzclose(file) == Z_OK;
    }
    const char* options[] = { "BLOCKSIZE=512", "COMPRESS=LZW", "PREDICTOR=YES", nullptr };
    GDALDatasetH tile = GDALCreateCopy(GDALGetDriverByName("COG"), QFile::encodeName(path).constData(),
        memory.get(), false, const_cast<char**>(options), nullptr, nullptr);
    GDALClose(tile);
    return tile != nullptr;
}
