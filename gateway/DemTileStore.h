#pragma once

#include "DemSeries.h"
#include "PartialFile.h"
#include "TerrainProvider.h"

#include <QHash>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

class UpstreamClient;

// DEM tiles on disk under one folder, fetched on first use and never again.
// A tile the server does not have (404: outside the series' coverage) is
// remembered by an empty "<name>.absent" file beside where it would be.
// GeoTIFF tiles are asked for with a range request for their first bytes:
// a server that serves ranges starts a PartialFile, which grows by the
// ranges its readers ask for; one that ignores ranges sends the whole tile.
// Several asking for the same tile meanwhile share one download.
class DemTileStore {
public:
    struct Tile {
        // The whole file, or (when partial) the PartialFile's path; empty
        // when the series has no tile for the cell.
        QString path = {};
        bool partial = false;
        // Set when the tile could not be had.
        std::optional<TerrainFailure> failure = {};
    };
    using Ready = std::function<void(const Tile& tile)>;

    DemTileStore(const QString& directory, UpstreamClient& upstream);

    // Calls ready at once for a tile on disk, else when its download ends.
    void fetch(const DemSeries& series, int south, int west, const Ready& ready);
    // Adds the ranges to a partial tile; ready gets the tile as it is then
    // (whole, when the server sent all of it instead).
    void fetchRanges(
        const DemSeries& series, int south, int west, const QList<ByteRange>& ranges, const Ready& ready);

private:
    QString pathOf(const DemSeries& series, int south, int west) const;
    void finish(const QString& path, const Tile& tile);

    QString directory;
    UpstreamClient& upstream;
    QHash<QString, QList<Ready>> waiting;
};
