#include "DemTerrain.h"

#include "DemMosaic.h"
#include "HgtReader.h"

#include <QFutureWatcher>
#include <QtConcurrent>

#include <cmath>

namespace {

// The header, then the blocks; one more for a server that answers in
// smaller pieces than asked for.
constexpr int maximumPasses = 4;

}

// The tiles of one load, as their downloads and readings come in.
struct DemTerrain::Gathering {
    DemSeries series;
    RasterGrid grid;
    Loaded loaded;
    int outstanding = 0;
    std::vector<Source> sources;
    std::optional<TerrainFailure> failure;
    int passes = 0;
};

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

RasterGrid DemTerrain::gridFor(const ElevationProduct& product, const ExtractArea& area) const
{
    const std::optional<DemSeries> series = seriesFor(product);
    if (series && series->format == DemSeries::Format::GeoTiff)
        return RasterGrid::cellsCovering(area, product.samplesPerDegree);
    return TerrainProvider::gridFor(product, area);
}

QList<QPair<int, int>> DemTerrain::cellsCovering(const RasterGrid& grid)
{
    const double north = grid.latitude(0);
    const double south = grid.latitude(grid.rows - 1);
    const double west = grid.longitude(0);
    const double east = grid.longitude(grid.columns - 1);
    // A tile holds its borders, so a sample on a whole degree needs no
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
        loaded(nullptr, { 410, refusal(product) });
        return;
    }
    const QList<QPair<int, int>> cells = cellsCovering(grid);
    auto gathering
        = std::make_shared<Gathering>(Gathering { *series, grid, loaded, int(cells.size()), {}, {}, 0 });
    for (const auto& cell : cells) {
        tiles.fetch(
            *series, cell.first, cell.second, [this, gathering, cell](const DemTileStore::Tile& tile) {
                gathering->sources.push_back({ cell, tile, std::nullopt, {} });
                if (!gathering->failure)
                    gathering->failure = tile.failure;
                if (--gathering->outstanding == 0)
                    gathered(gathering);
            });
    }
}

void DemTerrain::gathered(const std::shared_ptr<Gathering>& gathering)
{
    if (gathering->failure) {
        fail(gathering, *gathering->failure);
        return;
    }
    // In cell order, so the tile that wins on a shared border is always the same.
    std::sort(gathering->sources.begin(), gathering->sources.end(),
        [](const Source& a, const Source& b) { return a.cell < b.cell; });
    // The rectangle the samples stand for: a cell's reaches to its edges.
    const RasterGrid& grid = gathering->grid;
    const double half = grid.cellCentred ? grid.step() / 2 : 0;
    const double north = grid.latitude(0) + half;
    const double south = grid.latitude(grid.rows - 1) - half;
    const double west = grid.longitude(0) - half;
    const double east = grid.longitude(grid.columns - 1) + half;
    double covered = 0;
    QStringList absent;
    for (const Source& source : gathering->sources) {
        const auto [cellSouth, cellWest] = source.cell;
        if (source.tile.path.isEmpty())
            absent.append(DemSeries::cellName(cellSouth, cellWest));
        else
            covered += std::max(0.0, std::min(north, cellSouth + 1.0) - std::max(south, double(cellSouth)))
                * std::max(0.0, std::min(east, cellWest + 1.0) - std::max(west, double(cellWest)));
    }
    const double whole = (north - south) * (east - west);
    const double percent = absent.size() == qsizetype(gathering->sources.size()) ? 0
        : whole > 0                                                              ? 100 * covered / whole
                                                                                 : 100;
    qInfo().noquote() << QStringLiteral("%1 covers %2 % of %3,%4,%5,%6%7")
                             .arg(gathering->series.name)
                             .arg(percent, 0, 'f', 1)
                             .arg(north, 0, 'g', 10)
                             .arg(south, 0, 'g', 10)
                             .arg(east, 0, 'g', 10)
                             .arg(west, 0, 'g', 10)
                             .arg(absent.isEmpty()
                                     ? QString()
                                     : QStringLiteral("; no tile for %1").arg(absent.join(QLatin1Char(' '))));
    if (absent.size() == qsizetype(gathering->sources.size())) {
        fail(gathering,
            { 404, QStringLiteral("%1 has no data for this rectangle").arg(gathering->series.name) });
        return;
    }
    read(gathering);
}

void DemTerrain::read(const std::shared_ptr<Gathering>& gathering)
{
    const RasterGrid& grid = gathering->grid;
    const GeoBounds bounds { grid.latitude(0), grid.latitude(grid.rows - 1), grid.longitude(grid.columns - 1),
        grid.longitude(0) };
    std::vector<std::pair<QPair<int, int>, DemTileStore::Tile>> unread;
    for (const Source& source : gathering->sources) {
        if (!source.raster && !source.tile.path.isEmpty())
            unread.emplace_back(source.cell, source.tile);
    }
    ++gathering->passes;
    auto* watcher = new QFutureWatcher<std::vector<GeoTiffReader::Result>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, gathering] {
        watcher->deleteLater();
        readDone(gathering, watcher->result());
    });
    const bool hgt = gathering->series.format == DemSeries::Format::Hgt;
    watcher->setFuture(QtConcurrent::run([unread, bounds, hgt] {
        std::vector<GeoTiffReader::Result> results;
        for (const auto& [cell, tile] : unread) {
            if (hgt)
                results.push_back({ HgtReader::read(tile.path, cell.first, cell.second, bounds), {} });
            else if (tile.partial)
                results.push_back(GeoTiffReader::read(PartialFile(tile.path), bounds));
            else
                results.push_back(GeoTiffReader::read(tile.path, bounds));
        }
        return results;
    }));
}

void DemTerrain::readDone(
    const std::shared_ptr<Gathering>& gathering, std::vector<GeoTiffReader::Result> results)
{
    auto result = results.begin();
    bool incomplete = false;
    for (Source& source : gathering->sources) {
        if (source.raster || source.tile.path.isEmpty())
            continue;
        source.raster = std::move(result->raster);
        source.missing = result->missing;
        ++result;
        incomplete = incomplete || !source.missing.isEmpty();
        if (!source.raster && source.missing.isEmpty()) {
            // Fetched again next time.
            QFile::remove(source.tile.path);
            PartialFile(source.tile.path).remove();
            fail(gathering,
                { 502,
                    QStringLiteral("DEM tile %1 is unreadable")
                        .arg(DemSeries::cellName(source.cell.first, source.cell.second)) });
            return;
        }
    }
    if (incomplete && gathering->passes >= maximumPasses) {
        fail(gathering,
            { 502, QStringLiteral("DEM tiles still incomplete after %1 passes").arg(maximumPasses) });
    } else if (incomplete) {
        fetchMissing(gathering);
    } else {
        std::vector<DemRaster> rasters;
        for (Source& source : gathering->sources) {
            if (source.raster && source.raster->rows > 0)
                rasters.push_back(std::move(*source.raster));
        }
        gathering->loaded(std::make_shared<DemMosaic>(gathering->grid, std::move(rasters),
                              QStringLiteral("Cut from the %1.").arg(gathering->series.description)),
            {});
    }
}

void DemTerrain::fetchMissing(const std::shared_ptr<Gathering>& gathering)
{
    gathering->outstanding = 0;
    for (std::size_t i = 0; i < gathering->sources.size(); ++i) {
        Source& source = gathering->sources[i];
        if (source.missing.isEmpty())
            continue;
        ++gathering->outstanding;
        tiles.fetchRanges(gathering->series, source.cell.first, source.cell.second, source.missing,
            [this, gathering, i](const DemTileStore::Tile& tile) {
                gathering->sources[i].tile = tile;
                gathering->sources[i].missing.clear();
                if (!gathering->failure)
                    gathering->failure = tile.failure;
                if (--gathering->outstanding > 0)
                    return;
                if (gathering->failure)
                    fail(gathering, *gathering->failure);
                else
                    read(gathering);
            });
    }
}

void DemTerrain::fail(const std::shared_ptr<Gathering>& gathering, const TerrainFailure& failure)
{
    gathering->loaded(nullptr, failure);
}
