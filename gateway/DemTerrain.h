#pragma once

#include "DemSeries.h"
#include "TerrainProvider.h"

#include <QObject>

#include <optional>

class DemTileStore;

// The gateway's terrain: the SRTM products are cut from the SRTM 1
// arc-second series (3 arc-seconds keeps every third sample, as the grid
// falls on every third one), the NED products from the 3DEP 1 and 1/3
// arc-second series; the topographic-change product has no series. The
// tiles of a grid are fetched first, then read on a worker thread.
class DemTerrain : public QObject, public TerrainProvider {
    Q_OBJECT

public:
    DemTerrain(DemTileStore& tiles, const QUrl& srtm, const QUrl& ned, QObject* parent = nullptr);

    QString refusal(const ElevationProduct& product) const override;
    void load(const ElevationProduct& product, const RasterGrid& grid, const Loaded& loaded) override;

    std::optional<DemSeries> seriesFor(const ElevationProduct& product) const;
    // The whole-degree cells (south, west) whose tiles cover the grid.
    static QList<QPair<int, int>> cellsCovering(const RasterGrid& grid);

private:
    struct Gathering;

    void read(const std::shared_ptr<Gathering>& gathering);

    DemTileStore& tiles;
    DemSeries srtm;
    DemSeries ned1;
    DemSeries ned13;
};
