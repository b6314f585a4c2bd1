#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

// Elevation tiles in the published layouts for the fake tile servers of the
// gateway's tests and benchmark. Every value comes from a function of the
// global cell, so a reader can tell exactly which cell a sample was taken
// from. A cell is named by the whole number of cells from the equator to
// its north edge and from the prime meridian to its west edge (for HGT,
// whose samples lie on the grid lines: the sample's own position).
namespace DemTileMaker {

// Nothing for a void.
using Height = std::function<std::optional<float>(qint64 north, qint64 west)>;

// An HGT tile, size x size samples ((size - 1) per degree), of the cell
// with the south-west corner (south, west); gzip-compressed by default.
QByteArray hgt(int south, int west, int size, const Height& height, bool compressed = true);

// A GeoTIFF tile of the national map's layout: the 1° cell with the
// south-west corner (south, west) and a buffer of extra cells around it,
// float samples, NODATA -999999, written by GDAL. False when it fails.
bool writeGeoTiff(const QString& path, int south, int west, int cellsPerDegree, int buffer,
    const Height& height, bool compressed = false);
QByteArray geoTiff(int south, int west, int cellsPerDegree, int buffer, const Height& height);

}
