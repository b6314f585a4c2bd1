#pragma once

#include "output/EnginePreset.h"

#include <QByteArray>
#include <QImage>

class ElevationGrid;

// The corrected elevations as a 16-bit heightmap at an engine's size: 0 for
// the lowest elevation and 65535 for the highest, rounded to the nearest
// step. The samples are resampled bilinearly, each output pixel taking the
// grid at its centre's place within the rectangle (at the grid's own size,
// the grid itself); voids count as the lowest elevation.
class Heightmap16 {
public:
    Heightmap16(const ElevationGrid& grid, const EnginePreset& engine);

    // Format_Grayscale16.
    const QImage& image() const { return heights; }
    // The same samples as little-endian unsigned 16-bit integers, north row
    // first (a ".r16" file).
    QByteArray raw() const;
    // What an engine's importer is told, as JSON: the size, the elevation
    // range and the rectangle (its extent does not change with the size),
    // the metres between samples at the centre latitude, and the engine's
    // own values.
    QByteArray sidecar() const;

private:
    QImage heights;
    QJsonObject description;
};
