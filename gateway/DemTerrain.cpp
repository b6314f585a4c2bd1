#include "DemTerrain.h"

#include "DemMosaic.h"
#include "DemTileStore.h"
#include "GeoTiffReader.h"
#include "HgtReader.h"

#include <QFutureWatcher>
#include <QtConcurrent>

#include <cmath>

// The tiles of one load, as their downloads come in.
struct DemTerrain::Gathering {
    DemSeries series;
    RasterGrid grid;
    Loaded loaded;
    int outstanding = 0;
    // Cell and file; an empty file is a cell outside the series' coverage.
    QList<std::pair<QPair<int, int>, QString>> files;
    QString failure;
};

namespace {

struct Reading {
    std::vector<DemRaster> tiles;
    QString failure;
};

}

DemTerrain::DemTerrain(DemTileStore& tiles, const QUrl& srtm, const QUrl& ned, QObject* parent)
    : QObject(parent)
    , tiles(tiles)
    , srtm(DemSeries::srtm(srtm))
    , ned1(DemSeries::ned(ned, QStringLiteral("1")))
    , ned13(DemSeries::ned(ned, QStringLiteral("13")))
{
}

std::optional<DemSeries> DemTerrain::seriesFor(const ElevationProduct& product) const
{
    const QLatin1String code(product.code);
    if (code == QLatin1String("SM905HZ") || code == QLatin1String("SM305HZ"))
        return srtm;
    if (code == QLatin1String("NED05HZ"))
        return ned1;
    if (code == QLatin1String("ND305HZ"))
        return ned13;
    return std::nullopt;
}

QString DemTerrain::refusal(const ElevationProduct& product) const
{
    if (seriesFor(product))
        return {};
    return QStringLiteral("%1 has no modern equivalent; choose SRTM or NED in the settings")
        .arg(QLatin1String(product.title));
}

QList<QPair<int, int>> DemTerrain::cellsCovering(const RasterGrid& grid)
{
    const double north = grid.latitude(0);
    const double south = grid.latitude(grid.rows - 1);
    const double west = grid.longitude(0);
    const double east = grid.longitude(grid.columns - 1);
    // A tile holds its borders, so an edge on a whole degree needs no
    // tile beyond it.
    const int bottom = int(std::floor(south));
    const int top = std::max(bottom, int(std::ceil(north)) - 1);
    const int left = int(std::floor(west));
    const int right = std::max(left, int(std::ceil(east)) - 1);
    QList<QPair<int, int>> cells;
    for (int latitude = top; latitude >= bottom; --latitude) {
        for (int longitude = left; longitude <= right; ++longitude)
            cells.append({ latitude, longitude });
    }
    return cells;
}

void DemTerrain::load(const ElevationProduct& product, const RasterGrid& grid, const Loaded& loaded)
{
    const std::optional<DemSeries> series = seriesFor(product);
    if (!series) {
        loaded(nullptr, refusal(product));
        return;
    }
    const QList<QPair<int, int>> cells = cellsCovering(grid);
    auto gathering
        = std::make_shared<Gathering>(Gathering { *series, grid, loaded, int(cells.size()), {}, {} });
    for (const auto& cell : cells) {
        tiles.fetch(
            *series, cell.first, cell.second, [this, gathering, cell](const DemTileStore::Tile& tile) {
                gathering->files.append({ cell, tile.path });
                if (gathering->failure.isEmpty())
                    gathering->failure = tile.failure;
                if (--gathering->outstanding == 0)
                    read(gathering);
            });
    }
}

void DemTerrain::read(const std::shared_ptr<Gathering>& gathering)
{
    if (!gathering->failure.isEmpty()) {
        gathering->loaded(nullptr, gathering->failure);
        return;
    }
    const RasterGrid& grid = gathering->grid;
    const GeoBounds bounds { grid.latitude(0), grid.latitude(grid.rows - 1), grid.longitude(grid.columns - 1),
        grid.longitude(0) };
    auto* watcher = new QFutureWatcher<Reading>(this);
    connect(watcher, &QFutureWatcher<Reading>::finished, this, [watcher, gathering] {
        watcher->deleteLater();
        Reading reading = watcher->result();
        if (!reading.failure.isEmpty())
            gathering->loaded(nullptr, reading.failure);
        else
            gathering->loaded(std::make_shared<DemMosaic>(gathering->grid, std::move(reading.tiles),
                                  QStringLiteral("Cut from the %1.").arg(gathering->series.description)),
                {});
    });
    // In cell order, so the tile that wins on a shared border is always the same.
    std::sort(gathering->files.begin(), gathering->files.end());
    watcher->setFuture(QtConcurrent::run([gathering, bounds] {
        Reading reading;
        for (const auto& [cell, path] : gathering->files) {
            if (path.isEmpty())
                continue;
            std::optional<DemRaster> tile = gathering->series.format == DemSeries::Format::Hgt
                ? HgtReader::read(path, cell.first, cell.second, bounds)
                : GeoTiffReader::read(path, bounds);
            if (!tile) {
                // Fetched again next time.
                QFile::remove(path);
                reading.failure = QStringLiteral("DEM tile %1 is unreadable")
                                      .arg(DemSeries::cellName(cell.first, cell.second));
                break;
            }
            if (tile->rows > 0)
                reading.tiles.push_back(std::move(*tile));
        }
        return reading;
    }));
}
