#pragma once

#include "output/OutputChoice.h"
#include "texture/Tile.h"

#include <QCoreApplication>
#include <QImage>
#include <QList>
#include <QString>

#include <functional>

class CoordinateSystem;
class ElevationGrid;

// Writes the chosen additional outputs of one rectangle, all made from its
// corrected elevation image (baseName-el-corr.png) placed by the raster's
// header (baseName.hdr), in the coordinate system of its archive
// (baseName.zip) when that names one:
//   baseName-el.tif                          GeoTIFF (GeoTiffWriter)
//   baseName-height16.png, .r16, .json       heightmap (Heightmap16)
//   baseName-hillshade.png, -normal.png      shading (TerrainShading)
//   STEM.pgw and STEM.prj                    world files of every PNG of the
//       elevation grid on disk at the grid's size, and of the texture
//       (baseName.png) and the merged texture (baseName-el-col-scaled.png)
//       in Web Mercator metres, when they exist.
// Every file appears whole or not at all and is logged as "Output: FILE
// written." or with an "Output error: " line; a failed file does not stop
// the others. The work runs beside the event loop (BackgroundWork).
class AdditionalOutputs {
    Q_DECLARE_TR_FUNCTIONS(AdditionalOutputs)

public:
    AdditionalOutputs(const QString& baseName, const OutputChoice& choice);

    // The tiles the texture was stitched from; without them it is placed
    // from the elevation grid's rectangle and its own width.
    void setTextureTiles(const QList<Tile>& tiles) { textureTiles = tiles; }

    // Asked between two files; false stops the writing.
    using Continue = std::function<bool()>;

    // True when every chosen file was written (and at once when none is
    // chosen); false after a failure or a stop.
    bool write(const Continue& keepGoing = {});
    // The same from the corrected image in memory, as the import read it.
    bool write(QImage correctedImage, const Continue& keepGoing = {});

private:
    bool writeFrom(const ElevationGrid& grid, const Continue& keepGoing);
    bool writeGeoTiff(const ElevationGrid& grid, const CoordinateSystem& system);
    bool writeHeightmap(const ElevationGrid& grid);
    bool writeShading(const ElevationGrid& grid, const std::function<bool()>& goOn);
    bool writeWorldFiles(const ElevationGrid& grid, const CoordinateSystem& system);
    bool writeWorldFile(const QString& stem, const QByteArray& text, const CoordinateSystem& system);
    // Encodes on the thread pool and saves; logs the outcome.
    bool save(const std::function<QByteArray()>& encode, const QString& fileName);
    bool saveImage(const QImage& image, const QString& fileName);
    static bool logged(bool saved, const QString& fileName);

    QString baseName;
    OutputChoice choice;
    QList<Tile> textureTiles;
};
