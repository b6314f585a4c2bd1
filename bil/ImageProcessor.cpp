#include "ImageProcessor.h"

#include <algorithm>

ImageProcessor::ImageProcessor(const QImage& image)
    : image(withArgbPixels(image))
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
    this->tolerance = tolerance;

    if (!image.valid(x, y) || !matches(image.pixel(x, y)))
        return;

    const int width = image.width();
    const int height = image.height();
    // A plain first-in, first-out queue: every point stays in the vector and
    // head walks past the ones taken.
    std::vector<QPoint> queue { QPoint(x, y) };
    for (std::size_t head = 0; head < queue.size(); ++head) {
        const QPoint point = queue[head];
        const int row = point.y();
        QRgb* line = reinterpret_cast<QRgb*>(image.scanLine(row));
        // Points are queued once per neighbouring span, so many were filled
        // since they were queued.
        if (!matches(line[point.x()]))
            continue;

        int left = point.x();
        while (left > 0 && matches(line[left - 1]))
            --left;
        if (left > 0)
            borderPoints.append(QPoint(left - 1, row));
        int right = point.x();
        while (right < width - 1 && matches(line[right + 1]))
            ++right;
        if (right < width - 1)
            borderPoints.append(QPoint(right + 1, row));

        for (int column = left; column <= right; ++column) {
            line[column] = fillColor;
            spotPoints.append(QPoint(column, row));
        }
        if (row >= 1)
            scanNeighbourRow(row - 1, left, right, queue);
        if (row < height - 1)
            scanNeighbourRow(row + 1, left, right, queue);
    }

    if (!borderPoints.isEmpty()) {
        std::sort(borderPoints.begin(), borderPoints.end());
        borderPoints.erase(std::unique(borderPoints.begin(), borderPoints.end()), borderPoints.end());
    }
}

void ImageProcessor::scanNeighbourRow(int row, int left, int right, std::vector<QPoint>& queue)
{
    const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(row));
    for (int column = left; column <= right; ++column) {
        const QRgb pixel = line[column];
        if (matches(pixel))
            queue.push_back(QPoint(column, row));
        else if (((pixel ^ fillColor) & 0xFFFFFFu) != 0)
            borderPoints.append(QPoint(column, row));
    }
}
