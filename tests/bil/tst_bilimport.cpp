#include "bil/BilImport.h"

#include "RasterFixture.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "bil/ElevationImage.h"
#include "bil/Palette.h"

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QLabel>
#include <QProgressBar>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include <memory>

namespace {

constexpr int nodataMarker = ElevationImage::minimumValue;

// Stored values of an elevation file, top row first.
QList<int> storedValues(const QString& fileName)
{
    ElevationImage image;
    if (!image.load(fileName))
        return {};
    QList<int> values;
    for (int row = image.height() - 1; row >= 0; --row)
        for (int x = 0; x < image.width(); ++x)
            values << static_cast<int>(image.elevation(x, row));
    return values;
}

// The widgets and answers one import needs, and what it logged and asked.
struct ImportRun {
    explicit ImportRun(QMessageBox::StandardButton answer = QMessageBox::Ok)
    {
        preview.resize(200, 200);
        MessageLog::setEcho([this](const QString& line) { log << line; });
        MessageBoxes::setHandler([this, answer](QMessageBox::Icon, QWidget*, const QString& title,
                                     const QString& text, QMessageBox::StandardButtons) {
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
        BilImport import(baseName, &reading, &correcting, &coloring, &preview, previewImage, &window);
        return import.importBil();
    }

    QWidget window;
    QProgressBar reading { &window };
    QProgressBar correcting { &window };
    QProgressBar coloring { &window };
    QLabel preview { &window };
    QImage previewImage;
    QStringList log;
    QStringList boxes;
};

} // namespace

class TestBilImport : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        QVERIFY(directory->isValid());
    }

    void samples_data();
    void samples();
    void colorFileFollowsThePalette();
    void logOfANormalRun();
    void holeIsFilledFromItsBorder();
    void nodataLimit_data();
    void nodataLimit();
    void everySampleNodata();
    void tiffWrappedRaster_data();
    void tiffWrappedRaster();
    void missingInputs_data();
    void missingInputs();
    void failedSaves();
    void previewIsScaledToTheLabel();
    void imagesBeyondTheReaderLimit();

private:
    QString base() const { return directory->filePath(QStringLiteral("r")); }

    std::unique_ptr<QTemporaryDir> directory;
};

void TestBilImport::samples_data()
{
    QTest::addColumn<int>("nbits");
    QTest::addColumn<QString>("byteOrder");
    QTest::addColumn<QSysInfo::Endian>("written");
    QTest::addColumn<QList<double>>("samples");
    QTest::addColumn<QList<int>>("expected");

    // 3 x 3 rasters: the last row and column are not imported.
    const auto le = QSysInfo::LittleEndian;
    const auto be = QSysInfo::BigEndian;
    QTest::newRow("8-bit") << 8 << "I" << le << QList<double> { 0, 1, 9, 200, 255, 9, 9, 9, 9 }
                           << QList<int> { 0, 256, 51200, 65280 };
    QTest::newRow("16-bit little-endian")
        << 16 << "I" << le << QList<double> { 1, -1, 9, 1234, 32767, 9, 9, 9, 9 }
        << QList<int> { 256, -256, 315904, 8388352 };
    QTest::newRow("16-bit big-endian M")
        << 16 << "M" << be << QList<double> { 256, -2, 9, 1, -32767, 9, 9, 9, 9 }
        << QList<int> { 65536, -512, 256, -8388352 };
    QTest::newRow("16-bit big-endian motorola")
        << 16 << "MOTOROLA" << be << QList<double> { 256, 2, 9, 3, 4, 9, 9, 9, 9 }
        << QList<int> { 65536, 512, 768, 1024 };
    // Bytes 01 00 under a word that is neither "m" nor "motorola".
    QTest::newRow("MSBFIRST read as little-endian")
        << 16 << "MSBFIRST" << be << QList<double> { 1, 9, 9, 9, 9, 9, 9, 9, 9 }
        << QList<int> { 65536, 589824, 589824, 589824 };
    QTest::newRow("32-bit float little-endian")
        << 32 << "I" << le << QList<double> { 1234.5, -0.75, 9, 40000, -40000, 9, 9, 9, 9 }
        << QList<int> { 316032, -192, 8388607, -8388608 };
    // 1/512 m is half a stored step: rounded away from zero.
    QTest::newRow("32-bit float big-endian")
        << 32 << "M" << be << QList<double> { 0.001953125, -0.001953125, 9, 8848.86, -10.4, 9, 9, 9, 9 }
        << QList<int> { 1, -1, 2265308, -2662 };
    QTest::newRow("short data file") << 16 << "I" << le << QList<double> { 5, 6, 7, 8 }
                                     << QList<int> { 1280, 1536, 2048, 0 };
}

void TestBilImport::samples()
{
    QFETCH(int, nbits);
    QFETCH(QString, byteOrder);
    QFETCH(QSysInfo::Endian, written);
    QFETCH(QList<double>, samples);
    QFETCH(QList<int>, expected);
    RasterFixture(3, 3, nbits, samples).byteOrder(byteOrder, written).write(base());

    ImportRun run;
    QVERIFY(run.run(base()));
    QCOMPARE(storedValues(base() + "-el-corr.png"), expected);
    QVERIFY(!QFile::exists(base() + "-el-uncorr.png"));
    QVERIFY(!QFile::exists(base() + "-el-m.png"));
    QCOMPARE(QImage(base() + "-el-col.png").size(), QSize(2, 2));
}

void TestBilImport::colorFileFollowsThePalette()
{
    // 8-bit bytes above the statistics maximum are negative elevations.
    RasterFixture(3, 3, 8, { 0, 200, 9, 100, 40, 9, 9, 9, 9 }).worldFile().statistics(0, 100).write(base());
    ImportRun run;
    QVERIFY(run.run(base()));
    QCOMPARE(storedValues(base() + "-el-corr.png"), (QList<int> { 0, -14336, 25600, 10240 }));

    // Default palette range 0 ... 8000 m over 960 colours.
    const Palette palette;
    const QImage colors(base() + "-el-col.png");
    QCOMPARE(colors.pixel(0, 0), palette.color(0));
    QCOMPARE(colors.pixel(1, 0), palette.color(0));
    QCOMPARE(colors.pixel(0, 1), palette.color(12));
    QCOMPARE(colors.pixel(1, 1), palette.color(4));
}

void TestBilImport::logOfANormalRun()
{
    RasterFixture(3, 3, 16, { 10, -3, 0, 1234, 7, 0, 0, 0, 0 }).write(base());
    ImportRun run;
    QVERIFY(run.run(base()));
    QCOMPARE(run.log,
        (QStringList { "Seamless: BIL file size is 0 kB.", "Seamless: NODATA value = 0",
            "Seamless: Range of elevations written to the output file: -3 ... 1234",
            "Seamless: Creating color file from elevation file." }));
    QVERIFY(run.boxes.isEmpty());

    QCOMPARE(run.reading.maximum(), 2);
    QCOMPARE(run.reading.value(), 2);
    QCOMPARE(run.correcting.maximum(), 1);
    QCOMPARE(run.correcting.value(), 1);
    QCOMPARE(run.coloring.maximum(), 2);
    QCOMPARE(run.coloring.value(), 2);
    QCOMPARE(run.window.cursor().shape(), Qt::ArrowCursor);

    // The same lines, time-stamped, in the message log of the working directory.
    QFile log(QDir::current().filePath("messages.txt"));
    QVERIFY(log.open(QIODevice::ReadOnly));
    QVERIFY(log.readAll().endsWith(": Seamless: Creating color file from elevation file.\r\n"));
}

void TestBilImport::holeIsFilledFromItsBorder()
{
    QList<double> samples(25, 100.0);
    samples[6] = -9999;
    samples[7] = -9999;
    samples[8] = 300;
    RasterFixture(5, 5, 16, samples).nodata(-9999).write(base());

    ImportRun run;
    QVERIFY(run.run(base()));
    QCOMPARE(run.log,
        (QStringList { "Seamless: BIL file size is 0 kB.", "Seamless: NODATA value = -9999",
            "Seamless: Range of elevations written to the output file: 100 ... 300",
            "Seamless: Creating mask file indicating NODATA areas.",
            "Seamless: Removing NODATA areas by interpolation.",
            "Seamless: Creating color file from elevation file." }));

    QList<int> uncorrected(16, 25600);
    uncorrected[5] = uncorrected[6] = nodataMarker;
    uncorrected[7] = 76800;
    QCOMPARE(storedValues(base() + "-el-uncorr.png"), uncorrected);

    const QImage mask(base() + "-el-m.png");
    QCOMPARE(mask.size(), QSize(4, 4));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            QCOMPARE(mask.pixel(x, y), y == 1 && (x == 1 || x == 2) ? 0xFF000000u : 0xFFFFFFFFu);

    const QList<int> corrected = storedValues(base() + "-el-corr.png");
    QCOMPARE(corrected.count(nodataMarker), 0);
    QVERIFY(corrected[5] > 25600 && corrected[6] > corrected[5] && corrected[6] < 76800);
    QCOMPARE(run.correcting.maximum(), 5);
    QCOMPARE(run.correcting.value(), 4);
}

void TestBilImport::nodataLimit_data()
{
    QTest::addColumn<bool>("oneValidSample");
    QTest::addColumn<int>("filled");
    QTest::addColumn<QString>("line");
    // 1000 x 1000 imported pixels, every one of them NODATA but perhaps one.
    QTest::newRow("999,999 are interpolated")
        << true << 7 * 256 << "Seamless: Removing NODATA areas by interpolation.";
    QTest::newRow("1,000,000 become zero")
        << false << 0
        << "Seamless: Too many NODATA pixels (1000000) in the elevation file. Setting them to zero.";
}

void TestBilImport::nodataLimit()
{
    QFETCH(bool, oneValidSample);
    QFETCH(int, filled);
    QFETCH(QString, line);
    QList<double> samples(1001 * 1001, -1.0);
    if (oneValidSample)
        samples[500 * 1001 + 500] = 7;
    RasterFixture(1001, 1001, 16, samples).nodata(-1).write(base());

    ImportRun run;
    QVERIFY(run.run(base()));
    QCOMPARE(run.log.at(4), line);
    QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(1000000, filled));
    QVERIFY(QFile::exists(base() + "-el-m.png"));
    if (!oneValidSample) {
        QCOMPARE(run.correcting.maximum(), 1);
        QCOMPARE(run.correcting.value(), 1);
    }
}

void TestBilImport::everySampleNodata()
{
    RasterFixture(3, 3, 32, QList<double>(9, -3.5)).nodata(-3.5).write(base());
    ImportRun run;
    QVERIFY(run.run(base()));
    QCOMPARE(run.log.at(2),
        "Seamless: Range of elevations written to the output file: 1.32923e+36 ... -1.32923e+36");
    // One spot without a border is left as it is.
    QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(4, nodataMarker));
}

void TestBilImport::tiffWrappedRaster_data()
{
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    QTest::addColumn<bool>("imported");
    QTest::addColumn<bool>("asked");

    const QByteArray wgs84 = QByteArrayLiteral("#WGS 84|\0");
    const QByteArray nad83 = QByteArrayLiteral("#NAD83|\0");
    QTest::newRow("WGS 84 marker") << RasterFixture::tiffPrefix(996, wgs84) << QMessageBox::No << true
                                   << false;
    QTest::newRow("NAD83 marker") << RasterFixture::tiffPrefix(10, nad83) << QMessageBox::No << true << false;
    QTest::newRow("both, WGS 84 wins")
        << RasterFixture::tiffPrefix(0, nad83 + wgs84) << QMessageBox::No << true << false;
    // The search covers file bytes 4 ... 999,999.
    QTest::newRow("marker ends at byte 999,999")
        << RasterFixture::tiffPrefix(999987, wgs84) << QMessageBox::No << true << false;
    QTest::newRow("marker beyond, answered No")
        << RasterFixture::tiffPrefix(999988, wgs84) << QMessageBox::No << false << true;
    QTest::newRow("marker without zero byte, answered No")
        << RasterFixture::tiffPrefix(20, wgs84.left(8)) << QMessageBox::No << false << true;
    QTest::newRow("no marker, answered Yes")
        << RasterFixture::tiffPrefix(20, {}) << QMessageBox::Yes << true << true;
}

void TestBilImport::tiffWrappedRaster()
{
    QFETCH(QByteArray, prefix);
    QFETCH(QMessageBox::StandardButton, answer);
    QFETCH(bool, imported);
    QFETCH(bool, asked);
    const QList<double> samples { 11, 12, 0, 21, 22, 0, 0, 0, 0 };
    RasterFixture(3, 3, 16, samples).prefix(prefix).write(base());

    ImportRun run(answer);
    QCOMPARE(run.run(base()), imported);
    if (asked) {
        QCOMPARE(run.boxes,
            QStringList { "Warning|The BIL file begins with \"II*\", which requires the \"WGS 84\" keyword\n"
                          "to locate the beginning of the elevation data block in the BIL file.\n"
                          "That keyword could not be located. An import can only be attempted\n"
                          "beginning at the first byte, most probably leading to incorrect results.\n\n"
                          "Proceed anyway?" });
    } else {
        QVERIFY(run.boxes.isEmpty());
    }
    if (!imported) {
        QCOMPARE(run.log, QStringList { "Seamless: BIL file size is 0 kB." });
        QVERIFY(!QFile::exists(base() + "-el-corr.png"));
    } else if (asked) {
        // Read from byte 0: "II" is the first little-endian sample.
        QCOMPARE(storedValues(base() + "-el-corr.png").first(), 0x4949 * 256);
    } else {
        QCOMPARE(
            storedValues(base() + "-el-corr.png"), (QList<int> { 11 * 256, 12 * 256, 21 * 256, 22 * 256 }));
    }
}

void TestBilImport::missingInputs_data()
{
    QTest::addColumn<bool>("withData");
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QString>("missing");
    QTest::addColumn<int>("boxCount");

    QTest::newRow("no data file") << false << QByteArray("NROWS 3\n") << ".bil" << 0;
    QTest::newRow("no header") << true << QByteArray() << ".hdr" << 0;
    QTest::newRow("header fails validation") << true << QByteArray("NROWS 3\nNCOLS 3\n") << ".hdr" << 1;
}

void TestBilImport::missingInputs()
{
    QFETCH(bool, withData);
    QFETCH(QByteArray, header);
    QFETCH(QString, missing);
    QFETCH(int, boxCount);
    // 17 bytes fit no sample width, so the header guesses none.
    if (withData)
        RasterFixture::writeFile(base() + ".bil", QByteArray(17, '\0'));
    if (!header.isEmpty())
        RasterFixture::writeFile(base() + ".hdr", header);

    ImportRun run;
    QVERIFY(!run.run(base()));
    QCOMPARE(run.log, QStringList { "Seamless error: importBIL() could not read " + base() + missing });
    QCOMPARE(run.boxes.size(), boxCount);
}

void TestBilImport::failedSaves()
{
    // A directory in the place of the corrected file: the filler cannot save
    // it, and the colouring step cannot load it.
    RasterFixture(3, 3, 16, { 1, -9999, 0, 2, 3, 0, 0, 0, 0 }).nodata(-9999).write(base());
    QVERIFY(QDir().mkdir(base() + "-el-corr.png"));
    ImportRun run;
    QVERIFY(!run.run(base()));
    QCOMPARE(run.log.mid(5),
        (QStringList { "Seamless: Problems during NODATA area removal:",
            "Error: Cannot save output file \"" + base() + "-el-corr.png\".",
            "Seamless: Creating color file from elevation file.",
            "Seamless error: Could not open file " + base() + "-el-corr.png" }));

    // Without NODATA the import saves the corrected file itself.
    RasterFixture(3, 3, 16, QList<double>(9, 1.0)).write(base());
    ImportRun second;
    QVERIFY(!second.run(base()));
    QCOMPARE(second.log.last(), "Seamless: Could not save file " + base() + "-el-corr.png.");
    QCOMPARE(second.window.cursor().shape(), Qt::ArrowCursor);
}

void TestBilImport::previewIsScaledToTheLabel()
{
    RasterFixture(101, 101, 16, QList<double>(101 * 101, 5.0)).write(base());
    ImportRun run;
    QVERIFY(run.run(base()));
    // 100 x 100 pixels narrowed by cos(41°) to 75 x 100, then fitted into 200 x 200.
    QCOMPARE(run.previewImage.size(), QSize(150, 200));
    QCOMPARE(run.preview.pixmap().size(), QSize(150, 200));
}

void TestBilImport::imagesBeyondTheReaderLimit()
{
    // Qt refuses to decode images beyond a limit (128 MB by default, less
    // than the largest rasters need); here it is lowered to 1 MB instead.
    const int defaultLimit = QImageReader::allocationLimit();
    QImageReader::setAllocationLimit(1);
    QList<double> samples(701 * 701, 20.0);
    samples[350 * 701 + 350] = -1;
    RasterFixture(701, 701, 16, samples).nodata(-1).write(base());

    ImportRun run;
    const bool imported = run.run(base());
    QImageReader::setAllocationLimit(defaultLimit);
    QVERIFY(imported);
    QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(700 * 700, 20 * 256));
}

QTEST_MAIN(TestBilImport)
#include "tst_bilimport.moc"
