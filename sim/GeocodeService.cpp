#include "GeocodeService.h"

#include "GeocodeResultPage.h"

#include <QRegularExpression>

namespace {

struct Place {
    const char* address;
    double latitude;
    double longitude;
};

const Place places[] = {
    { "1600 Pennsylvania Avenue, Washington, DC", 38.8977, -77.0365 },
    { "2 15th Street NW, Washington, DC", 38.8895, -77.0353 },
    { "350 Fifth Avenue, New York, NY", 40.7484, -73.9857 },
    { "1060 West Addison Street, Chicago, IL", 41.9484, -87.6553 },
    { "4059 Mount Lee Drive, Los Angeles, CA", 34.1341, -118.3215 },
    { "27500 East Timberline Road, Government Camp, OR", 45.3311, -121.7110 },
};

}

QString GeocodeService::normalised(const QString& address)
{
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    static const QRegularExpression commas(QStringLiteral(" ?, ?"));
    QString text = address.toLower();
    text.replace(QLatin1Char('+'), QLatin1Char(' ')).remove(QLatin1Char('.'));
    return text.replace(blanks, QStringLiteral(" ")).trimmed().replace(commas, QStringLiteral(", "));
}

bool GeocodeService::answer(const HttpRequest& request, const HttpResponder& respond) const
{
    if (request.path != QLatin1String("/demo.cgi"))
        return false;
    const QString address = request.query.queryItemValue(QStringLiteral("address"), QUrl::FullyDecoded);
    const QString key = normalised(address);
    for (const Place& place : places) {
        if (normalised(QLatin1String(place.address)) == key) {
            respond(GeocodeResultPage::match(QLatin1String(place.address), place.latitude, place.longitude));
            return true;
        }
    }
    respond(GeocodeResultPage::noMatch(address));
    return true;
}
