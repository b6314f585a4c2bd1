#include "AddressGeocoder.h"

#include "GeocodeResultPage.h"
#include "UpstreamClient.h"
#include "UpstreamFailure.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

AddressGeocoder::AddressGeocoder(const QUrl& service, UpstreamClient& upstream)
    : service(service)
    , upstream(upstream)
{
}

bool AddressGeocoder::answer(const HttpRequest& request, const HttpResponder& respond)
{
    if (request.path != QLatin1String("/demo.cgi"))
        return false;
    const QString address = request.query.queryItemValue(QStringLiteral("address"), QUrl::FullyDecoded);
    if (address.trimmed().isEmpty()) {
        respond(GeocodeResultPage::noMatch(address));
        return true;
    }
    QUrl url = service;
    QUrlQuery query(url);
    query.addQueryItem(
        QStringLiteral("address"), QString(address).replace(QLatin1Char('+'), QLatin1Char(' ')));
    if (!query.hasQueryItem(QStringLiteral("benchmark")))
        query.addQueryItem(QStringLiteral("benchmark"), QStringLiteral("Public_AR_Current"));
    query.addQueryItem(QStringLiteral("format"), QStringLiteral("json"));
    url.setQuery(query);
    upstream.get({ url }, [respond, address](const UpstreamReply& reply) {
        if (reply.status != 200)
            respond(UpstreamFailure::response(QStringLiteral("geocoder"), reply));
        else
            respond(pageFor(address, reply.body));
    });
    return true;
}

HttpResponse AddressGeocoder::pageFor(const QString& address, const QByteArray& json)
{
    const QJsonObject result
        = QJsonDocument::fromJson(json).object().value(QLatin1String("result")).toObject();
    const QJsonValue matches = result.value(QLatin1String("addressMatches"));
    if (!matches.isArray())
        return HttpResponse::failure(502, QStringLiteral("geocoder answered without address matches"));
    for (const QJsonValue& match : matches.toArray()) {
        const QJsonObject coordinates = match.toObject().value(QLatin1String("coordinates")).toObject();
        const QJsonValue longitude = coordinates.value(QLatin1String("x"));
        const QJsonValue latitude = coordinates.value(QLatin1String("y"));
        if (latitude.isDouble() && longitude.isDouble())
            return GeocodeResultPage::match(
                match.toObject().value(QLatin1String("matchedAddress")).toString(address),
                latitude.toDouble(), longitude.toDouble());
    }
    return GeocodeResultPage::noMatch(address);
}
