#include "geocode/GeocodeQuery.h"

GeocodeQuery::GeocodeQuery(const ServiceEndpoint& geocoder, const QString& address)
    : geocoder(geocoder)
    , query(QStringLiteral("http://%1/demo.cgi?address=").arg(geocoder.authority()) + address,
          QUrl::TolerantMode)
{
}

QString GeocodeQuery::url() const { return query.toString(); }

QString GeocodeQuery::path() const
{
    return QString::fromLatin1(
        query.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment));
}
