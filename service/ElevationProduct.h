#pragma once

#include <QString>

// One data source of the extract service, found by the product code the
// client sends after "PL=". The products differ in resolution and in how
// their archives are written, so a client meets more than one header
// dialect, byte order and entry naming.
struct ElevationProduct {
    enum class Dialect {
        // 16-bit integers; NROWS, ULXMAP, XDIM, BYTEORDER, NODATA -32768.
        Esri,
        // 32-bit floats in a ".flt" entry; ncols, xllcorner, cellsize,
        // NODATA_value -9999, no bit count (the reader takes it from the size).
        GridFloat,
        // 32-bit floats; "KEY: value" lines such as UL_X_COORDINATE.
        Labelled,
    };

    const char* code;
    const char* title;
    int samplesPerDegree;
    Dialect dialect;
    bool bigEndian;
    bool upperCaseNames;
    // Entries inside a folder named after the archive's stem.
    bool inFolder;
    bool nad83;
    // Fixed name of the metadata page; null means the stem with ".htm".
    const char* metadataName;

    static const ElevationProduct* find(const QString& code);

    int bytesPerSample() const { return dialect == Dialect::Esri ? 2 : 4; }
    double nodata() const { return dialect == Dialect::Esri ? -32768.0 : -9999.0; }
    QString entryName(const QString& stem, const QString& suffix) const;
    QString rasterEntry(const QString& stem) const;
    QString metadataEntry(const QString& stem) const;
};
