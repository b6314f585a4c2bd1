#pragma once

#include "ElevationProduct.h"
#include "ExtractArea.h"

#include <QByteArray>

// Summary of the valid samples of a raster, for the statistics entry.
struct RasterStatistics {
    double minimum = 0;
    double maximum = 0;
    double mean = 0;
    double deviation = 0;
};

// The small text entries that travel with a raster: its header in the
// product's dialect, the world file, the statistics, the projection and a
// metadata page.
class RasterSideFiles {
public:
    RasterSideFiles(const ElevationProduct& product, const ExtractArea& area, const RasterGrid& grid);

    QByteArray header() const;
    QByteArray worldFile() const;
    QByteArray statistics(const RasterStatistics& statistics) const;
    QByteArray projection() const;
    QByteArray metadataPage(const QString& origin) const;

private:
    QByteArray esriHeader() const;
    QByteArray gridFloatHeader() const;
    QByteArray labelledHeader() const;

    const ElevationProduct& product;
    const ExtractArea& area;
    const RasterGrid& grid;
};
