#include "ElevationImport.h"

#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "bil/BilHeaderFile.h"
#include "bil/DustRemoval.h"
#include "bil/ElevationImage.h"
#include "bil/ImportFeedback.h"
#include "bil/MemoryBudget.h"
#include "bil/Palette.h"
#include "image/PngReader.h"
#include "image/PngWriter.h"
#include "util/BackgroundWork.h"

#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

constexpr double pi = 3.141592653589793;
constexpr double floatMaximum = 3.4028234663852886e+38;
constexpr double millionth = 0.000001;
constexpr int nodataMarker = ElevationImage::minimumValue;
// Holes this large are not interpolated (the cost grows with spot × border).
constexpr qint64 nodataFillLimit = 1000000;
// Memory a pixel of the elevation image takes at the import's peak: the
// filling holds the uncorrected image, the mask and its own copy of the mask,
// 32 bits a pixel each.
constexpr int peakBytesPerPixel = 12;

// A C-style truncation toward zero that stays defined for NaN and for values
// no int can hold (a broken header can produce both).
int truncated(double value)
{
    if (std::isnan(value))
        return 0;
    return static_cast<int>(std::clamp(std::trunc(value), double(INT_MIN), double(INT_MAX)));
}

// Beyond this many millionths a double has no fraction left to round away
// (and far beyond it the count overflows to infinity).
constexpr double wholeMillionths = 4503599627370496.0; // 2^52

double roundedToMillionths(double c)
{
    const double count = std::abs(c) / millionth;
    if (!(count < wholeMillionths))
        return c;
    return std::copysign(std::trunc(count + 0.5) * millionth, c);
}

// How many pixels of the given size fit into an extent rounded to
// millionths: steps for ordinary sizes, and never far from it, since the
// rounding adds at most half a millionth and rounds up from zero only an
// extent of half a millionth or more. An extent beyond the doubles is steps.
int pixelsAlong(double extent, int steps, double pixelSize)
{
    return std::isfinite(extent) ? truncated(extent / pixelSize + 0.5) : steps;
}

double limited(double v)
{
    return std::clamp(v, double(ElevationImage::minimumValue), double(ElevationImage::maximumValue));
}

// The elevation images are walked as Format_RGB888 rows, three bytes a pixel.
void putPixel(uchar* pixel, int e)
{
    const QRgb rgb = ElevationImage::encode(e);
    pixel[0] = static_cast<uchar>(qRed(rgb));
    pixel[1] = static_cast<uchar>(qGreen(rgb));
    pixel[2] = static_cast<uchar>(qBlue(rgb));
}

bool isNodataPixel(const uchar* pixel)
{
    return ElevationImage::decode(qRgb(pixel[0], pixel[1], pixel[2])) == nodataMarker;
}

void processEvents() { QCoreApplication::processEvents(); }

} // namespace

// Which part of the data file becomes the image, derived from the header.
struct ElevationImport::RasterWindow {
    // The header has passed validation: 16 to 32768 rows and columns,
    // finite corners, positive finite pixel sizes. Every other value it
    // holds must give defined arithmetic here.
    explicit RasterWindow(const BilHeaderFile& header)
        : cols(header.cols)
        , bytes(header.nbits / 8)
        , declaredBytes(qint64(header.rows) * header.cols * bytes)
        , ulYr(roundedToMillionths(header.ulY))
    {
        const double ulXr = roundedToMillionths(header.ulX);
        const int columnSteps = header.cols - 1;
        const int rowSteps = header.rows - 1;
        const double width = roundedToMillionths(columnSteps * header.pixelWidth);
        const double height = roundedToMillionths(rowSteps * header.pixelHeight);
        kiloBytes = truncated(bytes * height * width / header.pixelWidth / header.pixelHeight / 1024);
        imageWidth = pixelsAlong(width, columnSteps, header.pixelWidth);
        imageHeight = pixelsAlong(height, rowSteps, header.pixelHeight);
        // Residues of the rounding, below half a millionth: whole pixels only
        // for smaller pixels, and then the offsets may leave the data file.
        firstColumn = truncated((ulXr - header.ulX) / header.pixelWidth + 0.5);
        bottomRow = qint64(truncated((header.ulY - ulYr) / header.pixelHeight + 0.5)) + imageHeight - 1;
    }

    // Negative when the row lies before the data.
    qint64 rowOffset(qint64 row) const { return (row * cols + firstColumn) * bytes; }

    int cols;
    int bytes;
    qint64 declaredBytes; // the samples' bytes, after the data offset
    double ulYr;
    int kiloBytes = 0;
    int imageWidth = 0;
    int imageHeight = 0;
    qint64 firstColumn = 0;
    qint64 bottomRow = 0;
};

// Converts rows of raw samples into elevation pixels and keeps the range of
// the values stored (NODATA excluded).
class ElevationImport::SampleConverter {
public:
    explicit SampleConverter(const BilHeaderFile& header)
        : bytes(header.nbits / 8)
        , bigEndian(header.byteOrder.toLower() == QLatin1String("motorola")
              || header.byteOrder.toLower() == QLatin1String("m"))
        , statMax(header.statMax)
        // A NODATA value no 16-bit sample can hold matches none.
        , nodata16Set(header.nodataSet && std::trunc(header.nodata) >= SHRT_MIN
              && std::trunc(header.nodata) <= SHRT_MAX)
        , nodata16(nodata16Set ? static_cast<qint16>(header.nodata) : 0)
        , nodata32Set(header.nodataSet)
        , nodata32(static_cast<float>(header.nodata))
    {
    }

    void convert(const uchar* samples, int count, uchar* pixels)
    {
        switch (bytes) {
        case 1:
            convertRow<1>(
                samples, count, pixels, [this](const uchar* p) { return *p > statMax ? *p - 256 : int(*p); },
                [](int) { return false; });
            break;
        case 2:
            convertOrdered<qint16>(
                samples, count, pixels, [this](qint16 s) { return nodata16Set && s == nodata16; });
            break;
        case 4:
            convertOrdered<float>(samples, count, pixels, [this](float s) {
                // A NaN sample holds no elevation: a void like NODATA.
                if (std::isnan(s)) {
                    voids = true;
                    return true;
                }
                return nodata32Set && s == nodata32;
            });
            break;
        }
    }

    double minimum = floatMaximum;
    double maximum = -floatMaximum;
    // Samples without a value (NaN) were found; they are stored as NODATA
    // whether or not the header names a NODATA value.
    bool voids = false;

private:
    // Samples of type T in the raster's byte order.
    template <typename T, typename IsNodata>
    void convertOrdered(const uchar* samples, int count, uchar* pixels, IsNodata isNodata)
    {
        if (bigEndian)
            convertRow<sizeof(T)>(
                samples, count, pixels, [](const uchar* p) { return qFromBigEndian<T>(p); }, isNodata);
        else
            convertRow<sizeof(T)>(
                samples, count, pixels, [](const uchar* p) { return qFromLittleEndian<T>(p); }, isNodata);
    }

    template <int Bytes, typename Read, typename IsNodata>
    void convertRow(const uchar* samples, int count, uchar* pixels, Read read, IsNodata isNodata)
    {
        for (int x = 0; x < count; ++x, samples += Bytes, pixels += 3) {
            const auto s = read(samples);
            if (isNodata(s)) {
                putPixel(pixels, nodataMarker);
                continue;
            }
            const double v = limited(double(s) * 256.0);
            minimum = std::min(v, minimum);
            maximum = std::max(v, maximum);
            putPixel(pixels, ElevationImage::rounded(v));
        }
    }

    int bytes;
    bool bigEndian;
    int statMax;
    bool nodata16Set;
    qint16 nodata16;
    bool nodata32Set;
    float nodata32;
};

ElevationImport::ElevationImport(const QString& baseName, ImportFeedback& feedback)
    : baseName(baseName)
    , feedback(feedback)
{
}

bool ElevationImport::run()
{
    QFile dataFile(baseName + QStringLiteral(".bil"));
    if (!dataFile.open(QIODevice::ReadOnly)) {
        MessageLog::append(tr("Seamless error: importBIL() could not read %1").arg(dataFile.fileName()));
        return false;
    }
    BilHeaderFile header(baseName + QStringLiteral(".hdr"));
    if (!header.open(QIODevice::ReadOnly | QIODevice::Text)) {
        MessageLog::append(tr("Seamless error: importBIL() could not read %1").arg(header.fileName()));
        return false;
    }

    const RasterWindow window(header);
    MessageLog::append(tr("Seamless: BIL file size is %1 kB.").arg(window.kiloBytes));
    processEvents();

    qint64 dataOffset = 0;
    if (!findDataOffset(dataFile, dataOffset))
        return false;

    const int width = window.imageWidth;
    const int height = window.imageHeight;
    if (width < 1 || height < 1) {
        MessageLog::append(
            tr("Seamless error: The header's pixel sizes leave an empty elevation image (%1 x %2 pixels).")
                .arg(width)
                .arg(height));
        return false;
    }
    ElevationImage image;
    if (MemoryBudget::allows(qint64(width) * height, peakBytesPerPixel))
        image = ElevationImage(width, height, QImage::Format_RGB888);
    if (image.isNull()) {
        logOutOfMemory(width, height);
        return false;
    }
    // The work files are read back (here and by the NODATA filling).
    PngReader::allowLoading(QSize(width, height));
    SampleConverter converter(header);
    readRaster(dataFile, window, dataOffset, converter, image);
    dataFile.close();

    const double cosLat = std::cos(window.ulYr / 180 * pi);
    showPreview(image, cosLat);
    header.close();
    MessageLog::append(tr("Seamless: NODATA value = %1").arg(header.nodata));
    MessageLog::append(tr("Seamless: Range of elevations written to the output file: %1 ... %2")
                           .arg(converter.minimum / 256)
                           .arg(converter.maximum / 256));
    processEvents();

    if (header.nodataSet || converter.voids) {
        if (!replaceNodata(image))
            return false;
    } else {
        if (!save(image, baseName + QStringLiteral("-el-corr.png"), PngWriter::Content::Elevation))
            return false;
        feedback.setProgress(ImportFeedback::Stage::Correcting, 1, 1);
    }
    return writeColorFile(cosLat);
}

bool ElevationImport::findDataOffset(QFile& dataFile, qint64& offset)
{
    offset = 0;
    // A little-endian TIFF start: the elevation block follows a text tag
    // that ends in a datum name.
    if (dataFile.read(4) != QByteArrayLiteral("II*\0"))
        return true;
    const QByteArray head = dataFile.read(999996);
    for (const QByteArray& marker : { QByteArrayLiteral("#WGS 84|\0"), QByteArrayLiteral("#NAD83|\0") }) {
        const qsizetype index = head.indexOf(marker);
        if (index >= 0) {
            offset = 4 + index + marker.size();
            return true;
        }
    }
    const QString text = tr("The BIL file begins with \"II*\", which requires the \"WGS 84\" keyword\n"
                            "to locate the beginning of the elevation data block in the BIL file.\n"
                            "That keyword could not be located. An import can only be attempted\n"
                            "beginning at the first byte, most probably leading to incorrect results.\n\n"
                            "Proceed anyway?");
    return MessageBoxes::show(
               MessageBoxes::Warning, nullptr, tr("Warning"), text, MessageBoxes::Yes | MessageBoxes::No)
        == MessageBoxes::Yes;
}

void ElevationImport::readRaster(QFile& dataFile, const RasterWindow& window, qint64 dataOffset,
    SampleConverter& converter, ElevationImage& image)
{
    const int width = image.width();
    const int height = image.height();
    const qint64 rowBytes = qint64(width) * window.bytes;
    std::vector<uchar> row(rowBytes);
    bool shortRead = false;
    // Upward from the bottom row of the window, so the file's top row ends
    // up at the top of the image.
    for (int i = 0; i < height; ++i) {
        feedback.setProgress(ImportFeedback::Stage::Reading, i + 1, height);
        const qint64 offset = window.rowOffset(window.bottomRow - i) + dataOffset;
        const qint64 got = offset >= 0 && dataFile.seek(offset)
            ? std::max<qint64>(dataFile.read(reinterpret_cast<char*>(row.data()), rowBytes), 0)
            : 0;
        // Samples beyond the end of a short file read as 0.
        std::memset(row.data() + got, 0, rowBytes - got);
        shortRead = shortRead || got < rowBytes;
        converter.convert(row.data(), width, image.scanLine(height - 1 - i));
        processEvents();
    }
    if (shortRead)
        MessageLog::append(tr("Seamless: The BIL file holds %1 bytes, fewer than the %2 its header declares; "
                              "the missing samples are read as 0.")
                               .arg(dataFile.size())
                               .arg(window.declaredBytes + dataOffset));
}

void ElevationImport::logOutOfMemory(int width, int height)
{
    MessageLog::append(
        tr("Seamless error: An elevation image of %1 x %2 pixels needs more memory than this machine has.")
            .arg(width)
            .arg(height));
}

void ElevationImport::showPreview(const QImage& image, double cosLat)
{
    // Smooth scaling works on 32-bit pixels: converting once here spares a
    // conversion there and back in each of the two steps.
    const QSize size = feedback.previewSize();
    if (size.isEmpty())
        return;
    feedback.showPreview(BackgroundWork::run([&image, cosLat, size] {
        return image.convertToFormat(QImage::Format_RGB32)
            .scaled(truncated(image.width() * cosLat), image.height(), Qt::IgnoreAspectRatio,
                Qt::SmoothTransformation)
            .scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }));
}

bool ElevationImport::replaceNodata(ElevationImage& image)
{
    const QString uncorrectedFile = baseName + QStringLiteral("-el-uncorr.png");
    const QString maskFile = baseName + QStringLiteral("-el-m.png");
    const QString correctedFile = baseName + QStringLiteral("-el-corr.png");
    qint64 count = 0;
    const ElevationImage mask = nodataMask(image, count);
    if (mask.isNull()) {
        logOutOfMemory(image.width(), image.height());
        return false;
    }
    if (!saveUncorrectedAndMask(image, mask, uncorrectedFile, maskFile))
        return false;

    if (count >= nodataFillLimit) {
        MessageLog::append(
            tr("Seamless: Too many NODATA pixels (%1) in the elevation file. Setting them to zero.")
                .arg(count));
        setNodataToZero(image);
        if (!save(image, correctedFile, PngWriter::Content::Elevation))
            return false;
        feedback.setProgress(ImportFeedback::Stage::Correcting, 1, 1);
        return true;
    }

    MessageLog::append(tr("Seamless: Removing NODATA areas by interpolation."));
    processEvents();
    // The filler works on the saved files; the image is not needed any more
    // and would only add to the peak memory of a large raster.
    image = ElevationImage();
    DustRemoval dustRemoval;
    const int result = dustRemoval.removeDust(
        uncorrectedFile, maskFile, correctedFile, true, 0xFF000000u, true, &feedback);
    processEvents();
    if (result != 0) {
        MessageLog::append(tr("Seamless: Problems during NODATA area removal:"));
        for (const QString& message : std::as_const(dustRemoval.messages))
            MessageLog::append(message);
    }
    return true;
}

ElevationImage ElevationImport::nodataMask(const ElevationImage& image, qint64& count)
{
    const int width = image.width();
    const int height = image.height();
    ElevationImage mask(image.size(), image.format());
    if (mask.isNull())
        return mask;
    count = 0;
    for (int y = 0; y < height; ++y) {
        feedback.setProgress(ImportFeedback::Stage::Correcting, y + 1, height);
        const uchar* in = image.constScanLine(height - 1 - y);
        uchar* out = mask.scanLine(height - 1 - y);
        for (int x = 0; x < width; ++x, in += 3, out += 3) {
            const bool nodata = isNodataPixel(in);
            count += nodata;
            std::memset(out, nodata ? 0x00 : 0xFF, 3);
        }
        processEvents();
    }
    return mask;
}

bool ElevationImport::saveUncorrectedAndMask(const ElevationImage& image, const ElevationImage& mask,
    const QString& uncorrectedFile, const QString& maskFile)
{
    // The mask is encoded beside the uncorrected image, but its file is
    // written only once that image is on disk: a failure leaves the files
    // and log lines that saving one after the other would leave.
    bool uncorrectedSaved = false;
    QByteArray encodedMask;
    std::atomic<int> nextJob { 0 };
    feedback.setSaving(true);
    BackgroundWork::runOnWorkers(2, [&] {
        if (nextJob++ == 0)
            uncorrectedSaved = PngWriter::save(image, uncorrectedFile, PngWriter::Content::Elevation);
        else
            encodedMask = PngWriter::encode(mask, PngWriter::Content::Mask);
    });
    bool maskSaved = false;
    if (uncorrectedSaved) {
        MessageLog::append(tr("Seamless: Creating mask file indicating NODATA areas."));
        maskSaved = PngWriter::save(encodedMask, maskFile);
    }
    feedback.setSaving(false);
    return logFailedSave(uncorrectedSaved, uncorrectedFile) && logFailedSave(maskSaved, maskFile);
}

void ElevationImport::setNodataToZero(ElevationImage& image)
{
    const int width = image.width();
    const int height = image.height();
    for (int y = 0; y < height; ++y) {
        feedback.setProgress(ImportFeedback::Stage::Correcting, y + 1, height);
        uchar* pixel = image.scanLine(height - 1 - y);
        for (int x = 0; x < width; ++x, pixel += 3)
            if (isNodataPixel(pixel))
                putPixel(pixel, 0);
        processEvents();
    }
}

bool ElevationImport::writeColorFile(double cosLat)
{
    MessageLog::append(tr("Seamless: Creating color file from elevation file."));
    processEvents();
    const QString correctedFile = baseName + QStringLiteral("-el-corr.png");
    QImage image = BackgroundWork::run([&correctedFile] { return PngReader::read(correctedFile); });
    if (image.isNull()) {
        MessageLog::append(tr("Seamless error: Could not open file %1").arg(correctedFile));
        return false;
    }
    feedback.correctedElevations(image);
    // Kept by the feedback, the image is copied on the colouring's first
    // write: beside the event loop instead.
    if (!image.isDetached())
        BackgroundWork::run([&image] { image.detach(); });
    const double lo = SettingsStore::paletteMinimum() * 256.0;
    const double hi = SettingsStore::paletteMaximum() * 256.0;
    showPreview(image, cosLat);

    // The rows are walked as 32-bit pixels, the form PNG files load in.
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32)
        image.convertTo(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    const int width = image.width();
    const int height = image.height();
    {
        Palette palette;
        const int n = palette.size();
        for (int y = 0; y < height; ++y) {
            feedback.setProgress(ImportFeedback::Stage::Coloring, y + 1, height);
            QRgb* pixel = reinterpret_cast<QRgb*>(image.scanLine(height - 1 - y));
            for (int x = 0; x < width; ++x)
                pixel[x] = palette.color(Palette::indexFor(ElevationImage::decode(pixel[x]), lo, hi, n));
            processEvents();
        }
    }
    return save(image, baseName + QStringLiteral("-el-col.png"), PngWriter::Content::Picture);
}

bool ElevationImport::save(const QImage& image, const QString& fileName, PngWriter::Content content)
{
    feedback.setSaving(true);
    const bool saved = BackgroundWork::run(
        [&image, &fileName, content] { return PngWriter::save(image, fileName, content); });
    feedback.setSaving(false);
    return logFailedSave(saved, fileName);
}

bool ElevationImport::logFailedSave(bool saved, const QString& fileName)
{
    if (!saved)
        MessageLog::append(tr("Seamless: Could not save file %1.").arg(fileName));
    return saved;
}
