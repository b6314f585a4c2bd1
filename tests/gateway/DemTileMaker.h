#pragma once

#include <QString>

#include <functional>
#include <optional>

// Elevation tiles in the published layouts for the fake servers of the
// gateway's tests and benchmark, written to files. Every value comes from a function of the
// global cell, so a reader can tell exactly which cell a sample was taken
// from. A cell is named by the whole number of cells from the equator to
// its north edge and from the prime meridian to its west edge (for HGT,
// whose samples lie on the grid lines: the sample's own position).
namespace DemTileMaker {

// Nothing for a void.
using Height = std::function<std::optional<float>(qint64 north, qint64 west)>;

// An SRTM 1" tile as published: the cell with the south-west corner
// (south, west) in the HGT layout, 3601 x 3601 samples on whole
// arc-seconds from edge to edge, -32768 for voids, gzipped.
bool writeHgt(const QString& path, int south, int west, const Height& height);

// A 3DEP tile as published: the 1° cell with the south-west corner (south,
// west) and a buffer of 6 cells around it (3612 x 3612 cells at 3600 per
// degree, 10812 x 10812 at 10800), float samples, NODATA -999999, as a
// cloud-optimised GeoTIFF: 512 x 512 blocks, LZW with the floating-point
// predictor, internal overviews. False when it cannot be written.
bool writeGeoTiff(const QString& path, int south, int west, int cellsPerDegree, const Height& height);

}
