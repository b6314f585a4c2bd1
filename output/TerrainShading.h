#pragma once

#include <QImage>

class ElevationGrid;

// Pictures of the terrain's slopes on the elevation grid's own pixels. The
// slopes are Horn's: each from the eight neighbours of a sample, weighted
// 1-2-1, with the metres between samples taken at the sample's latitude on
// the WGS 84 ellipsoid. At the image's edges the missing neighbours are the
// edge samples themselves, over the shorter distance; a void neighbour
// counts as the sample itself, and a void sample is flat.
class TerrainShading {
public:
    static constexpr double sunAzimuthDegrees = 315;
    static constexpr double sunAltitudeDegrees = 45;

    // Both pictures come from one pass over the slopes; a picture not asked
    // for stays null.
    TerrainShading(const ElevationGrid& grid, bool withHillshade, bool withNormalMap);

    // 8-bit grey: the cosine of the angle between the surface's normal and
    // the direction of the sun, times 255 (255 facing the sun, 0 turned
    // away from it or in its own shadow).
    const QImage& hillshade() const { return shade; }

    // 8-bit RGB, tangent space as OpenGL takes it: the unit normal's east,
    // north and up components, each mapped from -1 ... 1 to 0 ... 255.
    const QImage& normalMap() const { return normals; }

private:
    QImage shade;
    QImage normals;
};
