#include "Attribution.h"

#include "DemSeries.h"
#include "GatewayOptions.h"

#include <QSaveFile>

QString Attribution::text(const GatewayOptions& options)
{
    QString text = QStringLiteral("Elevation: %1, %2.\n")
                       .arg(DemSeries::srtm(options.srtmUrl).description, options.srtmUrl.toDisplayString());
    text += QStringLiteral(
        "Elevation: USGS 3D Elevation Program (3DEP) 1 and 1/3 arc-second 1-degree tiles, public "
        "domain, %1.\n")
                .arg(options.nedUrl.toDisplayString());
    if (!options.tileTemplate.isEmpty())
        text += QStringLiteral("Map: %1, %2.\n")
                    .arg(options.tileAttribution,
                        QUrl(options.tileTemplate).toDisplayString(QUrl::RemoveQuery));
    text += QStringLiteral("Geocoding: U.S. Census Bureau Geocoder, %1.\n")
                .arg(options.geocoderUrl.toDisplayString());
    return text;
}

bool Attribution::write(const QString& path, const GatewayOptions& options)
{
    QSaveFile file(path);
    const QByteArray content = text(options).toUtf8();
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
}
