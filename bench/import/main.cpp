// Times the BIL import on a generated raster of the largest sizes the
// program downloads, per phase, and compares the whole import with the PNG
// input and output it cannot avoid: decoding the three files it reads back
// and encoding the four it writes, done again here on the same files.
//
//   relka-bench-import          SRTM 1": 7201 x 3601 16-bit samples, 2° x 1°
//   relka-bench-import --ned    NED 1/3": 10801 x 5401 32-bit floats, 1° x 0.5°
//
// Both rasters carry 40 voids of 100 to 20,000 pixels. The peak memory is
// the process's, read right after the import; the longest stretch without
// event processing is measured over the whole import.

#include "app/MessageLog.h"
#include "bench/Terrain.h"
#include "bench/Times.h"
#include "bil/ElevationImport.h"
#include "bil/ImportFeedback.h"
#include "tests/support/EventGapMeter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtEndian>

#include <sys/resource.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

struct RasterSize {
    const char* name;
    int rows;
    int cols;
    int nbits;
    double cellSize;
    double nodata;
};

const RasterSize srtm { "SRTM 1 arc-second, 2° x 1°", 3601, 7201, 16, 1.0 / 3600, -32768 };
const RasterSize ned { "NED 1/3 arc-second, 1° x 0.5°", 5401, 10801, 32, 1.0 / 10800,
    -3.4028234663852886e+38 };
constexpr double west = -106.0;
constexpr double north = 40.5;
constexpr int voidCount = 40;

struct Void {
    double x;
    double y;
    double a;
    double b;

    bool contains(int column, int row) const
    {
        const double dx = (column - x) / a;
        const double dy = (row - y) / b;
        return dx * dx + dy * dy <= 1.0;
    }
};

// Elliptic voids of 100 to 20,000 pixels (log-uniform), inside the part of
// the raster that is imported.
std::vector<Void> makeVoids(const RasterSize& size, QRandomGenerator& random)
{
    std::vector<Void> voids;
    for (int i = 0; i < voidCount; ++i) {
        const double area = 100.0 * std::pow(200.0, random.generateDouble());
        const double aspect = 0.5 + 1.5 * random.generateDouble();
        const double a = std::sqrt(area * aspect / M_PI);
        const double b = area / (M_PI * a);
        voids.push_back({ a + 1 + random.generateDouble() * (size.cols - 2 * a - 3),
            b + 1 + random.generateDouble() * (size.rows - 2 * b - 3), a, b });
    }
    return voids;
}

// The benchmark terrain with a little noise, in whole metres for integer
// samples.
double terrain(int column, int row, QRandomGenerator& random, bool wholeMetres)
{
    const double metres = terrainMetres(column, row) + 2.0 * random.generateDouble();
    return wholeMetres ? std::round(metres) : metres;
}

// Writes baseName.bil and .hdr; returns the number of void samples.
qint64 writeRaster(const RasterSize& size, const QString& baseName)
{
    QRandomGenerator random(20261122);
    const std::vector<Void> voids = makeVoids(size, random);
    QFile data(baseName + ".bil");
    if (!data.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(data.fileName()));
    const int bytes = size.nbits / 8;
    QByteArray row(qsizetype(size.cols) * bytes, '\0');
    qint64 voidSamples = 0;
    for (int r = 0; r < size.rows; ++r) {
        uchar* out = reinterpret_cast<uchar*>(row.data());
        for (int c = 0; c < size.cols; ++c, out += bytes) {
            bool inVoid = false;
            for (const Void& v : voids)
                inVoid = inVoid || v.contains(c, r);
            voidSamples += inVoid;
            const double value = inVoid ? size.nodata : terrain(c, r, random, bytes == 2);
            if (bytes == 2)
                qToLittleEndian(static_cast<qint16>(value), out);
            else
                qToLittleEndian(static_cast<float>(value), out);
        }
        data.write(row);
    }
    QFile header(baseName + ".hdr");
    if (!header.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(header.fileName()));
    header.write(QStringLiteral("BYTEORDER I\nLAYOUT BIL\nNROWS %1\nNCOLS %2\nNBANDS 1\nNBITS %3\n"
                                "ULXMAP %4\nULYMAP %5\nXDIM %6\nYDIM %6\nNODATA %7\n")
                     .arg(size.rows)
                     .arg(size.cols)
                     .arg(size.nbits)
                     .arg(west, 0, 'f', 12)
                     .arg(north, 0, 'f', 12)
                     .arg(size.cellSize, 0, 'f', 15)
                     .arg(size.nodata, 0, 'g', 17)
                     .toLatin1());
    return voidSamples;
}

// The dialog's share of the work: the preview is scaled to a label's size.
class PreviewFeedback : public ImportFeedback {
    QSize previewSize() const override { return { 400, 300 }; }
};

// The import, with the time between its log lines as phase times.
Times timeImport(const QString& baseName, EventGapMeter& meter)
{
    PreviewFeedback feedback;
    ElevationImport import(baseName, feedback);

    meter.restart();
    const Times start = now();
    Times lastMark = start;
    QString phase = QStringLiteral("from the start");
    MessageLog::setEcho([&](const QString& line) {
        const Times mark = now();
        printRow(phase, mark - lastMark);
        lastMark = mark;
        phase = "from \"" + line.left(52) + (line.size() > 52 ? "...\"" : "\"");
    });
    const bool imported = import.run();
    const Times end = now();
    MessageLog::setEcho({});
    printRow(phase, end - lastMark);
    if (!imported)
        qFatal("the import failed");
    return end - start;
}

Times timeLoad(const QString& fileName)
{
    const Times start = now();
    const QImage image(fileName);
    const Times elapsed = now() - start;
    if (image.isNull())
        qFatal("cannot load %s", qPrintable(fileName));
    return elapsed;
}

// Encodes a file the import wrote again, from the in-memory format the
// import saves it from.
Times timeSave(const QString& fileName, QImage::Format format, const QString& copyName)
{
    const QImage image = QImage(fileName).convertToFormat(format);
    const Times start = now();
    if (!image.save(copyName))
        qFatal("cannot save %s", qPrintable(copyName));
    const Times elapsed = now() - start;
    QFile::remove(copyName);
    return elapsed;
}

Times timeInputOutput(const QString& baseName)
{
    const QString copy = baseName + "-copy.png";
    const std::pair<const char*, Times> steps[] = {
        { "encode -el-uncorr.png (RGB888)",
            timeSave(baseName + "-el-uncorr.png", QImage::Format_RGB888, copy) },
        { "encode -el-m.png (RGB888)", timeSave(baseName + "-el-m.png", QImage::Format_RGB888, copy) },
        { "decode -el-uncorr.png", timeLoad(baseName + "-el-uncorr.png") },
        { "decode -el-m.png", timeLoad(baseName + "-el-m.png") },
        { "encode -el-corr.png (RGB32)", timeSave(baseName + "-el-corr.png", QImage::Format_RGB32, copy) },
        { "decode -el-corr.png", timeLoad(baseName + "-el-corr.png") },
        { "encode -el-col.png (RGB32)", timeSave(baseName + "-el-col.png", QImage::Format_RGB32, copy) },
    };
    Times total;
    for (const auto& [what, times] : steps) {
        printRow(QString::fromLatin1(what), times);
        total += times;
    }
    return total;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    const RasterSize& size = application.arguments().contains(QStringLiteral("--ned")) ? ned : srtm;

    QTemporaryDir directory;
    if (!directory.isValid())
        qFatal("no temporary directory");
    // The message log lands in the working directory.
    QDir::setCurrent(directory.path());
    const QString baseName = directory.filePath(QStringLiteral("raster"));

    std::printf("%s: %d x %d samples of %d bits\n", size.name, size.cols, size.rows, size.nbits);
    const qint64 voidSamples = writeRaster(size, baseName);
    std::printf("%d voids, %lld void samples\n\n%-68s %9s %9s\nImport phases:\n", voidCount, voidSamples, "",
        "wall", "processor");
    std::fflush(stdout);

    EventGapMeter meter;
    const Times import = timeImport(baseName, meter);
    const qint64 longestGap = meter.longestMs();
    const qint64 passes = meter.passCount();
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("PNG input and output alone:\n");
    const Times inputOutput = timeInputOutput(baseName);

    std::printf("\n");
    printRow(QStringLiteral("whole import"), import);
    printRow(QStringLiteral("PNG input and output alone"), inputOutput);
    std::printf(
        "  %-66s %7.2f   %7.2f\n", "ratio", import.wall / inputOutput.wall, import.cpu / inputOutput.cpu);
    std::printf("  %-66s %7lld ms (%lld passes)\n", "longest stretch without event processing",
        static_cast<long long>(longestGap), static_cast<long long>(passes));
    std::printf("  %-66s %7ld MB\n", "peak memory (ru_maxrss) after the import", usage.ru_maxrss / 1024);
    return 0;
}
