#pragma once

#include <QString>
#include <QUrl>

// One published series of 1° x 1° elevation tiles: where a tile lies and in
// which format. Tiles are addressed by the whole-degree south-west corner
// of the cell they cover.
//   SRTM, HGT layout:  N40/N40W106.hgt.gz covers 40..41° N, 106..105° W
//   3DEP GeoTIFF:      13/TIFF/current/n41w106/USGS_13_n41w106.tif covers
//                      the same cell (named by its north-west corner)
struct DemSeries {
    enum class Format { Hgt, GeoTiff };

    Format format = Format::Hgt;
    QUrl base;
    // The 3DEP resolution folder, "1" or "13"; unused for HGT.
    QString resolution;
    // For the metadata page and the attribution.
    QString description;
    // Short, for reason phrases: "SRTM 1 arc-second".
    QString name;

    static DemSeries srtm(const QUrl& base);
    static DemSeries ned(const QUrl& base, const QString& resolution);

    // Relative to base, e.g. "N40/N40W106.hgt.gz".
    QString path(int south, int west) const;
    QUrl url(int south, int west) const;
    // Unique among all series, for the cache folder.
    QString cacheName(int south, int west) const;
    // "N40W106" whatever the series, for messages.
    static QString cellName(int south, int west);
};
