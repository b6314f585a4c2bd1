#include "UpstreamFakes.h"

#include "DemTileMaker.h"

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
    if (!QFile::exists(path)) {
        if (hgt)
            DemTileMaker::writeHgt(path, south, west, terrain);
        else
            DemTileMaker::writeGeoTiff(path, south, west, 3600, terrain);
    }
    const QByteArray target
        = QString(hgt ? "/skadi/N%1/N%1W%2.hgt.gz" : "/ned/1/TIFF/current/n%1w%2/USGS_1_n%1w%2.tif")
              .arg(hgt ? south : south + 1)
              .arg(-west)
              .toLatin1();
    RangeFile& file = files[target] = RangeFile { path, before };
    dem.setHandler(target, [&file](const HttpRequest& request) { return file.answer(request); });
    return file;
}
