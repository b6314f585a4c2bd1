#pragma once

#include <QImage>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QStringList>

class ImportFeedback;

// Fills the NODATA areas (spots) of an image: a 4-connected area of black
// mask pixels gets values interpolated from the pixels around it, weighted by
// the inverse fourth power of the distance. The scan starts a spot only where
// a non-white run begins, and a run may go on over a row end: a row that ends
// in NODATA hides a spot that starts the next row, which is then filled only
// if it reaches down to a later run start. Failures come back as a result
// code, with one message in messages.
class DustRemoval : public QObject {
    Q_OBJECT

public:
    enum Result {
        Success = 0,
        InputNotLoaded = 1,
        MaskNotLoaded = 3,
        SizeMismatch = 4,
        OutputExists = 5,
        OutputNotSaved = 6,
        NoOutputName = 7
    };

    // The whole job: load the input and the mask (or, with an empty mask
    // file name, take as NODATA every pixel of exactly the colour color),
    // fill, save. The scan's progress is the import's correcting stage, and
    // the feedback (which may be null) is told about the saving. Loading and
    // saving run on the thread pool while pending events are processed.
    int removeDust(const QString& inputFile, const QString& maskFile, const QString& outputFile,
        bool overwrite, const unsigned int& color, bool elevationFile, ImportFeedback* feedback);
    // Scans mask and fills image in place; both must be loaded and of one
    // size. Reports row y as step y + 1 of height + 1 to the feedback (which
    // may be null). Processes pending events after every row and while large
    // spots are computed. Always returns Success.
    int removeDust(ImportFeedback* feedback);

    // Paint one spot of image from its border; both lists non-empty. A border
    // of one value is copied as it is; otherwise paintSpot truncates the
    // weighted red, green and blue, and paintSpotOnElevationFile rounds the
    // weighted elevation half away from zero. Large spots are weighted on
    // the thread pool while pending events are processed.
    void paintSpot(const QList<QPoint>& spot, const QList<QPoint>& border);
    void paintSpotOnElevationFile(const QList<QPoint>& spot, const QList<QPoint>& border);

    // The raw signed 24-bit integer an elevation image keeps in a pixel.
    static int elevation(const QImage& image, int x, int y);

    QStringList messages;
    QImage image;
    // Pixels with red, green and blue all 255 hold data; any other is NODATA.
    QImage mask;
    bool elevationFile = false;

private:
    int inSpot = 0;
};
