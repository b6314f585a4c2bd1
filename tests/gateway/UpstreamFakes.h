#pragma once

#include "RangeFile.h"
#include "TestHttpServer.h"

#include <QTemporaryDir>

#include <functional>
#include <map>
#include <optional>

// Local fakes of the public servers relka-gateway talks to (DEM tiles, map
// tiles, geocoder), the gateway's command line pointed at them, and DEM
// tiles in the published layouts. Every value of a tile comes from a
// function of the global cell, so a reader can tell exactly which cell a
// sample was taken from. A cell is named by the whole number of cells from
// the equator to its north edge and from the prime meridian to its west
// edge (for SRTM, whose samples lie on the grid lines: the sample's own
// position).
struct UpstreamFakes {
    // Nothing for a void.
    using Height = std::function<std::optional<float>(qint64 north, qint64 west)>;

    QTemporaryDir cache;
    TestHttpServer dem;
    TestHttpServer tiles;
    TestHttpServer geocoder;
    std::map<QByteArray, RangeFile> files;

    // Every cell has a value of its own, with fraction bits finer than
    // 1/32 m; the cells whose indices are both multiples of 17 are voids.
    static std::optional<float> terrain(qint64 north, qint64 west);
    // A tile as published of the 1° cell with the south-west corner
    // (south, west): SRTM in the HGT layout, (perDegree + 1)² samples on the
    // grid lines from edge to edge, -32768 for voids, gzipped; or 3DEP with
    // a buffer of 6 cells around the degree ((perDegree + 12)² cells: 3612
    // at 1", 10812 at 1/3"), float samples, NODATA -999999, as a
    // cloud-optimised GeoTIFF: 512 x 512 blocks, LZW with the floating-point
    // predictor, internal overviews. False when it cannot be written.
    static bool writeTile(
        const QString& path, bool hgt, int south, int west, int perDegree, const Height& height);

    bool listen();
    QStringList arguments(int budget = 3, const QString& contact = "tester@example.org") const;
    // A full-size tile of the terrain in the product's series (SRTM 1" or
    // 3DEP 1") at its published address, after the answers given first.
    RangeFile& serve(const QString& product, int south, int west, const QList<HttpResponse>& before = {});
};
