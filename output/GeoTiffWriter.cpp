#include "GeoTiffWriter.h"

#include "output/CoordinateSystem.h"
#include "output/ElevationGrid.h"

#include <QAtomicInteger>

#include <cpl_string.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>

#include <memory>

namespace {

struct DatasetCloser {
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};

QByteArray uniqueMemoryFileName()
{
    static QAtomicInteger<quint64> count;
    return "/vsimem/relka-" + QByteArray::number(count.fetchAndAddRelaxed(1)) + ".tif";
}

// Writes the file in memory; false when GDAL fails.
bool writeTo(const char* name, const ElevationGrid& grid, const CoordinateSystem& system)
{
    static const bool registered = (GDALAllRegister(), true);
    Q_UNUSED(registered);
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    if (!driver)
        return false;
    // Floats compress well once each is replaced by its difference to
    // its left neighbour.
    CPLStringList options;
    options.SetNameValue("COMPRESS", "DEFLATE");
    options.SetNameValue("PREDICTOR", "3");
    options.SetNameValue("ZLEVEL", "1");
    options.SetNameValue("BIGTIFF", "IF_SAFER");
    const std::unique_ptr<GDALDataset, DatasetCloser> dataset(
        driver->Create(name, grid.width(), grid.height(), 1, GDT_Float32, options.List()));
    if (!dataset)
        return false;
    std::array<double, 6> transform = grid.geometry().geoTransform();
    GDALRasterBand* band = dataset->GetRasterBand(1);
    return dataset->SetGeoTransform(transform.data()) == CE_None
        && dataset->SetProjection(system.wkt().constData()) == CE_None
        && band->SetNoDataValue(ElevationGrid::nodata) == CE_None
        && band->RasterIO(GF_Write, 0, 0, grid.width(), grid.height(), const_cast<float*>(grid.data()),
               grid.width(), grid.height(), GDT_Float32, 0, 0, nullptr)
        == CE_None;
}

} // namespace

QByteArray GeoTiffWriter::encode(const ElevationGrid& grid, const CoordinateSystem& system)
{
    const QByteArray name = uniqueMemoryFileName();
    const bool written = writeTo(name.constData(), grid, system);
    vsi_l_offset length = 0;
    GByte* bytes = VSIGetMemFileBuffer(name.constData(), &length, TRUE);
    QByteArray file;
    if (written && bytes)
        file = QByteArray(reinterpret_cast<const char*>(bytes), qsizetype(length));
    CPLFree(bytes);
    return file;
}
