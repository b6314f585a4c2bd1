#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "TileCache.h"

class UpstreamClient;

// "/z/x/y.png" answered from the disk cache while a tile is fresh, else
// from the tile provider named by a URL template, revalidating a cached
// tile with If-None-Match / If-Modified-Since. Upstream requests are
// counted against a budget for the gateway's run; past it the answer is
// 403 "tile budget exceeded". Without a provider or a contact for the
// User-Agent the answer is 503 with the reason.
class TileProxy {
public:
    struct Settings {
        QString urlTemplate;
        bool hasContact = false;
        int budget = 0;
    };

    TileProxy(const Settings& settings, const QString& cacheDirectory, UpstreamClient& upstream);

    // False when the path does not have the shape of a tile address.
    bool answer(const HttpRequest& request, const HttpResponder& respond);

    int upstreamRequests() const { return spent; }

private:
    void fetch(
        int zoom, int x, int y, const std::optional<TileCache::Entry>& cached, const HttpResponder& respond);
    static HttpResponse tileResponse(const QByteArray& body);

    Settings settings;
    TileCache cache;
    UpstreamClient& upstream;
    int spent = 0;
};
