#pragma once

#include "ServiceProcess.h"

#include <QStringList>
#include <QUrl>

#include <optional>

// Everything the command line and the environment set; an option given on
// the command line wins over its environment variable, which wins over the
// default. parse() prints help or an error itself.
struct GatewayOptions {
    ServiceProcess::Endpoint endpoint;
    // Holds the fetched DEM tiles, the built archives and the map tiles.
    QString cacheDirectory;
    // Folder with the SRTM tiles in the HGT layout ("N40/N40W106.hgt.gz").
    QUrl srtmUrl;
    // Folder above the national map's 1° GeoTIFF series ("13/TIFF/current/...").
    QUrl nedUrl;
    QUrl geocoderUrl;
    // Tile address with {z}, {x} and {y}; empty when no provider is set.
    QString tileTemplate;
    QString tileAttribution;
    // Part of the User-Agent of every upstream request.
    QString contact;
    int tileBudget = 0;
    int timeoutSeconds = 0;
    int waitPages = 0;
    int refreshSeconds = 0;
    // Where the attribution is written at start-up; empty for nowhere.
    QString attributionFile;

    // Exits the process for --help and --version; returns nothing after
    // writing an error to standard error.
    static std::optional<GatewayOptions> parse(const QStringList& arguments);
    // "relka-gateway/VERSION (+contact)".
    QByteArray userAgent() const;
};
