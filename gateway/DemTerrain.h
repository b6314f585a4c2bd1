#pragma once

#include "DemSeries.h"
#include "DemTileStore.h"
#include "GeoTiffReader.h"
#include "TerrainProvider.h"

#include <QObject>

#include <optional>
#include <vector>

// The gateway's terrain. The SRTM products are cut from the SRTM 1
// arc-second series, whose samples lie on whole arc-seconds as the
// archive's do (3 arc-seconds keeps every third one). The NED products
// keep the cells of the 3DEP 1 and 1/3 arc-second series, whose edges lie
// on whole arc-seconds (or thirds), so the archive's samples are the
// source's own and its header names their centres. The topographic-change
// product has no series.
//
// Life of a load: the tiles of the grid are fetched; a grid that no tile
// covers has no data (404); the tiles are read on a worker thread, again
// after fetching the bytes that partial tiles still lack, a few passes at
// most; the log says how much of the grid the tiles cover, and where none
// does the samples are voids.
class DemTerrain : public QObject, public TerrainProvider {
    Q_OBJECT

public:
    DemTerrain(DemTileStore& tiles, const QUrl& srtm, const QUrl& ned, QObject* parent = nullptr);

    QString refusal(const ElevationProduct& product) const override;
    RasterGrid gridFor(const ElevationProduct& product, const ExtractArea& area) const override;
    void load(const ElevationProduct& product, const RasterGrid& grid, const Loaded& loaded) override;

    std::optional<DemSeries> seriesFor(const ElevationProduct& product) const;
    // The whole-degree cells (south, west) whose tiles cover the grid.
    static QList<QPair<int, int>> cellsCovering(const RasterGrid& grid);

private:
    struct Source {
        QPair<int, int> cell;
        DemTileStore::Tile tile;
        // Once read; empty (no rows) when the tile lies beside the grid.
        std::optional<DemRaster> raster;
        QList<ByteRange> missing;
    };
    struct Gathering;

    void gathered(const std::shared_ptr<Gathering>& gathering);
    void read(const std::shared_ptr<Gathering>& gathering);
    void readDone(const std::shared_ptr<Gathering>& gathering, std::vector<GeoTiffReader::Result> results);
    void fetchMissing(const std::shared_ptr<Gathering>& gathering);
    static void fail(const std::shared_ptr<Gathering>& gathering, const TerrainFailure& failure);

    DemTileStore& tiles;
    DemSeries srtm;
    DemSeries ned1;
    DemSeries ned13;
};
