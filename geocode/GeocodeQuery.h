#pragma once

#include "http/ServiceEndpoint.h"

#include <QString>
#include <QUrl>

// The geocoder's request for an address typed by the user. The address goes
// into the URL text as it is and the text is read tolerantly, so a "#"
// starts the fragment (never sent) and an "&" ends the address value, while
// spaces and characters beyond ASCII are percent-encoded.
class GeocodeQuery {
public:
    GeocodeQuery(const ServiceEndpoint& geocoder, const QString& address);

    QString host() const { return geocoder.host(); }
    quint16 port() const { return geocoder.port(); }
    // The whole URL in its readable form, fragment included, as a request
    // record keeps it.
    QString url() const;
    // The encoded path and query that the GET sends.
    QString path() const;

private:
    ServiceEndpoint geocoder;
    QUrl query;
};
