#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

// The geocoder: "/demo.cgi?address=..." answered with a result page that
// carries the latitude and longitude of a few known U.S. addresses, or a
// page without them. Addresses match regardless of case, extra blanks,
// blanks around commas and full stops.
class GeocodeService {
public:
    bool answer(const HttpRequest& request, const HttpResponder& respond) const;

    static QString normalised(const QString& address);
};
