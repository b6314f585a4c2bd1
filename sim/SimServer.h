#pragma once

#include "ArchiveStore.h"
#include "ElevationService.h"
#include "GeocodeService.h"
#include "SimOptions.h"
#include "SyntheticTerrain.h"
#include "TileService.h"

#include "HttpServer.h"

// The simulator's routing: applies the fault switches and hands each request
// to the service whose paths it matches.
class SimServer : public QObject {
    Q_OBJECT

public:
    explicit SimServer(const SimOptions& options, QObject* parent = nullptr);

    // Writes the reason to standard error when it fails.
    bool listen();
    // "host:port" as clients should address it, e.g. 127.0.0.1:40123.
    QString authority() const;

private:
    void route(const HttpRequest& request, const HttpResponder& respond);

    SimOptions options;
    HttpServer server;
    SyntheticTerrain terrain;
    ArchiveStore archives;
    ElevationService elevation;
    TileService tiles;
    GeocodeService geocoder;
};
