#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

#include <QUrl>

class UpstreamClient;

// "/demo.cgi?address=..." answered from a keyless one-line-address
// geocoder that speaks JSON (result.addressMatches[].coordinates x and y):
// the first match becomes the result page the program reads, no match a
// page without coordinates, an upstream failure 502 or 504 with the reason
// in the status line.
class AddressGeocoder {
public:
    AddressGeocoder(const QUrl& service, UpstreamClient& upstream);

    // False when the path is not the geocoder's.
    bool answer(const HttpRequest& request, const HttpResponder& respond);

    // The page for a JSON answer; a 502 when it is not the expected JSON.
    static HttpResponse pageFor(const QString& address, const QByteArray& json);

private:
    QUrl service;
    UpstreamClient& upstream;
};
