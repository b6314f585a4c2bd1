// Times the BIL import on generated rasters of the largest sizes the
// program downloads, once with every PNG file going to Qt's writer (as the
// program saved them before) and once with the program's own writer, and
// compares both with a GIS pipeline that makes the same two results. Then
// times all five additional outputs (GeoTIFF, world files, 16-bit heightmap
// at the grid's size, hillshade, normal map) against the import.
//
//   relka-bench-import          both rasters
//   relka-bench-import --srtm   SRTM 1": 7201 x 3601 16-bit samples, 2° x 1°
//   relka-bench-import --ned    NED 1/3": 10801 x 5401 32-bit floats, 1° x 0.5°
//   relka-bench-import --keep DIR   keeps the rasters and files in DIR
//
// Both rasters carry 40 voids of 100 to 20,000 pixels. Per import it prints
// the time between log lines (the phases), the peak memory (the process's
// high-water mark, reset before each import) and the longest stretch without
// event processing; per file the sizes from both writers, whether their
// pixels agree, and the encoding and decoding times. The GIS pipeline
// (gdal_fillnodata.py -md 100, a 16-bit PNG by gdal_translate and a
// gdaldem color-relief PNG) runs only where those tools are installed.

#include "app/MessageLog.h"
#include "bench/Terrain.h"
#include "bench/Times.h"
#include "bil/ElevationImport.h"
#include "bil/ImportFeedback.h"
#include "image/PngReader.h"
#include "image/PngWriter.h"
#include "output/AdditionalOutputs.h"
#include "tests/support/EventGapMeter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>

#include <libdeflate.h>
#include <sys/resource.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <optional>
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
    // The import goes by NBITS alone; GIS tools read 32 bits as integers
    // unless told otherwise.
    if (size.nbits == 32)
        header.write("PIXELTYPE FLOAT\n");
    return voidSamples;
}

void printPhase(const QString& what, const Times& times, long peak)
{
    std::printf("  %-66s %7.2f s %7.2f s %7ld MB\n", qPrintable(what), times.wall, times.cpu, peak);
}

// The process's peak memory in MB since the last reset.
long peakMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').constFirst().toLong() / 1024;
    return -1;
}

void resetPeakMemory()
{
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    if (clearRefs.open(QIODevice::WriteOnly))
        clearRefs.write("5");
}

struct ImportFigures {
    Times times;
    long peakMegabytes = 0;
    qint64 longestGapMs = 0;
};

// The dialog's share of the work: the preview is scaled to a label's size.
// The corrected elevations are kept, as relka-import keeps them for the
// additional outputs.
class PreviewFeedback : public ImportFeedback {
public:
    QImage corrected;

private:
    QSize previewSize() const override { return { 400, 300 }; }
    void correctedElevations(const QImage& image) override { corrected = image; }
};

// The work, with the time between its log lines as phase times.
template <typename Work> ImportFigures timePhases(Work work)
{
    // The peak memory is taken per phase: the high-water mark is reset at
    // every log line.
    EventGapMeter meter;
    long peak = 0;
    resetPeakMemory();
    meter.restart();
    const Times start = now();
    Times lastMark = start;
    QString phase = QStringLiteral("from the start");
    const auto endPhase = [&](const Times& mark) {
        const long phasePeak = peakMegabytes();
        peak = std::max(peak, phasePeak);
        printPhase(phase, mark - lastMark, phasePeak);
        lastMark = mark;
        resetPeakMemory();
    };
    MessageLog::setEcho([&](const QString& line) {
        endPhase(now());
        phase = "from \"" + line.left(52) + (line.size() > 52 ? "...\"" : "\"");
    });
    const bool done = work();
    const Times end = now();
    MessageLog::setEcho({});
    endPhase(end);
    if (!done)
        qFatal("the work failed");
    return { end - start, peak, meter.longestMs() };
}

ImportFigures timeImport(const QString& baseName, QImage* corrected = nullptr)
{
    PreviewFeedback feedback;
    ElevationImport import(baseName, feedback);
    const ImportFigures figures = timePhases([&import] { return import.run(); });
    if (corrected)
        *corrected = std::move(feedback.corrected);
    return figures;
}

template <typename Work> Times timed(Work work)
{
    const Times start = now();
    work();
    return now() - start;
}

// The zlib stream of a PNG file and the size it inflates to.
std::pair<QByteArray, qsizetype> zlibStream(const QByteArray& png, const QImage& image)
{
    QByteArray stream;
    for (qsizetype at = 8; at + 8 <= png.size();) {
        const qsizetype length = qFromBigEndian<quint32>(png.constData() + at);
        if (png.mid(at + 4, 4) == "IDAT")
            stream += png.mid(at + 8, length);
        at += 12 + length;
    }
    const int bytesPerPixel = image.hasAlphaChannel() ? 4 : 3;
    return { stream, (qsizetype(image.width()) * bytesPerPixel + 1) * image.height() };
}

// Encodes a file the import wrote again with both writers, from the
// in-memory format the import saves it from, and decodes it; prints what
// inflating takes with zlib and with libdeflate.
void timeFile(const QString& fileName, QImage::Format format, PngWriter::Content content)
{
    const QString copy = fileName + "-copy.png";
    const QImage image = QImage(fileName).convertToFormat(format);
    const Times qtEncode = timed([&] {
        if (!image.save(copy))
            qFatal("cannot save %s", qPrintable(copy));
    });
    const Times encode = timed([&] {
        if (!PngWriter::save(image, copy, content))
            qFatal("cannot save %s", qPrintable(copy));
    });
    QFile::remove(copy);
    const Times decode = timed([&] {
        if (QImage(fileName).isNull())
            qFatal("cannot load %s", qPrintable(fileName));
    });
    const Times read = timed([&] {
        if (PngReader::read(fileName).isNull())
            qFatal("cannot load %s", qPrintable(fileName));
    });

    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(fileName));
    // Plain locals: lambdas cannot capture a structured binding everywhere.
    const std::pair<QByteArray, qsizetype> streamAndSize = zlibStream(file.readAll(), image);
    const QByteArray& stream = streamAndSize.first;
    std::vector<uchar> inflated(streamAndSize.second);
    const Times zlibInflate = timed([&] {
        uLongf size = inflated.size();
        uncompress(inflated.data(), &size, reinterpret_cast<const Bytef*>(stream.constData()), stream.size());
    });
    libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
    const Times libdeflateInflate = timed([&] {
        libdeflate_zlib_decompress(
            decompressor, stream.constData(), stream.size(), inflated.data(), inflated.size(), nullptr);
    });
    libdeflate_free_decompressor(decompressor);
    std::printf("  %-22s encode Qt %6.2f s, ours %6.2f s; decode Qt %6.2f s, ours %6.2f s; inflating "
                "with zlib %5.2f s, libdeflate %5.2f s\n",
        qPrintable(QFileInfo(fileName).fileName()), qtEncode.cpu, encode.cpu, decode.cpu, read.cpu,
        zlibInflate.cpu, libdeflateInflate.cpu);
}

struct OutputFile {
    const char* suffix;
    QImage::Format savedFrom;
    PngWriter::Content content;
};

const OutputFile outputFiles[] = {
    { "-el-uncorr.png", QImage::Format_RGB888, PngWriter::Content::Elevation },
    { "-el-m.png", QImage::Format_RGB888, PngWriter::Content::Mask },
    { "-el-corr.png", QImage::Format_RGB32, PngWriter::Content::Elevation },
    { "-el-col.png", QImage::Format_RGB32, PngWriter::Content::Picture },
};

// Both writers' files of one import: sizes and whether the pixels agree.
void compareFiles(const QString& qtBase, const QString& baseName)
{
    std::printf("Files (bytes, Qt's writer and ours):\n");
    for (const OutputFile& file : outputFiles) {
        const qint64 qtBytes = QFileInfo(qtBase + file.suffix).size();
        const qint64 bytes = QFileInfo(baseName + file.suffix).size();
        const bool same = QImage(qtBase + file.suffix) == QImage(baseName + file.suffix);
        std::printf("  %-22s %12lld %12lld  %+6.2f %%  pixels %s\n", file.suffix,
            static_cast<long long>(qtBytes), static_cast<long long>(bytes),
            100.0 * (bytes - qtBytes) / qtBytes, same ? "identical" : "DIFFER");
    }
}

// A GIS pipeline making the same two results: holes filled by inverse
// distance, the filled raster as a 16-bit PNG, and a colour-relief PNG.
// Processor time of the child processes, which run one after the other.
std::optional<Times> timeGisPipeline(const QString& baseName)
{
    const QString fill = QStandardPaths::findExecutable(QStringLiteral("gdal_fillnodata.py"));
    const QString translate = QStandardPaths::findExecutable(QStringLiteral("gdal_translate"));
    const QString dem = QStandardPaths::findExecutable(QStringLiteral("gdaldem"));
    if (fill.isEmpty() || translate.isEmpty() || dem.isEmpty())
        return std::nullopt;
    QFile colours(baseName + "-colours.txt");
    if (!colours.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(colours.fileName()));
    colours.write("nv 0 0 0\n0 0 0 255\n1000 0 255 0\n2000 255 255 0\n3000 255 0 0\n");
    colours.close();

    const QString filled = baseName + "-gis-filled.tif";
    const std::pair<QString, QStringList> steps[] = {
        { fill, { "-q", "-md", "100", baseName + ".bil", filled } },
        { translate, { "-q", "-of", "PNG", "-ot", "UInt16", filled, baseName + "-gis-el.png" } },
        { dem,
            { "color-relief", "-q", "-of", "PNG", filled, colours.fileName(), baseName + "-gis-col.png" } },
    };
    rusage before {};
    getrusage(RUSAGE_CHILDREN, &before);
    const Times start = now();
    for (const auto& [program, arguments] : steps) {
        QProcess process;
        process.start(program, arguments);
        if (!process.waitForFinished(30 * 60 * 1000) || process.exitCode() != 0)
            qFatal("%s failed: %s", qPrintable(program), process.readAllStandardError().constData());
    }
    const double wall = now().wall - start.wall;
    rusage after {};
    getrusage(RUSAGE_CHILDREN, &after);
    const auto seconds = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
    return Times { wall,
        seconds(after.ru_utime) - seconds(before.ru_utime) + seconds(after.ru_stime)
            - seconds(before.ru_stime) };
}

struct RasterResult {
    ImportFigures before;
    ImportFigures after;
    ImportFigures outputs;
    std::optional<Times> gis;
};

// All five additional outputs from the corrected elevations the import
// holds, as relka-import makes them, the heightmap for Unreal as in the
// demo settings; their sizes; and what reading the elevations back from
// their file adds, as a run does after its merge.
ImportFigures timeOutputs(const QString& baseName, QImage corrected)
{
    const OutputChoice choice { OutputChoice::parse(QStringLiteral("all")).value(),
        EnginePreset(EnginePreset::Engine::Unreal) };
    const ImportFigures figures
        = timePhases([&] { return AdditionalOutputs(baseName, choice).write(std::move(corrected)); });
    const Times reading = timed([&] { PngReader::read(baseName + "-el-corr.png"); });
    printPhase(QStringLiteral("reading the corrected elevations back"), reading, peakMegabytes());
    std::printf("Additional outputs (bytes):\n");
    for (const char* suffix :
        { "-el.tif", "-height16.png", "-height16.r16", "-height16.json", "-hillshade.png", "-normal.png" })
        std::printf("  %-22s %12lld\n", suffix, static_cast<long long>(QFileInfo(baseName + suffix).size()));
    return figures;
}

RasterResult benchmark(const RasterSize& size, QDir directory, bool keep)
{
    const QString name = size.nbits == 16 ? QStringLiteral("srtm") : QStringLiteral("ned");
    const QString baseName = directory.filePath(name);
    const QString qtBase = directory.filePath(name + "-qt");
    std::printf("\n=== %s: %d x %d samples of %d bits\n", size.name, size.cols, size.rows, size.nbits);
    const qint64 voidSamples = writeRaster(size, baseName);
    if (!QFile::link(baseName + ".bil", qtBase + ".bil") || !QFile::copy(baseName + ".hdr", qtBase + ".hdr"))
        qFatal("cannot link the raster");
    std::printf("%d voids, %lld void samples\n\n%-68s %9s %9s %10s\n", voidCount, voidSamples, "", "wall",
        "processor", "peak");

    RasterResult result;
    std::printf("Import phases, Qt's writer and reader:\n");
    PngWriter::setQtWriterOnly(true);
    PngReader::setQtReaderOnly(true);
    result.before = timeImport(qtBase);
    PngWriter::setQtWriterOnly(false);
    PngReader::setQtReaderOnly(false);
    std::printf("Import phases, PngWriter and PngReader:\n");
    QImage corrected;
    result.after = timeImport(baseName, &corrected);
    std::printf("Additional outputs:\n");
    result.outputs = timeOutputs(baseName, std::move(corrected));
    compareFiles(qtBase, baseName);
    std::printf("Files, processor seconds:\n");
    for (const OutputFile& file : outputFiles)
        timeFile(baseName + file.suffix, file.savedFrom, file.content);
    result.gis = timeGisPipeline(baseName);
    if (!keep)
        for (const QString& file : directory.entryList(QDir::Files))
            directory.remove(file);
    return result;
}

void printImport(const char* what, const ImportFigures& figures)
{
    std::printf("  %-40s %7.2f s %7.2f s %7ld MB %7lld ms\n", what, figures.times.wall, figures.times.cpu,
        figures.peakMegabytes, static_cast<long long>(figures.longestGapMs));
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    std::vector<const RasterSize*> sizes;
    if (!arguments.contains(QStringLiteral("--ned")))
        sizes.push_back(&srtm);
    if (!arguments.contains(QStringLiteral("--srtm")))
        sizes.push_back(&ned);

    QTemporaryDir temporary;
    const qsizetype keepAt = arguments.indexOf(QStringLiteral("--keep"));
    const QString directory
        = keepAt > 0 && keepAt + 1 < arguments.size() ? arguments.at(keepAt + 1) : temporary.path();
    if (!QDir().mkpath(directory))
        qFatal("no directory for the files");
    // The message log lands in the working directory.
    QDir::setCurrent(directory);

    std::vector<RasterResult> results;
    for (const RasterSize* size : sizes) {
        results.push_back(benchmark(*size, QDir(directory), keepAt > 0));
        std::fflush(stdout);
    }

    std::printf("\n%-42s %9s %9s %10s %10s\n", "Summary", "wall", "processor", "peak", "event gap");
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const RasterResult& result = results[i];
        std::printf("%s\n", sizes[i]->name);
        printImport("import, Qt's writer", result.before);
        printImport("import, PngWriter", result.after);
        std::printf("  %-40s %7.2f   %7.2f\n", "speed-up", result.before.times.wall / result.after.times.wall,
            result.before.times.cpu / result.after.times.cpu);
        printImport("additional outputs", result.outputs);
        std::printf("  %-40s %6.1f %%  %6.1f %%\n", "additional outputs / import, PngWriter",
            100 * result.outputs.times.wall / result.after.times.wall,
            100 * result.outputs.times.cpu / result.after.times.cpu);
        if (!result.gis) {
            std::printf("  GIS pipeline: gdal_fillnodata.py, gdal_translate or gdaldem not installed\n");
            continue;
        }
        std::printf("  %-40s %7.2f s %7.2f s\n", "GIS pipeline", result.gis->wall, result.gis->cpu);
        std::printf("  %-40s %7.2f   %7.2f\n", "import with PngWriter / GIS pipeline",
            result.after.times.wall / result.gis->wall, result.after.times.cpu / result.gis->cpu);
    }
    return 0;
}
