#pragma once

#include "DemSeries.h"

#include <QHash>
#include <QList>
#include <QString>

#include <functional>

class UpstreamClient;

// DEM tiles on disk under one folder, fetched on first use and never again.
// A tile the server does not have (404: outside the series' coverage) is
// remembered by an empty "<name>.absent" file beside where it would be.
// Several asking for the same tile meanwhile share one download.
class DemTileStore {
public:
    struct Tile {
        // The file; empty when the series has no tile for the cell.
        QString path;
        // Set when the tile could not be had, for a reason phrase.
        QString failure;
    };
    using Ready = std::function<void(const Tile& tile)>;

    DemTileStore(const QString& directory, UpstreamClient& upstream);

    // Calls ready at once for a tile on disk, else when its download ends.
    void fetch(const DemSeries& series, int south, int west, const Ready& ready);

private:
    void finish(const QString& path, const Tile& tile);

    QString directory;
    UpstreamClient& upstream;
    QHash<QString, QList<Ready>> waiting;
};
