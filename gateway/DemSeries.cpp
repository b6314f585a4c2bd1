#include "DemSeries.h"

#include <cstdlib>

namespace {

QString corner(int latitude, int longitude, bool upper)
{
    const QString text = QStringLiteral("%1%2%3%4")
                             .arg(QLatin1Char(latitude < 0 ? 'S' : 'N'))
                             .arg(std::abs(latitude), 2, 10, QLatin1Char('0'))
                             .arg(QLatin1Char(longitude < 0 ? 'W' : 'E'))
                             .arg(std::abs(longitude), 3, 10, QLatin1Char('0'));
    return upper ? text : text.toLower();
}

}

DemSeries DemSeries::srtm(const QUrl& base)
{
    return { Format::Hgt, base, QString(),
        QStringLiteral("SRTM 1 arc-second elevation tiles (NASA/NGA/USGS) in the HGT layout of the public "
                       "terrain tiles dataset"),
        QStringLiteral("SRTM 1 arc-second") };
}

DemSeries DemSeries::ned(const QUrl& base, const QString& resolution)
{
    const QString seconds = resolution == QLatin1String("13") ? QStringLiteral("1/3") : resolution;
    return { Format::GeoTiff, base, resolution,
        QStringLiteral("USGS 3D Elevation Program (3DEP) %1 arc-second 1-degree tiles, public domain")
            .arg(seconds),
        QStringLiteral("3DEP %1 arc-second").arg(seconds) };
}

QString DemSeries::cellName(int south, int west) { return corner(south, west, true); }

QString DemSeries::path(int south, int west) const
{
    if (format == Format::Hgt)
        return QStringLiteral("%1/%2.hgt.gz").arg(cellName(south, west).left(3), cellName(south, west));
    const QString name = corner(south + 1, west, false);
    return QStringLiteral("%1/TIFF/current/%2/USGS_%1_%2.tif").arg(resolution, name);
}

QUrl DemSeries::url(int south, int west) const
{
    QUrl address = base;
    address.setPath(base.path() + QLatin1Char('/') + path(south, west));
    return address;
}

QString DemSeries::cacheName(int south, int west) const
{
    return format == Format::Hgt ? QStringLiteral("srtm1/%1").arg(path(south, west))
                                 : QStringLiteral("3dep/%1").arg(path(south, west));
}
