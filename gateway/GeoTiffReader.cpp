#include "GeoTiffReader.h"

#include <QFile>

#include <gdal.h>

#include <limits>
#include <memory>

namespace {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, DatasetCloser>;

}

std::optional<DemRaster> GeoTiffReader::read(const QString& path, const GeoBounds& bounds)
{
    static const bool registered = (GDALAllRegister(), true);
    Q_UNUSED(registered);
    const Dataset dataset(GDALOpen(QFile::encodeName(path).constData(), GA_ReadOnly));
    double transform[6];
    if (!dataset || GDALGetRasterCount(dataset.get()) < 1
        || GDALGetGeoTransform(dataset.get(), transform) != CE_None || transform[2] != 0 || transform[4] != 0
        || transform[1] <= 0 || transform[5] >= 0)
        return std::nullopt;
    const int width = GDALGetRasterXSize(dataset.get());
    const int height = GDALGetRasterYSize(dataset.get());
    DemRaster tile;
    tile.cellWidth = transform[1];
    tile.cellHeight = -transform[5];
    const std::optional<DemRaster::Window> window = DemRaster::window(
        transform[3], transform[0], tile.cellHeight, tile.cellWidth, height, width, bounds);
    if (!window)
        return DemRaster {};
    tile.north = transform[3] - window->firstRow * tile.cellHeight;
    tile.west = transform[0] + window->firstColumn * tile.cellWidth;
    tile.rows = window->rows;
    tile.columns = window->columns;
    tile.samples.resize(std::size_t(tile.rows) * std::size_t(tile.columns));
    GDALRasterBandH band = GDALGetRasterBand(dataset.get(), 1);
    if (GDALRasterIO(band, GF_Read, window->firstColumn, window->firstRow, tile.columns, tile.rows,
            tile.samples.data(), tile.columns, tile.rows, GDT_Float32, 0, 0)
        != CE_None)
        return std::nullopt;
    int hasNodata = 0;
    const auto nodata = float(GDALGetRasterNoDataValue(band, &hasNodata));
    for (float& sample : tile.samples) {
        if (!std::isfinite(sample) || (hasNodata && sample == nodata))
            sample = std::numeric_limits<float>::quiet_NaN();
    }
    return tile;
}
