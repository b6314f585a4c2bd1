#pragma once

#include "RangeFile.h"
#include "TestHttpServer.h"

#include <QTemporaryDir>

#include <map>
#include <optional>

// Local fakes of the public servers relka-gateway talks to (DEM tiles, map
// tiles, geocoder) and the gateway's command line pointed at them.
struct UpstreamFakes {
    QTemporaryDir cache;
    TestHttpServer dem;
    TestHttpServer tiles;
    TestHttpServer geocoder;
    std::map<QByteArray, RangeFile> files;

    // Every cell has a value of its own, with fraction bits finer than
    // 1/32 m; the cells whose indices are both multiples of 17 are voids.
    static std::optional<float> terrain(qint64 north, qint64 west);

    bool listen();
    QStringList arguments(const QString& contact = "tester@example.org", int budget = 3) const;
    // A full-size tile of the terrain in the product's series (SRTM 1" or
    // 3DEP 1") at its published address, after the answers given first.
    RangeFile& serve(const QString& product, int south, int west, const QList<HttpResponse>& before = {});
};
