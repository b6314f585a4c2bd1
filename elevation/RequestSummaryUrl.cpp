#include "elevation/RequestSummaryUrl.h"

#include <QCoreApplication>

namespace {

struct Source {
    const char* displayName;
    const char* productCode;
};

const Source sources[] = {
    { "SRTM 1 arc sec - Shuttle Radar Topography Mission [Finished] (U.S. only)", "SM305HZ" },
    { "SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]", "SM905HZ" },
    { "National Elevation Dataset (NED) 1 Arc Second (U.S. only)", "NED05HZ" },
    { "National Elevation Dataset (NED) 1/3 Arc Second (U.S. only)", "ND305HZ" },
    { "Topographic Change: NED 2003 DEM (U.S. only)", "T1305HZ" },
};

} // namespace

QString RequestSummaryUrl::build(const QString& authority, const QString& sourceSetting, double north,
    double south, double east, double west)
{
    QString url;
    for (const Source& source : sources) {
        if (!sourceSetting.contains(QLatin1String(source.displayName)))
            continue;
        url = QCoreApplication::translate("MainDialog",
            "http://%1/Website/distreq/RequestSummary.jsp?PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM&MD=DL"
            "&AL=%2,%3,%4,%5&CS=250&PL=%6")
                  .arg(authority)
                  .arg(north)
                  .arg(south)
                  .arg(east)
                  .arg(west)
                  .arg(QLatin1String(source.productCode));
    }
    return url;
}
