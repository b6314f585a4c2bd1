#include "DustRemoval.h"

#include "bil/ElevationImage.h"
#include "bil/ImageProcessor.h"
#include "bil/ImportFeedback.h"
#include "image/PngReader.h"
#include "image/PngWriter.h"
#include "util/BackgroundWork.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <vector>

namespace {

// Spot pixels computed side by side; the compiler turns the loops over them
// into vector instructions.
constexpr int lanes = 8;
// Spot pixels a worker takes at a time.
constexpr qsizetype blockPixels = 256;
// Below this many pixel-to-border pairs (well under a millisecond of work) a
// spot is computed on the calling thread.
constexpr qsizetype parallelPairs = 1 << 20;

// The border of a spot as plain arrays, so that the weighting loops read
// nothing but doubles.
template <int Channels> struct BorderSamples {
    std::vector<double> x;
    std::vector<double> y;
    std::array<std::vector<double>, Channels> values;

    void append(const QPoint& point, const std::array<double, Channels>& value)
    {
        x.push_back(point.x());
        y.push_back(point.y());
        for (int channel = 0; channel < Channels; ++channel)
            values[channel].push_back(value[channel]);
    }
};

// Inverse-distance (fourth power) means for the spot pixels first to last - 1,
// written to means[pixel * Channels + channel]. Each pixel's sums run over the
// border in its order, one term after the other, so the lanes change nothing
// in the result: coordinates are integers, and their squares and sums are
// exact in double precision.
template <int Channels>
[[gnu::always_inline]] inline void weightedMeansOfRange(const BorderSamples<Channels>& border,
    const QList<QPoint>& spot, qsizetype first, qsizetype last, double* means)
{
    const std::size_t borderSize = border.x.size();
    for (qsizetype start = first; start < last; start += lanes) {
        const int count = static_cast<int>(std::min<qsizetype>(lanes, last - start));
        double spotX[lanes];
        double spotY[lanes];
        // Unused lanes repeat the last pixel; their sums are dropped.
        for (int lane = 0; lane < lanes; ++lane) {
            const QPoint& point = spot[start + std::min(lane, count - 1)];
            spotX[lane] = point.x();
            spotY[lane] = point.y();
        }
        double weightSums[lanes] = {};
        double valueSums[Channels][lanes] = {};
        for (std::size_t b = 0; b < borderSize; ++b) {
            const double borderX = border.x[b];
            const double borderY = border.y[b];
            double weights[lanes];
            for (int lane = 0; lane < lanes; ++lane) {
                const double dx = borderX - spotX[lane];
                const double dy = borderY - spotY[lane];
                const double inverse = 1.0 / (dx * dx + dy * dy);
                weights[lane] = inverse * inverse;
            }
            for (int lane = 0; lane < lanes; ++lane)
                weightSums[lane] += weights[lane];
            for (int channel = 0; channel < Channels; ++channel) {
                const double value = border.values[channel][b];
                for (int lane = 0; lane < lanes; ++lane)
                    valueSums[channel][lane] += weights[lane] * value;
            }
        }
        for (int lane = 0; lane < count; ++lane)
            for (int channel = 0; channel < Channels; ++channel)
                means[(start + lane) * Channels + channel] = valueSums[channel][lane] / weightSums[lane];
    }
}

// The loops above gain from wider vectors where the processor has them. No
// fused multiply-add: it would round differently from the plain computation.
#if defined(__GNUC__) && defined(__x86_64__)
#define WIDER_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define WIDER_VECTORS
#endif

WIDER_VECTORS void weightedMeans(
    const BorderSamples<1>& border, const QList<QPoint>& spot, qsizetype first, qsizetype last, double* means)
{
    weightedMeansOfRange(border, spot, first, last, means);
}

WIDER_VECTORS void weightedMeans(
    const BorderSamples<3>& border, const QList<QPoint>& spot, qsizetype first, qsizetype last, double* means)
{
    weightedMeansOfRange(border, spot, first, last, means);
}

// The means for a whole spot. Large spots are spread over the thread pool
// while this (GUI) thread keeps processing events; the results only land in
// the returned array, so they do not depend on how the work was shared out.
template <int Channels>
std::unique_ptr<double[]> weightedMeans(const BorderSamples<Channels>& border, const QList<QPoint>& spot)
{
    const qsizetype pixels = spot.size();
    // Left uninitialised: every element is written once, by whichever
    // thread computes it.
    std::unique_ptr<double[]> means(new double[pixels * Channels]);
    if (pixels * static_cast<qsizetype>(border.x.size()) < parallelPairs) {
        weightedMeans(border, spot, 0, pixels, means.get());
        return means;
    }

    std::atomic<qsizetype> nextBlock { 0 };
    BackgroundWork::runOnWorkers(std::max(1, QThread::idealThreadCount()), [&] {
        for (qsizetype first = nextBlock.fetch_add(blockPixels); first < pixels;
             first = nextBlock.fetch_add(blockPixels))
            weightedMeans(border, spot, first, std::min(first + blockPixels, pixels), means.get());
    });
    return means;
}

// Writes value(i) to the pixel spot[i]; straight into the scan lines where
// the format allows.
template <typename Value> void paintPixels(QImage& image, const QList<QPoint>& spot, Value value)
{
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32) {
        for (qsizetype i = 0; i < spot.size(); ++i)
            image.setPixel(spot[i], value(i));
        return;
    }
    uchar* bits = image.bits();
    const qsizetype bytesPerLine = image.bytesPerLine();
    for (qsizetype i = 0; i < spot.size(); ++i)
        reinterpret_cast<QRgb*>(bits + spot[i].y() * bytesPerLine)[spot[i].x()] = value(i);
}

// Opaque black where the image has exactly the colour, opaque white elsewhere.
QImage colorKeyMask(const QImage& image, QRgb color)
{
    const QImage pixels = image.convertToFormat(QImage::Format_ARGB32);
    QImage mask(image.size(), QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* in = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        QRgb* out = reinterpret_cast<QRgb*>(mask.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            out[x] = in[x] == color ? 0xFF000000u : 0xFFFFFFFFu;
    }
    return mask;
}

} // namespace

int DustRemoval::removeDust(const QString& inputFile, const QString& maskFile, const QString& outputFile,
    bool overwrite, const unsigned int& color, bool elevationFile, ImportFeedback* feedback)
{
    messages.clear();
    this->elevationFile = elevationFile;

    image = BackgroundWork::run([&inputFile] { return PngReader::read(inputFile); });
    if (image.isNull()) {
        messages.append(tr("Error: Cannot load \"%1\".").arg(inputFile));
        return InputNotLoaded;
    }
    // The images are members, but nothing else touches them while they are
    // being loaded or built.
    mask = BackgroundWork::run([this, &maskFile, color] {
        return maskFile.isEmpty() ? colorKeyMask(image, color) : PngReader::read(maskFile);
    });
    if (mask.isNull()) {
        messages.append(tr("Error: Cannot load mask file \"%1\".").arg(maskFile));
        return MaskNotLoaded;
    }
    if (image.size() != mask.size()) {
        messages.append(tr("Error: Input and mask file have to be of same size.\n"
                           "       The input file is %1 (w) by %2 (h) pixels.\n"
                           "       The mask file is %3 (w) by %4 (h) pixels.")
                            .arg(image.width())
                            .arg(image.height())
                            .arg(mask.width())
                            .arg(mask.height()));
        return SizeMismatch;
    }

    removeDust(feedback);

    if (outputFile.isEmpty()) {
        messages.append(tr("Error: no output file name given."));
        return NoOutputName;
    }
    if (!overwrite && QFileInfo::exists(outputFile)) {
        messages.append(tr("Error: Output file exists: \"%1\".").arg(outputFile));
        return OutputExists;
    }
    // The mask is done with; dropping it lowers the peak memory of the save.
    mask = QImage();
    const PngWriter::Content content
        = elevationFile ? PngWriter::Content::Elevation : PngWriter::Content::Picture;
    if (feedback)
        feedback->setSaving(true);
    const bool saved = BackgroundWork::run(
        [this, &outputFile, content] { return PngWriter::save(image, outputFile, content); });
    if (feedback)
        feedback->setSaving(false);
    if (!saved) {
        messages.append(tr("Error: Cannot save output file \"%1\".").arg(outputFile));
        QFile::remove(outputFile);
        return OutputNotSaved;
    }
    return Success;
}

int DustRemoval::removeDust(ImportFeedback* feedback)
{
    ImageProcessor processor(mask);
    const QImage scanned = ImageProcessor::withArgbPixels(mask);
    const int width = scanned.width();
    const int height = scanned.height();

    // Besides once a row: a large spot, or many spots in one row, would
    // keep the event loop waiting too long.
    QElapsedTimer sinceEvents;
    sinceEvents.start();
    const auto keepAlive = [&sinceEvents] {
        if (sinceEvents.elapsed() >= BackgroundWork::eventIntervalMs) {
            QCoreApplication::processEvents();
            sinceEvents.restart();
        }
    };
    for (int y = 0; y < height; ++y) {
        if (feedback)
            feedback->setProgress(ImportFeedback::Stage::Correcting, y + 1, height + 1);
        const QRgb* line = reinterpret_cast<const QRgb*>(scanned.constScanLine(y));
        for (int x = 0; x < width; ++x) {
            if ((line[x] & 0xFFFFFFu) == 0xFFFFFFu) {
                inSpot = 0;
                continue;
            }
            if (inSpot == 1)
                continue;
            inSpot = 1;
            // Only pure black starts a spot; a spot met again in a later row
            // is red in the processor's copy and comes back empty.
            processor.floodFill2(x, y, 0xFF000000u, 0xFFFF0000u, 0);
            keepAlive();
            if (!processor.spotPoints.isEmpty() && !processor.borderPoints.isEmpty()) {
                if (elevationFile)
                    paintSpotOnElevationFile(processor.spotPoints, processor.borderPoints);
                else
                    paintSpot(processor.spotPoints, processor.borderPoints);
                keepAlive();
            }
        }
        QCoreApplication::processEvents();
        sinceEvents.restart();
    }
    return Success;
}

void DustRemoval::paintSpot(const QList<QPoint>& spot, const QList<QPoint>& border)
{
    const QRgb first = image.pixel(border.first());
    bool uniform = true;
    BorderSamples<3> samples;
    for (const QPoint& point : border) {
        const QRgb value = image.pixel(point);
        uniform = uniform && value == first;
        samples.append(point, { double(qRed(value)), double(qGreen(value)), double(qBlue(value)) });
    }
    if (uniform) {
        paintPixels(image, spot, [first](qsizetype) { return first; });
        return;
    }

    const std::unique_ptr<double[]> means = weightedMeans(samples, spot);
    const auto channel = [](double mean) { return mean > 255.0 ? 255 : static_cast<int>(mean); };
    paintPixels(image, spot, [&means, channel](qsizetype i) {
        return qRgb(channel(means[3 * i]), channel(means[3 * i + 1]), channel(means[3 * i + 2]));
    });
}

void DustRemoval::paintSpotOnElevationFile(const QList<QPoint>& spot, const QList<QPoint>& border)
{
    const int first = elevation(image, border.first().x(), border.first().y());
    bool uniform = true;
    BorderSamples<1> samples;
    for (const QPoint& point : border) {
        const int value = elevation(image, point.x(), point.y());
        uniform = uniform && value == first;
        samples.append(point, { double(value) });
    }
    if (uniform) {
        paintPixels(image, spot, [first](qsizetype) { return ElevationImage::encode(first); });
        return;
    }

    const std::unique_ptr<double[]> means = weightedMeans(samples, spot);
    paintPixels(image, spot,
        [&means](qsizetype i) { return ElevationImage::encode(ElevationImage::rounded(means[i])); });
}

int DustRemoval::elevation(const QImage& image, int x, int y)
{
    return ElevationImage::decode(image.pixel(x, y));
}
