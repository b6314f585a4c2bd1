#include "ElevationProduct.h"

#include <iterator>

namespace {

using Dialect = ElevationProduct::Dialect;

const ElevationProduct products[] = {
    { "SM905HZ", "SRTM 3 arc second, finished", 1200, Dialect::Esri, true, false, true, false, "meta1.html" },
    { "SM305HZ", "SRTM 1 arc second, finished (U.S. only)", 3600, Dialect::Esri, false, true, false, false,
        "METADATA.HTM" },
    { "NED05HZ", "National Elevation Dataset 1 arc second", 3600, Dialect::GridFloat, false, false, false,
        true, nullptr },
    { "ND305HZ", "National Elevation Dataset 1/3 arc second", 10800, Dialect::GridFloat, false, false, false,
        true, nullptr },
    { "T1305HZ", "Topographic change: NED 2003 DEM", 3600, Dialect::Labelled, false, false, false, true,
        nullptr },
};

}

const ElevationProduct* ElevationProduct::find(const QString& code)
{
    for (const ElevationProduct& product : products) {
        if (code == QLatin1String(product.code))
            return &product;
    }
    return nullptr;
}

QString ElevationProduct::entryName(const QString& stem, const QString& suffix) const
{
    QString name = stem + QLatin1Char('.') + suffix;
    if (upperCaseNames)
        name = name.toUpper();
    return inFolder ? stem + QLatin1Char('/') + name : name;
}

QString ElevationProduct::rasterEntry(const QString& stem) const
{
    return entryName(stem, dialect == Dialect::GridFloat ? QStringLiteral("flt") : QStringLiteral("bil"));
}

QString ElevationProduct::metadataEntry(const QString& stem) const
{
    if (!metadataName)
        return entryName(stem, QStringLiteral("htm"));
    const QString name = QLatin1String(metadataName);
    return inFolder ? stem + QLatin1Char('/') + name : name;
}
