#pragma once

#include <QByteArray>
#include <QString>

class OGRSpatialReference;

// A coordinate system as the output files carry it: WKT for GDAL and the
// ESRI dialect for ".prj" files, which every GIS reads.
class CoordinateSystem {
public:
    // The raster's own geographic system: from the ".prj" entry of the
    // archive it came in, when there is one GDAL understands; WGS 84 else.
    static CoordinateSystem ofArchive(const QString& archiveFile);
    static CoordinateSystem wgs84();
    // EPSG:3857, the system of the map tiles.
    static CoordinateSystem webMercator();

    QByteArray wkt() const { return gdalWkt; }
    QByteArray prj() const { return esriWkt; }

private:
    static CoordinateSystem of(const OGRSpatialReference& system);
    static CoordinateSystem ofEpsg(int code);

    QByteArray gdalWkt;
    QByteArray esriWkt;
};
