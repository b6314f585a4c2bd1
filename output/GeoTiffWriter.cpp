#include "GeoTiffWriter.h"

#include "output/CoordinateSystem.h"
#include "output/ElevationGrid.h"

#include <QAtomicInteger>
#include <QCoreApplication>
#include <QFile>

#include <cpl_error.h>
#include <gdal_priv.h>

#include <cstdio>
#include <memory>

namespace {

struct DatasetCloser {
    void operator()(GDALDataset* dataset) const { GDALClose(dataset); }
};

bool writeTo(const QByteArray& name, const ElevationGrid& grid, const CoordinateSystem& system)
{
    static const bool registered = (GDALAllRegister(), true);
    Q_UNUSED(registered);
    // GDAL keeps its last error per thread; a failed write while the data
    // are flushed leaves one.
    CPLErrorReset();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    if (!driver)
        return false;
    const char* const options[] = { "BIGTIFF=IF_SAFER", nullptr };
    const std::unique_ptr<GDALDataset, DatasetCloser> dataset(driver->Create(
        name.constData(), grid.width(), grid.height(), 1, GDT_Float32, const_cast<char**>(options)));
    if (!dataset)
        return false;
    std::array<double, 6> transform = grid.geometry().geoTransform();
    GDALRasterBand* band = dataset->GetRasterBand(1);
    return dataset->SetGeoTransform(transform.data()) == CE_None
        && dataset->SetProjection(system.wkt().constData()) == CE_None
        && band->SetNoDataValue(ElevationGrid::nodata) == CE_None
        && band->RasterIO(GF_Write, 0, 0, grid.width(), grid.height(), const_cast<float*>(grid.data()),
               grid.width(), grid.height(), GDT_Float32, 0, 0, nullptr)
        == CE_None
        && (dataset->FlushCache(), CPLGetLastErrorType() != CE_Failure);
}

} // namespace

bool GeoTiffWriter::write(const ElevationGrid& grid, const CoordinateSystem& system, const QString& fileName)
{
    // GDAL makes the file itself, so it gets the permissions of any new
    // file; the name is this process's and this call's alone.
    static QAtomicInteger<quint64> count;
    const QByteArray temporary = QFile::encodeName(QStringLiteral("%1.%2-%3.tmp")
                                                       .arg(fileName)
                                                       .arg(QCoreApplication::applicationPid())
                                                       .arg(count.fetchAndAddRelaxed(1)));
    // Replacing the name is atomic: a reader finds the old file or the new one.
    if (writeTo(temporary, grid, system)
        && std::rename(temporary.constData(), QFile::encodeName(fileName).constData()) == 0)
        return true;
    QFile::remove(QFile::decodeName(temporary));
    return false;
}
