#pragma once

#include <QFile>
#include <QString>

// The header (".hdr") of a BIL raster. open() reads it in any of several
// dialects, takes what the header leaves out from the world (".blw") and
// statistics (".stx") files next to it, derives the rest, guesses the sample
// width from the data file's size and, when something required is still
// missing, shows one error box listing every problem.
//
// Validation reports missing values and values outside what the import can
// use: 16 to 32768 rows and columns, finite upper-left coordinates and
// positive, finite pixel sizes.
class BilHeaderFile : public QFile {
    Q_OBJECT

public:
    // Marks a coordinate or pixel size that is not known; compared exactly.
    static constexpr double unset = -999999.999999;

    explicit BilHeaderFile(const QString& fileName);

    using QFile::open;
    // The file stays open for the caller to close. Returns false at once if
    // the file cannot be opened, and false after the error box if a
    // required value is missing.
    bool open(QIODevice::OpenMode mode) override;

    // Applies one key and value; false when the key (or a data type word) is
    // not recognised. Keys match by prefix in any letter case.
    bool insertEntry(QString key, const QString& value);

    // Read by the raster import after open(). open() starts them at the
    // values noted here, the coordinates and pixel sizes at unset:
    int rows; // -1: not given
    int cols; // -1: not given
    int bands; // 1
    int nbits; // -1: not given
    QString byteOrder; // "I"; the word as written
    double ulX; // centre of the upper-left pixel
    double ulY;
    double lrX; // lower-right pixel
    double lrY;
    double xllCorner; // lower-left corner
    double yllCorner;
    double pixelWidth; // map units per pixel
    double pixelHeight;
    QString mapUnits; // "pixel"; stored, not interpreted
    double nodata; // 0
    bool nodataSet; // false until a NODATA value is known
    QString layout; // "BIL"; stored, not interpreted
    int statMin; // -9999; from the statistics file
    int statMax; // 9999

private:
    void resetFields();
    void insertLine(const QString& line);
    void complete();
    void readWorldFile();
    void readStatisticsFile();
    void guessSampleWidth();
    bool validate();

    QString sideFileName(const QString& suffix) const;
    bool openSideFile(QFile& file, const QString& suffix) const;
};
