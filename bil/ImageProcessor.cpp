#include "ImageProcessor.h"

#include "util/BackgroundWork.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>

ImageProcessor::ImageProcessor(const QImage& image)
    : image(withArgbPixels(image))
    , paintedRows(std::max(0, image.height()))
{
}

QImage ImageProcessor::withArgbPixels(const QImage& image)
{
    // Both formats keep 0xAARRGGBB in one 32-bit word per pixel.
    if (image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32)
        return image;
    return image.convertToFormat(QImage::Format_ARGB32);
}

bool ImageProcessor::matches(QRgb pixel) const
{
    const int red = qRed(pixel);
    const int green = qGreen(pixel);
    const int blue = qBlue(pixel);
    return red >= redMin && red <= redMax && green >= greenMin && green <= greenMax && blue >= blueMin
        && blue <= blueMax;
}

const QRgb* ImageProcessor::line(int row) const
{
    const std::vector<QRgb>& painted = paintedRows[row];
    return painted.empty() ? reinterpret_cast<const QRgb*>(image.constScanLine(row)) : painted.data();
}

QRgb* ImageProcessor::paintedLine(int row)
{
    std::vector<QRgb>& painted = paintedRows[row];
    if (painted.empty()) {
        const QRgb* original = reinterpret_cast<const QRgb*>(image.constScanLine(row));
        painted.assign(original, original + image.width());
    }
    return painted.data();
}

void ImageProcessor::floodFill2(int x, int y, unsigned int targetColor, unsigned int fillColor, int tolerance)
{
    spotPoints.clear();
    borderPoints.clear();
    redMin = qRed(targetColor) - tolerance;
    redMax = qRed(targetColor) + tolerance;
    greenMin = qGreen(targetColor) - tolerance;
    greenMax = qGreen(targetColor) + tolerance;
    blueMin = qBlue(targetColor) - tolerance;
    blueMax = qBlue(targetColor) + tolerance;
    this->fillColor = fillColor;

    if (!image.valid(x, y) || !matches(line(y)[x]))
        return;

    QElapsedTimer sinceEvents;
    sinceEvents.start();
    queue.assign(1, { y, x, x });
    for (std::size_t head = 0; head < queue.size(); ++head) {
        const Run run = queue[head];
        // Pixels are queued once per neighbouring span, so many were filled
        // since they were queued.
        for (int column = run.first; column <= run.last; ++column)
            if (matches(line(run.row)[column]))
                fillSpan(column, run.row);
        if (sinceEvents.elapsed() >= BackgroundWork::eventIntervalMs) {
            QCoreApplication::processEvents();
            sinceEvents.restart();
        }
    }

    if (!borderPoints.isEmpty()) {
        std::sort(borderPoints.begin(), borderPoints.end());
        borderPoints.erase(std::unique(borderPoints.begin(), borderPoints.end()), borderPoints.end());
    }
}

// Fills the span of matching pixels through (x, row) and queues the matching
// pixels above and below it.
void ImageProcessor::fillSpan(int x, int row)
{
    const int width = image.width();
    QRgb* pixels = paintedLine(row);
    int left = x;
    while (left > 0 && matches(pixels[left - 1]))
        --left;
    if (left > 0)
        borderPoints.append(QPoint(left - 1, row));
    int right = x;
    while (right < width - 1 && matches(pixels[right + 1]))
        ++right;
    if (right < width - 1)
        borderPoints.append(QPoint(right + 1, row));

    std::fill(pixels + left, pixels + right + 1, fillColor);
    const qsizetype filled = spotPoints.size();
    spotPoints.resize(filled + right - left + 1);
    for (int column = left; column <= right; ++column)
        spotPoints[filled + column - left] = QPoint(column, row);

    if (row >= 1)
        scanNeighbourRow(row - 1, left, right);
    if (row < image.height() - 1)
        scanNeighbourRow(row + 1, left, right);
}

void ImageProcessor::scanNeighbourRow(int row, int left, int right)
{
    const QRgb* pixels = line(row);
    for (int column = left; column <= right; ++column) {
        const QRgb pixel = pixels[column];
        if (matches(pixel)) {
            // Consecutive matching pixels extend the run queued last (never
            // the run being filled: that lies in another row).
            if (queue.back().row == row && queue.back().last == column - 1)
                queue.back().last = column;
            else
                queue.push_back({ row, column, column });
        } else if (((pixel ^ fillColor) & 0xFFFFFFu) != 0) {
            borderPoints.append(QPoint(column, row));
        }
    }
}
