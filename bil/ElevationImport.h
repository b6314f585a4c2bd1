#pragma once

#include "image/PngWriter.h"

#include <QCoreApplication>
#include <QString>

class ElevationImage;
class ImportFeedback;
class QFile;
class QImage;

// Turns a downloaded BIL raster (baseName + ".bil" with its ".hdr") into the
// elevation work files: "-el-uncorr.png" and "-el-m.png" when the raster has
// a NODATA value, "-el-corr.png" with the holes filled and the colour-coded
// "-el-col.png". Made for one import and dropped afterwards. Needs no window:
// the progress, the preview and the saving of each work file are reported to
// the feedback, the question about a TIFF-wrapped raster goes to MessageBoxes.
//
// The work runs on the calling thread, apart from the long single calls
// (PNG encoding and decoding, the preview's scaling), which run on the
// thread pool. Pending events are processed after every image row and every
// few milliseconds during those calls, so other slots may run in the middle
// of an import. The feedback must outlive the object.
class ElevationImport {
    // The texts keep the translation context of the dialog's import.
    Q_DECLARE_TR_FUNCTIONS(BilImport)

public:
    ElevationImport(const QString& baseName, ImportFeedback& feedback);

    // The whole import. True only when the colour file was saved; every
    // failure logs a line (or was answered in a box) and returns false.
    // Work files written before a failure stay on disk.
    bool run();

private:
    struct RasterWindow;
    class SampleConverter;

    // False when the user declines to read a TIFF-wrapped raster from its start.
    bool findDataOffset(QFile& dataFile, qint64& offset);
    void readRaster(QFile& dataFile, const RasterWindow& window, qint64 dataOffset,
        SampleConverter& converter, ElevationImage& image);
    void logOutOfMemory(int width, int height);
    bool replaceNodata(ElevationImage& image);
    // Black at NODATA pixels, white elsewhere (null when memory runs out); counts the NODATA pixels.
    ElevationImage nodataMask(const ElevationImage& image, qint64& count);
    // Saves the uncorrected image and the mask, encoded side by side.
    bool saveUncorrectedAndMask(const ElevationImage& image, const ElevationImage& mask,
        const QString& uncorrectedFile, const QString& maskFile);
    void setNodataToZero(ElevationImage& image);
    bool writeColorFile(double cosLat);
    void showPreview(const QImage& image, double cosLat);
    // Saves on the thread pool, telling the feedback, and logs a failure.
    bool save(const QImage& image, const QString& fileName, PngWriter::Content content);
    bool logFailedSave(bool saved, const QString& fileName);

    QString baseName;
    ImportFeedback& feedback;
};
