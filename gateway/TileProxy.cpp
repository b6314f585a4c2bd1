#include "TileProxy.h"

#include "TileAddress.h"
#include "UpstreamClient.h"
#include "UpstreamFailure.h"

namespace {

// Deeper than any tile provider draws.
constexpr int maximumZoom = 30;

}

TileProxy::TileProxy(const Settings& settings, const QString& cacheDirectory, UpstreamClient& upstream)
    : settings(settings)
    // Tiles of different providers differ: each gets a folder of its own.
    , cache(cacheDirectory + QLatin1Char('/') + QUrl(settings.urlTemplate).host())
    , upstream(upstream)
{
}

bool TileProxy::answer(const HttpRequest& request, const HttpResponder& respond)
{
    const std::optional<TileAddress> tile = TileAddress::fromPath(request.path);
    if (!tile)
        return false;
    if (!tile->exists(maximumZoom)) {
        respond(HttpResponse::failure(
            404, QStringLiteral("no tile %1/%2/%3").arg(tile->zoom).arg(tile->x).arg(tile->y)));
        return true;
    }
    const int zoom = tile->zoom;
    const int x = int(tile->x);
    const int y = int(tile->y);
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
    const std::optional<TileCache::Entry> cached = cache.find(zoom, x, y);
    if (cached && cached->rule.isFresh(QDateTime::currentDateTimeUtc())) {
        respond(tileResponse(cached->body));
        return true;
    }
    if (spent >= settings.budget) {
        respond(HttpResponse::failure(403, QStringLiteral("tile budget exceeded")));
        return true;
    }
    ++spent;
    fetch(zoom, x, y, cached, respond);
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
