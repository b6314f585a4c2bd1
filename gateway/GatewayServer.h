#pragma once

#include "AddressGeocoder.h"
#include "ArchiveStore.h"
#include "DemTerrain.h"
#include "DemTileStore.h"
#include "ElevationService.h"
#include "GatewayOptions.h"
#include "HttpServer.h"
#include "TileProxy.h"
#include "UpstreamClient.h"

// The gateway's routing: the program's three conversations, each answered
// from its public source, and "/attribution.txt". Upstream calls go through
// one client per kind of source, two connections each.
class GatewayServer : public QObject {
    Q_OBJECT

public:
    explicit GatewayServer(const GatewayOptions& options, QObject* parent = nullptr);

    // Writes the reason to standard error when it fails.
    bool listen();
    QString authority() const { return server.authority(); }
    const TileProxy& tileProxy() const { return tiles; }

private:
    void route(const HttpRequest& request, const HttpResponder& respond);

    GatewayOptions options;
    UpstreamClient demUpstream;
    UpstreamClient tileUpstream;
    UpstreamClient geocoderUpstream;
    DemTileStore demTiles;
    DemTerrain terrain;
    ArchiveStore archives;
    ElevationService elevation;
    TileProxy tiles;
    AddressGeocoder geocoder;
    HttpServer server;
};
