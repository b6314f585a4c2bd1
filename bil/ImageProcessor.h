#pragma once

#include "bil/PointOrder.h"

#include <QImage>
#include <QList>
#include <QPoint>

#include <vector>

// A scan-line flood fill over a private copy of an image. One fill collects
// the 4-connected area of pixels matching a colour around a start pixel and
// the pixels bordering it; the area is painted in the copy, so a later fill
// started inside it finds nothing. The copy is made row by row as rows are
// painted: a large mask with a few small holes costs only those rows.
class ImageProcessor {
public:
    explicit ImageProcessor(const QImage& image);

    // fillColor must lie outside the matched range, or the fill never ends.
    // A large fill processes pending events every few milliseconds.
    void floodFill2(int x, int y, unsigned int targetColor, unsigned int fillColor, int tolerance);

    // The 32-bit pixel layout both the fill and its callers walk with scan
    // lines; images already in it are shared, not copied.
    static QImage withArgbPixels(const QImage& image);

    // Filled pixels, span by span in the order they were filled.
    QList<QPoint> spotPoints;
    // 4-neighbours of the filled area that neither match nor carry the fill
    // colour; sorted by the point order, each once.
    QList<QPoint> borderPoints;

private:
    // Pixels of one row from first to last, queued in one go; they are taken
    // one by one in that order, as if each had been queued on its own.
    struct Run {
        int row;
        int first;
        int last;
    };

    bool matches(QRgb pixel) const;
    const QRgb* line(int row) const;
    QRgb* paintedLine(int row);
    void fillSpan(int x, int row);
    void scanNeighbourRow(int row, int left, int right);

    // Shared with the caller's image and never written; painted rows live
    // in paintedRows.
    QImage image;
    std::vector<std::vector<QRgb>> paintedRows;
    // Runs to fill, first in, first out; kept to reuse its memory.
    std::vector<Run> queue;
    int redMin = 0;
    int redMax = 0;
    int greenMin = 0;
    int greenMax = 0;
    int blueMin = 0;
    int blueMax = 0;
    unsigned int fillColor = 0;
};
