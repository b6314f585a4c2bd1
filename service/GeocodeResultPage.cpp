#include "GeocodeResultPage.h"

#include <cmath>

namespace {

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

HttpResponse GeocodeResultPage::match(const QString& place, double latitude, double longitude)
{
    return page(
        QStringLiteral("<h2>%1</h2>\r\n"
                       "<h3>Latitude</h3>\r\n<table><tr><td>%2&deg;</td><td>%3</td></tr></table>\r\n"
                       "<h3>Longitude</h3>\r\n<table><tr><td>%4&deg;</td><td>%5</td></tr></table>\r\n")
            .arg(place.toHtmlEscaped())
            .arg(latitude, 0, 'f', 6)
            .arg(sexagesimal(latitude, 'N', 'S'))
            .arg(longitude, 0, 'f', 6)
            .arg(sexagesimal(longitude, 'E', 'W')));
}

HttpResponse GeocodeResultPage::noMatch(const QString& address)
{
    return page(
        QStringLiteral("<h2>No match</h2>\r\n<p>Sorry, the address \"%1\" could not be found. Please check "
                       "the street, city and state.</p>\r\n")
            .arg(address.toHtmlEscaped()));
}

HttpResponse GeocodeResultPage::page(const QString& body)
{
    HttpResponse response = HttpResponse::page(200,
        QStringLiteral("<html><head><title>Geocoder</title></head><body>\r\n%1</body></html>\r\n").arg(body));
    // Result pages are generated, so they go out chunked, as a client of a
    // real geocoder would often see them.
    response.framing = HttpResponse::Framing::Chunked;
    return response;
}
