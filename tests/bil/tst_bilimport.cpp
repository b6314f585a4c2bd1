#include "bil/BilImport.h"

#include "RasterFixture.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "bil/ElevationImage.h"
#include "bil/MemoryBudget.h"
#include "bil/Palette.h"
#include "image/PngWriter.h"

#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <memory>

Q_DECLARE_METATYPE(RasterOptions)

namespace {

constexpr int nodataMarker = ElevationImage::minimumValue;

// Stored values of an elevation file, top row first; only those of the
// top-left block × block pixels when block is given.
QList<int> storedValues(const QString& fileName, int block = 0)
{
    const ElevationImage image(fileName);
    const int width = block > 0 ? std::min(block, image.width()) : image.width();
    const int height = block > 0 ? std::min(block, image.height()) : image.height();
    QList<int> values;
    for (int row = image.height() - 1; row >= image.height() - height; --row)
        for (int x = 0; x < width; ++x)
            values << static_cast<int>(image.elevation(x, row));
    return values;
}

// The answers one import needs, and what it logged, asked and reported.
struct ImportRun {
    explicit ImportRun(MessageBoxes::Button answer = MessageBoxes::Ok)
    {
        MessageLog::setEcho([this](const QString& line) { log << line; });
        MessageBoxes::setHandler([this, answer](MessageBoxes::Icon, QWidget*, const QString& title,
                                     const QString& text, MessageBoxes::Buttons) {
            boxes << title + "|" + text;
            return answer;
        });
    }
    ~ImportRun()
    {
        MessageLog::setEcho({});
        MessageBoxes::setHandler({});
    }
    bool run(const QString& baseName)
    {
        BilImport import(baseName, QSize(200, 200));
        QObject::connect(&import, &BilImport::progressChanged,
            [this](ImportFeedback::Stage stage, int value, int maximum) {
                progress[int(stage)] = QPoint(value, maximum);
            });
        QObject::connect(
            &import, &BilImport::previewReady, [this](const QImage& image) { previewImage = image; });
        QObject::connect(&import, &BilImport::savingChanged, [this](bool on) { saving = on; });
        return import.importBil();
    }

    // Per stage: value, maximum.
    QPoint progress[3];
    bool saving = false;
    QImage previewImage;
    QStringList log;
    QStringList boxes;
};

const QString sizeLine = QStringLiteral("Seamless: BIL file size is 0 kB.");
const QString colourLine = QStringLiteral("Seamless: Creating color file from elevation file.");

} // namespace

class TestBilImport : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> directory;
    QString base() const { return directory->filePath(QStringLiteral("r")); }

private slots:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        QVERIFY(directory->isValid());
    }

    void samples_data()
    {
        QTest::addColumn<int>("nbits");
        QTest::addColumn<RasterOptions>("options");
        QTest::addColumn<QList<double>>("samples");
        QTest::addColumn<QList<int>>("expected");
        const auto row = [](const char* name, int nbits, const RasterOptions& options,
                             const QList<double>& samples, const QList<int>& expected) {
            QTest::newRow(name) << nbits << options << samples << expected;
        };
        const RasterOptions m { .byteOrder = "M", .bigEndian = true };
        // The top-left 3 x 3 samples of rasters filled with 0; the image
        // is 15 x 15 (the last row and column are not imported), its
        // top-left 2 x 2 pixels are compared.
        row("8-bit", 8, {}, { 0, 1, 9, 200, 255, 9, 9, 9, 9 }, { 0, 256, 51200, 65280 });
        row("8-bit above the statistics maximum", 8, { .statistics = { { 0, 100 } } },
            { 0, 200, 9, 100, 40, 9, 9, 9, 9 }, { 0, -14336, 25600, 10240 });
        row("16-bit little-endian", 16, {}, { 1, -1, 9, 1234, 32767, 9, 9, 9, 9 },
            { 256, -256, 315904, 8388352 });
        row("16-bit M", 16, m, { 256, -2, 9, 1, -32767, 9, 9, 9, 9 }, { 65536, -512, 256, -8388352 });
        row("16-bit MOTOROLA", 16, { .byteOrder = "MOTOROLA", .bigEndian = true },
            { 256, 2, 9, 3, 4, 9, 9, 9, 9 }, { 65536, 512, 768, 1024 });
        // Bytes 01 00 under a word that is neither "m" nor "motorola".
        row("MSBFIRST read as little-endian", 16, { .byteOrder = "MSBFIRST", .bigEndian = true },
            { 1, 9, 9, 9, 9, 9, 9, 9, 9 }, { 65536, 589824, 589824, 589824 });
        row("32-bit little-endian", 32, {}, { 1234.5, -0.75, 9, 40000, -40000, 9, 9, 9, 9 },
            { 316032, -192, 8388607, -8388608 });
        // 1/512 m is half a stored step: rounded away from zero.
        row("32-bit big-endian", 32, m, { 0.001953125, -0.001953125, 9, 8848.86, -10.4, 9, 9, 9, 9 },
            { 1, -1, 2265308, -2662 });
    }

    void samples()
    {
        QFETCH(int, nbits);
        QFETCH(RasterOptions, options);
        QFETCH(QList<double>, samples);
        writeRaster(base(), smallestRaster, nbits, cornerRaster(samples, 3), options);
        ImportRun run;
        QVERIFY(run.run(base()));
        QTEST(storedValues(base() + "-el-corr.png", 2), "expected");
        QVERIFY(!QFile::exists(base() + "-el-uncorr.png"));
        QVERIFY(!QFile::exists(base() + "-el-m.png"));
    }

    void normalRun()
    {
        writeRaster(base(), smallestRaster, 16, cornerRaster({ 10, -3, 0, 1234, 7, 0, 0, 0, 0 }, 3));
        ImportRun run;
        QVERIFY(run.run(base()));
        QCOMPARE(run.log,
            (QStringList { sizeLine, "Seamless: NODATA value = 0",
                "Seamless: Range of elevations written to the output file: -3 ... 1234", colourLine }));
        QVERIFY(run.boxes.isEmpty());
        QCOMPARE(run.progress[0], QPoint(15, 15));
        QCOMPARE(run.progress[1], QPoint(1, 1));
        QCOMPARE(run.progress[2], QPoint(15, 15));
        QVERIFY(!run.saving);
        // The same lines, time-stamped, in the message log of the working directory.
        QFile log(QDir::current().filePath("messages.txt"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().endsWith(": " + colourLine.toLatin1() + "\r\n"));
        // Default palette range 0 ... 8000 m over 960 colours: 10, -3, 1234 and 7 m.
        const Palette palette;
        const QImage colours(base() + "-el-col.png");
        QCOMPARE(colours.size(), QSize(15, 15));
        const int indices[] = { 1, 0, 148, 0 };
        for (int i = 0; i < 4; ++i)
            QCOMPARE(colours.pixel(i % 2, i / 2), palette.color(indices[i]));
    }

    void holeIsFilledFromItsBorder()
    {
        QList<double> samples(smallestRaster * smallestRaster, 100.0);
        samples[17] = samples[18] = -9999;
        samples[19] = 300;
        writeRaster(base(), smallestRaster, 16, samples, { .nodata = -9999 });
        ImportRun run;
        QVERIFY(run.run(base()));
        QList<int> uncorrected(15 * 15, 25600);
        uncorrected[16] = uncorrected[17] = nodataMarker;
        uncorrected[18] = 76800;
        QCOMPARE(storedValues(base() + "-el-uncorr.png"), uncorrected);
        const QImage mask(base() + "-el-m.png");
        QCOMPARE(mask.size(), QSize(15, 15));
        for (int i = 0; i < uncorrected.size(); ++i)
            QCOMPARE(mask.pixel(i % 15, i / 15), uncorrected[i] == nodataMarker ? 0xFF000000u : 0xFFFFFFFFu);
        const QList<int> corrected = storedValues(base() + "-el-corr.png");
        QVERIFY(corrected[16] > 25600 && corrected[17] > corrected[16] && corrected[17] < 76800);
        QCOMPARE(corrected.mid(18), uncorrected.mid(18));
        QCOMPARE(run.progress[1].y(), 16);
    }

    // 1000 x 1000 imported pixels, every one of them NODATA but perhaps one.
    void nodataLimit_data()
    {
        QTest::addColumn<bool>("oneValidSample");
        QTest::addColumn<int>("filled");
        QTest::addColumn<QString>("line");
        QTest::newRow("999,999 are interpolated")
            << true << 7 * 256 << "Seamless: Removing NODATA areas by interpolation.";
        QTest::newRow("1,000,000 become zero")
            << false << 0
            << "Seamless: Too many NODATA pixels (1000000) in the elevation file. Setting them to zero.";
    }

    void nodataLimit()
    {
        QFETCH(bool, oneValidSample);
        QFETCH(int, filled);
        QList<double> samples(1001 * 1001, -1.0);
        if (oneValidSample)
            samples[500 * 1001 + 500] = 7;
        writeRaster(base(), 1001, 16, samples, { .nodata = -1 });
        ImportRun run;
        QVERIFY(run.run(base()));
        QTEST(run.log.at(4), "line");
        QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(1000000, filled));
        QVERIFY(QFile::exists(base() + "-el-m.png"));
    }

    void everySampleNodata()
    {
        writeRaster(base(), smallestRaster, 32, QList<double>(smallestRaster * smallestRaster, -3.5),
            { .nodata = -3.5 });
        ImportRun run;
        QVERIFY(run.run(base()));
        QCOMPARE(run.log.at(2),
            "Seamless: Range of elevations written to the output file: 1.32923e+36 ... -1.32923e+36");
        // One spot without a border is left as it is.
        QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(15 * 15, nodataMarker));
    }

    void tiffWrappedRaster_data()
    {
        QTest::addColumn<QByteArray>("prefix");
        QTest::addColumn<MessageBoxes::Button>("answer");
        QTest::addColumn<QList<int>>("imported"); // empty: nothing imported
        const QByteArray wgs84 = QByteArrayLiteral("#WGS 84|\0");
        const QByteArray nad83 = QByteArrayLiteral("#NAD83|\0");
        const QList<int> samples { 11 * 256, 12 * 256, 21 * 256, 22 * 256 };
        // Without a marker the import starts at byte 0: "II" is the first
        // little-endian sample; the second row of 32 bytes starts among the
        // zeros of the raster's first row.
        const QList<int> fromStart { 0x4949 * 256, 0x2a * 256, 0, 0 };
        const auto row
            = [](const char* name, const QByteArray& prefix, MessageBoxes::Button answer,
                  const QList<int>& imported) { QTest::newRow(name) << prefix << answer << imported; };
        row("WGS 84 marker", tiffPrefix(996, wgs84), MessageBoxes::No, samples);
        row("NAD83 marker", tiffPrefix(10, nad83), MessageBoxes::No, samples);
        row("both, WGS 84 wins", tiffPrefix(0, nad83 + wgs84), MessageBoxes::No, samples);
        // The search covers file bytes 4 ... 999,999.
        row("marker ends at byte 999,999", tiffPrefix(999987, wgs84), MessageBoxes::No, samples);
        row("marker beyond, answered No", tiffPrefix(999988, wgs84), MessageBoxes::No, {});
        row("marker without zero byte, answered No", tiffPrefix(20, wgs84.left(8)), MessageBoxes::No, {});
        row("no marker, answered Yes", tiffPrefix(20, {}), MessageBoxes::Yes, fromStart);
    }

    void tiffWrappedRaster()
    {
        QFETCH(QByteArray, prefix);
        QFETCH(MessageBoxes::Button, answer);
        QFETCH(QList<int>, imported);
        writeRaster(base(), smallestRaster, 16, cornerRaster({ 11, 12, 0, 21, 22, 0, 0, 0, 0 }, 3),
            { .prefix = prefix });
        ImportRun run(answer);
        QCOMPARE(run.run(base()), !imported.isEmpty());
        const bool asked = imported.isEmpty() || imported.first() == 0x4949 * 256;
        QCOMPARE(run.boxes,
            asked
                ? QStringList { "Warning|The BIL file begins with \"II*\", which requires the \"WGS 84\" "
                                "keyword\n"
                                "to locate the beginning of the elevation data block in the BIL file.\n"
                                "That keyword could not be located. An import can only be attempted\n"
                                "beginning at the first byte, most probably leading to incorrect results.\n\n"
                                "Proceed anyway?" }
                : QStringList());
        if (imported.isEmpty())
            QCOMPARE(run.log, QStringList { sizeLine });
        QCOMPARE(storedValues(base() + "-el-corr.png", 2), imported);
    }

    void failedSaves()
    {
        // A directory in the place of the corrected file: the filler cannot
        // save it, and the colouring step cannot load it.
        writeRaster(base(), smallestRaster, 16, cornerRaster({ 1, -9999, 0, 2, 3, 0, 0, 0, 0 }, 3),
            { .nodata = -9999 });
        QVERIFY(QDir().mkdir(base() + "-el-corr.png"));
        ImportRun run;
        QVERIFY(!run.run(base()));
        QCOMPARE(run.log.mid(5),
            (QStringList { "Seamless: Problems during NODATA area removal:",
                "Error: Cannot save output file \"" + base() + "-el-corr.png\".", colourLine,
                "Seamless error: Could not open file " + base() + "-el-corr.png" }));

        // Without NODATA the import saves the corrected file itself.
        writeRaster(base(), smallestRaster, 16, cornerRaster({}, 3, 1.0));
        ImportRun second;
        QVERIFY(!second.run(base()));
        QCOMPARE(second.log.last(), "Seamless: Could not save file " + base() + "-el-corr.png.");
        QVERIFY(!second.saving);
    }

    // The uncorrected image and the mask are encoded together; the log and
    // the files are still those of saving one after the other.
    void failedSaveOfUncorrectedOrMask_data()
    {
        QTest::addColumn<QString>("blocked");
        QTest::addColumn<bool>("maskLine");
        QTest::newRow("uncorrected") << QStringLiteral("-el-uncorr.png") << false;
        QTest::newRow("mask") << QStringLiteral("-el-m.png") << true;
    }

    void failedSaveOfUncorrectedOrMask()
    {
        QFETCH(QString, blocked);
        QFETCH(bool, maskLine);
        writeRaster(base(), smallestRaster, smallestRaster, cornerRaster({ 1, -9999, 0, 2, 3, 0 }, 3),
            { .nodata = -9999 });
        QVERIFY(QDir().mkdir(base() + blocked));
        ImportRun run;
        QVERIFY(!run.run(base()));
        QStringList tail;
        if (maskLine)
            tail << QStringLiteral("Seamless: Creating mask file indicating NODATA areas.");
        tail << "Seamless: Could not save file " + base() + blocked + ".";
        QCOMPARE(run.log.mid(3), tail);
        QVERIFY(!QFile::exists(base() + "-el-m.png") || blocked == "-el-m.png");
        QVERIFY(QFile::exists(base() + "-el-uncorr.png"));
        QVERIFY(!run.saving);
    }

    void previewIsScaledToTheLabel()
    {
        writeRaster(base(), 101, 16, QList<double>(101 * 101, 5.0));
        ImportRun run;
        QVERIFY(run.run(base()));
        // 100 x 100 pixels narrowed by cos(41°) to 75 x 100, then fitted into 200 x 200.
        QCOMPARE(run.previewImage.size(), QSize(150, 200));
    }

    // A data file shorter than its header: what is missing reads as 0, and
    // the log says so once when the import needs any of it.
    void shortDataFile_data()
    {
        QTest::addColumn<int>("samples");
        QTest::addColumn<QList<int>>("corner"); // top-left 2 x 2 stored values
        QTest::addColumn<QString>("line"); // empty: none
        QTest::newRow("one sample into the second row")
            << smallestRaster + 1 << QList<int> { 0, 256, 4096, 0 }
            << "Seamless: The BIL file holds 34 bytes, fewer than the 512 its header declares; the missing "
               "samples are read as 0.";
        QTest::newRow("empty") << 0 << QList<int> { 0, 0, 0, 0 }
                               << "Seamless: The BIL file holds 0 bytes, fewer than the 512 its header "
                                  "declares; the missing samples are read as 0.";
        // The last row is never imported.
        QTest::newRow("without the last row")
            << smallestRaster * (smallestRaster - 1) << QList<int> { 0, 256, 4096, 4352 } << QString();
    }

    void shortDataFile()
    {
        QFETCH(int, samples);
        QList<double> values;
        for (int i = 0; i < samples; ++i)
            values << i % 256;
        writeRaster(base(), smallestRaster, 16, values);
        ImportRun run;
        QVERIFY(run.run(base()));
        QTEST(storedValues(base() + "-el-corr.png", 2), "corner");
        QFETCH(QString, line);
        QCOMPARE(run.log.filter("BIL file holds"), line.isEmpty() ? QStringList() : QStringList { line });
    }

    // Headers that pass validation with values far from any real raster's:
    // the import ends, with the image size they give, or with a line.
    void extremeHeaders_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QSize>("size"); // of the corrected image; empty: the import fails
        QTest::addColumn<QString>("line"); // the last line logged
        const QByteArray raster("NROWS 20\nNCOLS 16\nNBITS 16\nULXMAP 10\n");
        const QString colourLine = QStringLiteral("Seamless: Creating color file from elevation file.");
        QTest::newRow("huge pixel height") << raster + "ULYMAP 50\nXDIM 1\nYDIM 1e305\n"
                                           << QSize(15, 19) << colourLine;
        QTest::newRow("extent beyond the doubles") << raster + "ULYMAP 50\nXDIM 1\nYDIM 1.7e308\n"
                                                   << QSize(15, 19) << colourLine;
        QTest::newRow("far north") << raster + "ULYMAP 1e308\nXDIM 1\nYDIM 1\n"
                                   << QSize(15, 19) << colourLine;
        QTest::newRow("far south") << raster + "ULYMAP -1.7e308\nXDIM 1\nYDIM 1\n"
                                   << QSize(15, 19) << colourLine;
        QTest::newRow("tiny pixel height")
            << raster + "ULYMAP 50\nXDIM 1\nYDIM 1e-300\n"
            << QSize()
            << "Seamless error: The header's pixel sizes leave an empty elevation image (15 x 0 pixels).";
        // 1.9e-6 of extent rounds to 2e-6: 20 pixels of 1e-7, beyond the raster's 20 rows.
        QTest::newRow("pixels below a millionth") << raster + "ULYMAP 50\nXDIM 1\nYDIM 1e-7\n"
                                                  << QSize(15, 20) << colourLine;
    }

    void extremeHeaders()
    {
        QFETCH(QByteArray, header);
        QFETCH(QSize, size);
        writeFile(base() + ".bil", QByteArray(20 * 16 * 2, '\1'));
        writeFile(base() + ".hdr", header);
        ImportRun run;
        QCOMPARE(run.run(base()), !size.isEmpty());
        QTEST(run.log.last(), "line");
        QCOMPARE(QImage(base() + "-el-col.png").size(), size.isEmpty() ? QSize(0, 0) : size);
        QVERIFY(run.boxes.isEmpty());
    }

    // NaN samples are voids: filled from their border like NODATA, also
    // when the header names no NODATA value.
    void nanSamples_data()
    {
        QTest::addColumn<RasterOptions>("options");
        QTest::newRow("no NODATA value") << RasterOptions {};
        QTest::newRow("another NODATA value") << RasterOptions { .nodata = -9999 };
    }

    void nanSamples()
    {
        QFETCH(RasterOptions, options);
        QList<double> samples(smallestRaster * smallestRaster, 100.0);
        samples[17] = std::nan("");
        writeRaster(base(), smallestRaster, 32, samples, options);
        ImportRun run;
        QVERIFY(run.run(base()));
        QCOMPARE(
            storedValues(base() + "-el-uncorr.png", 2), (QList<int> { 25600, 25600, 25600, nodataMarker }));
        QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(15 * 15, 25600));
        QCOMPARE(QImage(base() + "-el-m.png").pixel(1, 1), 0xFF000000u);
        QVERIFY(run.log.contains("Seamless: Range of elevations written to the output file: 100 ... 100"));
    }

    // An image beyond the memory the machine has is not made.
    void outOfMemory()
    {
        writeRaster(base(), smallestRaster, 16, QList<double>(smallestRaster * smallestRaster, 1.0));
        // 15 x 15 pixels need 2700 bytes at the import's peak.
        MemoryBudget::setBytes(2699);
        ImportRun run;
        const bool imported = run.run(base());
        MemoryBudget::setBytes(0);
        QVERIFY(!imported);
        QCOMPARE(run.log.last(),
            "Seamless error: An elevation image of 15 x 15 pixels needs more memory than this machine has.");
        QVERIFY(!QFile::exists(base() + "-el-corr.png"));
        MemoryBudget::setBytes(2700);
        ImportRun second;
        const bool fits = second.run(base());
        MemoryBudget::setBytes(0);
        QVERIFY(fits);
    }

    void imagesBeyondTheReaderLimit()
    {
        // Qt refuses to decode images beyond a limit (128 MB by default, less
        // than the largest rasters need); here it is lowered to 1 MB instead.
        const int defaultLimit = QImageReader::allocationLimit();
        QImageReader::setAllocationLimit(1);
        QList<double> samples(701 * 701, 20.0);
        samples[350 * 701 + 350] = -1;
        writeRaster(base(), 701, 16, samples, { .nodata = -1 });
        ImportRun run;
        const bool imported = run.run(base());
        QImageReader::setAllocationLimit(defaultLimit);
        QVERIFY(imported);
        QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(700 * 700, 20 * 256));
    }

    void filesMatchQtsWriter_data()
    {
        QTest::addColumn<int>("nbits");
        QTest::addColumn<bool>("voids");
        QTest::newRow("16-bit with voids") << 16 << true;
        QTest::newRow("32-bit with voids") << 32 << true;
        QTest::newRow("16-bit without NODATA") << 16 << false;
    }

    // The same raster imported with every file going to Qt's writer: each
    // file decodes to the same pixels and is at most 2 % larger.
    void filesMatchQtsWriter()
    {
        QFETCH(int, nbits);
        QFETCH(bool, voids);
        constexpr int size = 401;
        QRandomGenerator random(7);
        QList<double> samples;
        for (int row = 0; row < size; ++row) {
            for (int column = 0; column < size; ++column) {
                const bool inVoid = voids
                    && (std::hypot(column - 100, row - 150) < 30 || std::hypot(column - 300, row - 320) < 8);
                const double metres = 1400 + 900 * std::sin(column * 0.02) * std::cos(row * 0.03)
                    + 150 * std::cos((3 * column - row) * 0.037) + 2 * random.generateDouble();
                samples << (inVoid ? -9999.0 : nbits == 16 ? std::round(metres) : metres);
            }
        }
        const QString qtBase = directory->filePath(QStringLiteral("qt"));
        const RasterOptions options { .nodata = voids ? std::optional(-9999.0) : std::nullopt };
        writeRaster(base(), size, nbits, samples, options);
        writeRaster(qtBase, size, nbits, samples, options);
        {
            PngWriter::setQtWriterOnly(true);
            const auto restore = qScopeGuard([] { PngWriter::setQtWriterOnly(false); });
            QVERIFY(ImportRun().run(qtBase));
        }
        QVERIFY(ImportRun().run(base()));

        QStringList suffixes { "-el-corr.png", "-el-col.png" };
        if (voids)
            suffixes << "-el-uncorr.png"
                     << "-el-m.png";
        QStringList larger;
        for (const QString& suffix : suffixes) {
            const QImage ours(base() + suffix);
            QVERIFY(!ours.isNull());
            QCOMPARE(ours, QImage(qtBase + suffix));
            const qint64 bytes = QFileInfo(base() + suffix).size();
            const qint64 qtBytes = QFileInfo(qtBase + suffix).size();
            if (bytes > qtBytes * 1.02)
                larger << QStringLiteral("%1: %2 bytes, Qt %3").arg(suffix).arg(bytes).arg(qtBytes);
        }
        QVERIFY2(larger.isEmpty(), qPrintable(larger.join(u"; ")));
    }
};

QTEST_GUILESS_MAIN(TestBilImport)
#include "tst_bilimport.moc"
