#include "GeocodeService.h"

#include <QRegularExpression>

#include <cmath>

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

// 38.8977 -> 38° 53' 51.7" with the hemisphere letter.
QString sexagesimal(double degrees, char positive, char negative)
{
    const double magnitude = std::abs(degrees);
    const int whole = int(magnitude);
    const double minutes = (magnitude - whole) * 60;
    return QStringLiteral("%1&deg; %2' %3\" %4")
        .arg(whole)
        .arg(int(minutes))
        .arg((minutes - int(minutes)) * 60, 0, 'f', 1)
        .arg(QLatin1Char(degrees < 0 ? negative : positive));
}

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
    QString body;
    for (const Place& place : places) {
        if (normalised(QLatin1String(place.address)) != key)
            continue;
        body = QStringLiteral("<h2>%1</h2>\r\n"
                              "<h3>Latitude</h3>\r\n<table><tr><td>%2&deg;</td><td>%3</td></tr></table>\r\n"
                              "<h3>Longitude</h3>\r\n<table><tr><td>%4&deg;</td><td>%5</td></tr></table>\r\n")
                   .arg(QLatin1String(place.address))
                   .arg(place.latitude, 0, 'f', 4)
                   .arg(sexagesimal(place.latitude, 'N', 'S'))
                   .arg(place.longitude, 0, 'f', 4)
                   .arg(sexagesimal(place.longitude, 'E', 'W'));
    }
    if (body.isEmpty())
        body = QStringLiteral(
            "<h2>No match</h2>\r\n<p>Sorry, the address \"%1\" could not be found. Please check "
            "the street, city and state.</p>\r\n")
                   .arg(address.toHtmlEscaped());
    HttpResponse response = HttpResponse::page(200,
        QStringLiteral("<html><head><title>Geocoder</title></head><body>\r\n%1</body></html>\r\n").arg(body));
    // Result pages are generated, so they go out chunked, as a client of a
    // real geocoder would often see them.
    response.framing = HttpResponse::Framing::Chunked;
    respond(response);
    return true;
}
