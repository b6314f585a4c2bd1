#include "TileProxy.h"

#include "UpstreamClient.h"
#include "UpstreamFailure.h"

#include <QRegularExpression>

TileProxy::TileProxy(const Settings& settings, const QString& cacheDirectory, UpstreamClient& upstream)
    : settings(settings)
    , cache(cacheDirectory)
    , upstream(upstream)
{
}

bool TileProxy::answer(const HttpRequest& request, const HttpResponder& respond)
{
    static const QRegularExpression pattern(QStringLiteral("^/(\\d{1,2})/(\\d{1,9})/(\\d{1,9})\\.png$"));
    const QRegularExpressionMatch match = pattern.match(request.path);
    if (!match.hasMatch())
        return false;
    const int zoom = match.captured(1).toInt();
    const qint64 x = match.captured(2).toLongLong();
    const qint64 y = match.captured(3).toLongLong();
    if (zoom > 30 || x >= (qint64(1) << zoom) || y >= (qint64(1) << zoom)) {
        respond(HttpResponse::failure(404, QStringLiteral("no tile %1/%2/%3").arg(zoom).arg(x).arg(y)));
        return true;
    }
    if (settings.urlTemplate.isEmpty()) {
        respond(
            HttpResponse::failure(503, QStringLiteral("no tile provider set (relka-gateway --tile-url)")));
        return true;
    }
    if (!settings.hasContact) {
        respond(HttpResponse::failure(
            503, QStringLiteral("no contact set for the tile provider (relka-gateway --contact)")));
        return true;
    }
    const std::optional<TileCache::Entry> cached = cache.find(zoom, int(x), int(y));
    if (cached && cached->rule.isFresh(QDateTime::currentDateTimeUtc())) {
        respond(tileResponse(cached->body));
        return true;
    }
    if (spent >= settings.budget) {
        respond(HttpResponse::failure(403, QStringLiteral("tile budget exceeded")));
        return true;
    }
    ++spent;
    fetch(zoom, int(x), int(y), cached, respond);
    return true;
}

void TileProxy::fetch(
    int zoom, int x, int y, const std::optional<TileCache::Entry>& cached, const HttpResponder& respond)
{
    QString address = settings.urlTemplate;
    address.replace(QLatin1String("{z}"), QString::number(zoom))
        .replace(QLatin1String("{x}"), QString::number(x))
        .replace(QLatin1String("{y}"), QString::number(y));
    UpstreamClient::Call call { QUrl(address) };
    if (cached && !cached->rule.etag.isEmpty())
        call.headers.append({ "If-None-Match", cached->rule.etag });
    if (cached && !cached->rule.lastModified.isEmpty())
        call.headers.append({ "If-Modified-Since", cached->rule.lastModified });
    upstream.get(call, [this, zoom, x, y, cached, respond](const UpstreamReply& reply) {
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const CacheRule rule = CacheRule::of(reply, now);
        if (reply.status == 304 && cached) {
            cache.renew(zoom, x, y, rule);
            respond(tileResponse(cached->body));
        } else if (reply.status == 200) {
            if (rule.storable)
                cache.store(zoom, x, y, { reply.body, rule });
            respond(tileResponse(reply.body));
        } else {
            respond(UpstreamFailure::response(QStringLiteral("tile server"), reply));
        }
    });
}

HttpResponse TileProxy::tileResponse(const QByteArray& body)
{
    HttpResponse response { .body = body };
    response.setHeader("Content-Type", "image/png");
    return response;
}
