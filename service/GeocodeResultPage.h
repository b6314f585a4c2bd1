#pragma once

#include "HttpResponse.h"

// The geocoder's result pages. A match names the place and gives its
// latitude and longitude, each under an h3 heading, in decimal degrees
// with six decimals (a tenth of a metre, finer than the client keeps)
// followed by "&deg;" in the first table cell and in degrees, minutes and
// seconds in the second. A miss says so in words, without the headings.
class GeocodeResultPage {
public:
    static HttpResponse match(const QString& place, double latitude, double longitude);
    static HttpResponse noMatch(const QString& address);

private:
    static HttpResponse page(const QString& body);
};
