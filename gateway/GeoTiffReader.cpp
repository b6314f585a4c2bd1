#include "GeoTiffReader.h"

#include "PartialFileMount.h"

#include <QFile>

#include <cpl_error.h>
#include <gdal.h>

#include <limits>
#include <memory>

namespace {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
using Dataset = std::unique_ptr<void, DatasetCloser>;

// A cloud-optimised tile may keep the size of a block in the four bytes
// before it and repeat its last four bytes after it; GDAL reads them along.
constexpr qint64 blockMargin = 4;

// Tiles only, and no looking around for side files, which would be fetched too.
Dataset open(const QString& path)
{
    static const bool registered = (GDALAllRegister(), true);
    Q_UNUSED(registered);
    const char* const drivers[] = { "GTiff", nullptr };
    const char* const noSiblings[] = { nullptr };
    return Dataset(GDALOpenEx(QFile::encodeName(path).constData(), GDAL_OF_RASTER | GDAL_OF_READONLY, drivers,
        nullptr, noSiblings));
}

qint64 blockItem(GDALRasterBandH band, const char* item, int x, int y)
{
    const QByteArray name = QStringLiteral("%1_%2_%3").arg(QLatin1String(item)).arg(x).arg(y).toLatin1();
    const char* value = GDALGetMetadataItem(band, name.constData(), "TIFF");
    return value ? QByteArray(value).toLongLong() : 0;
}

// The bytes of the blocks that hold the window.
QList<ByteRange> blockBytes(GDALRasterBandH band, const DemRaster::Window& window)
{
    int width = 0;
    int height = 0;
    GDALGetBlockSize(band, &width, &height);
    QList<ByteRange> bytes;
    for (int y = window.firstRow / height; y <= (window.firstRow + window.rows - 1) / height; ++y) {
        for (int x = window.firstColumn / width; x <= (window.firstColumn + window.columns - 1) / width;
             ++x) {
            const qint64 offset = blockItem(band, "BLOCK_OFFSET", x, y);
            if (offset > 0)
                bytes.append({ offset - blockMargin, blockItem(band, "BLOCK_SIZE", x, y) + 2 * blockMargin });
        }
    }
    return bytes;
}

}

GeoTiffReader::Result GeoTiffReader::read(const QString& path, const GeoBounds& bounds)
{
    return read(path, bounds, nullptr);
}

GeoTiffReader::Result GeoTiffReader::read(const PartialFile& file, const GeoBounds& bounds)
{
    const PartialFileMount mount(file);
    // Reading zeros where bytes are missing makes GDAL complain; that is expected.
    CPLPushErrorHandler(CPLQuietErrorHandler);
    Result result = read(mount.path(), bounds, &file);
    CPLPopErrorHandler();
    const QList<ByteRange> misses = mount.misses();
    if (misses.isEmpty())
        return result;
    return { std::nullopt, file.missing(result.missing + misses) };
}

GeoTiffReader::Result GeoTiffReader::read(
    const QString& path, const GeoBounds& bounds, const PartialFile* partial)
{
    const Dataset dataset = open(path);
    double transform[6];
    if (!dataset || GDALGetRasterCount(dataset.get()) < 1
        || GDALGetGeoTransform(dataset.get(), transform) != CE_None || transform[2] != 0 || transform[4] != 0
        || transform[1] <= 0 || transform[5] >= 0)
        return {};
    const int width = GDALGetRasterXSize(dataset.get());
    const int height = GDALGetRasterYSize(dataset.get());
    DemRaster tile;
    tile.cellWidth = transform[1];
    tile.cellHeight = -transform[5];
    const std::optional<DemRaster::Window> window = DemRaster::window(
        transform[3], transform[0], tile.cellHeight, tile.cellWidth, height, width, bounds);
    if (!window)
        return { DemRaster {}, {} };
    GDALRasterBandH band = GDALGetRasterBand(dataset.get(), 1);
    if (partial) {
        const QList<ByteRange> missing = partial->missing(blockBytes(band, *window));
        if (!missing.isEmpty())
            return { std::nullopt, missing };
    }
    tile.north = transform[3] - window->firstRow * tile.cellHeight;
    tile.west = transform[0] + window->firstColumn * tile.cellWidth;
    tile.rows = window->rows;
    tile.columns = window->columns;
    tile.samples.resize(std::size_t(tile.rows) * std::size_t(tile.columns));
    if (GDALRasterIO(band, GF_Read, window->firstColumn, window->firstRow, tile.columns, tile.rows,
            tile.samples.data(), tile.columns, tile.rows, GDT_Float32, 0, 0)
        != CE_None)
        return {};
    int hasNodata = 0;
    const auto nodata = float(GDALGetRasterNoDataValue(band, &hasNodata));
    for (float& sample : tile.samples) {
        if (!std::isfinite(sample) || (hasNodata && sample == nodata))
            sample = std::numeric_limits<float>::quiet_NaN();
    }
    return { std::move(tile), {} };
}
