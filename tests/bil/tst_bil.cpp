#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "bil/BilHeaderFile.h"
#include "bil/BilImport.h"
#include "bil/DustRemoval.h"
#include "bil/ElevationImage.h"
#include "bil/Palette.h"
#include "tests/support/StraightforwardFill.h"

#include <QDir>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

namespace {

// Small BIL rasters for the import tests: a size × size data file (".bil")
// and its header (".hdr") at 1° pixels from 105° W, 41° N. Samples are given
// top row first; fewer than size × size make a data file that ends early.
struct RasterOptions {
    QString byteOrder = QStringLiteral("I"); // the header's word
    bool bigEndian = false; // how the samples are written; may disagree with the word
    std::optional<double> nodata;
    QByteArray prefix; // bytes in front of the samples (a TIFF wrapper)
    // Minimum and maximum for a statistics file (".stx"); the header reads it
    // only without an upper-left x, so the geometry then goes to a world file.
    std::optional<std::pair<int, int>> statistics;
};

// The smallest raster the header reader accepts, in rows and in columns.
constexpr int smallestRaster = 16;

// A smallestRaster × smallestRaster list of samples, top row first, with
// the 3 × 3 samples of corner at its top left and fill elsewhere.
QList<double> cornerRaster(const QList<double>& corner, double fill = 0)
{
    QList<double> samples(smallestRaster * smallestRaster, fill);
    for (int i = 0; i < corner.size(); ++i)
        samples[(i / 3) * smallestRaster + i % 3] = corner[i];
    return samples;
}

void writeFile(const QString& fileName, const QByteArray& contents)
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(fileName));
}

// A little-endian TIFF start, filler, and the marker at the given index of the bytes after the first four.
QByteArray tiffPrefix(int markerIndex, const QByteArray& marker)
{
    return QByteArrayLiteral("II*\0") + QByteArray(markerIndex, 'x') + marker;
}

// nbits 8: unsigned bytes, 16: signed integers, 32: IEEE floats.
void writeRaster(const QString& baseName, int size, int nbits, const QList<double>& samples,
    const RasterOptions& options = {})
{
    QByteArray data = options.prefix;
    for (double sample : samples) {
        uchar bytes[4];
        if (nbits == 8)
            bytes[0] = uchar(sample);
        else if (nbits == 16)
            options.bigEndian ? qToBigEndian(qint16(sample), bytes) : qToLittleEndian(qint16(sample), bytes);
        else if (nbits == 32)
            options.bigEndian ? qToBigEndian(float(sample), bytes) : qToLittleEndian(float(sample), bytes);
        data.append(reinterpret_cast<const char*>(bytes), nbits / 8);
    }
    writeFile(baseName + ".bil", data);

    QString header = QStringLiteral("NROWS %1\nNCOLS %1\nNBITS %2\nBYTEORDER %3\n")
                         .arg(size)
                         .arg(nbits)
                         .arg(options.byteOrder);
    if (options.nodata)
        header += QStringLiteral("NODATA %1\n").arg(*options.nodata);
    if (options.statistics) {
        // The world file's last line is the centre of the bottom row.
        writeFile(baseName + ".blw", QStringLiteral("1\n0\n0\n-1\n-105\n%1\n").arg(42 - size).toLatin1());
        writeFile(baseName + ".stx",
            QStringLiteral("1 %1 %2\n")
                .arg(options.statistics->first)
                .arg(options.statistics->second)
                .toLatin1());
    } else {
        header += QStringLiteral("ULXMAP -105\nULYMAP 41\nXDIM 1\nYDIM 1\n");
    }
    writeFile(baseName + ".hdr", header.toLatin1());
}

const QByteArray completeHeader
    = "NROWS 100\nNCOLS 200\nNBITS 16\nULXMAP 10\nULYMAP 50\nXDIM 0.001\nYDIM 0.001\n";

// Every field a header can set, in their order; "-" is unset.
QString allFields(const BilHeaderFile& h)
{
    const auto number = [](double value) {
        return value == BilHeaderFile::unset ? QStringLiteral("-") : QString::number(value, 'g', 12);
    };
    return QStringList { QString::number(h.rows), QString::number(h.cols), QString::number(h.bands),
        QString::number(h.nbits), h.byteOrder, number(h.ulX), number(h.ulY), number(h.lrX), number(h.lrY),
        number(h.xllCorner), number(h.yllCorner), number(h.pixelWidth), number(h.pixelHeight), h.mapUnits,
        h.nodataSet ? number(h.nodata) : QStringLiteral("none"), h.layout, QString::number(h.statMin),
        QString::number(h.statMax) }
        .join(u' ');
}

constexpr int nodataMarker = ElevationImage::minimumValue;
const QString sizeLine = QStringLiteral("Seamless: BIL file size is 0 kB.");
const QString rangeLine = QStringLiteral("Seamless: Range of elevations written to the output file: ");
const QString maskLine = QStringLiteral("Seamless: Creating mask file indicating NODATA areas.");
const QString colourLine = QStringLiteral("Seamless: Creating color file from elevation file.");
const QString question
    = QStringLiteral("Warning|The BIL file begins with \"II*\", which requires the \"WGS 84\" keyword\n"
                     "to locate the beginning of the elevation data block in the BIL file.\n"
                     "That keyword could not be located. An import can only be attempted\n"
                     "beginning at the first byte, most probably leading to incorrect results.\n\n"
                     "Proceed anyway?");

// Stored values of a square elevation file, top row first; only those of
// the top-left 2 × 2 pixels when corner is set.
QList<int> storedValues(const QString& fileName, bool corner = false)
{
    const ElevationImage image(fileName);
    const int size = corner ? std::min(2, image.width()) : image.width();
    QList<int> values;
    for (int row = image.height() - 1; row >= image.height() - size; --row)
        for (int x = 0; x < size; ++x)
            values << static_cast<int>(image.elevation(x, row));
    return values;
}

} // namespace

Q_DECLARE_METATYPE(RasterOptions)

// The header reader, the import and the filling of NODATA areas.
class TestBil : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> directory;
    // What was logged and asked, and the answer to questions.
    QStringList log;
    QStringList boxes;
    MessageBoxes::Button answer = MessageBoxes::No;

    // Dots as in the coordinates of real work-file names: only the last suffix is one.
    QString base() const { return directory->filePath("40.50000N-40.00000S_-105.00000W"); }
    // Writes the header and opens it; the result of open().
    bool open(BilHeaderFile& header, const QByteArray& content) const
    {
        writeFile(base() + ".hdr", content);
        return header.open(QIODevice::ReadOnly | QIODevice::Text);
    }
    bool runImport() const { return BilImport(base(), {}).importBil(); }

private slots:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        SettingsStore::setWorkingDirectory(directory->path());
        log.clear();
        boxes.clear();
        MessageLog::setEcho([this](const QString& line) { log << line; });
        MessageBoxes::setHandler([this](MessageBoxes::Icon, QWidget*, const QString& title,
                                     const QString& text, MessageBoxes::Buttons) {
            boxes << title + "|" + text;
            return answer;
        });
    }

    // One header of each dialect, with the keywords its writers use, and
    // what the world and statistics files add (suffixes in either case).
    // Where a header leaves a pixel size out, it is derived from the corners.
    void fields_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("world"); // empty: no file
        QTest::addColumn<QByteArray>("statistics");
        QTest::addColumn<QString>("fields");
        QTest::addColumn<int>("dataSize"); // of the raster; -1: no file
        QTest::addColumn<QStringList>("logged");
        const auto row = [](const char* name, const char* header, const char* fields, const char* world = "",
                             const char* statistics = "", int dataSize = -1, const QStringList& logged = {}) {
            QTest::newRow(name) << QByteArray(header) << QByteArray(world) << QByteArray(statistics)
                                << QString(fields) << dataSize << logged;
        };
        row("blanks and tabs",
            "BYTEORDER      M\nLAYOUT         BIL\nNROWS          1001\nNCOLS          17\nNBANDS         1\n"
            "NBITS          16\nTOTALROWBYTES  34\nNODATA\t\t-9999\nULXMAP\t\t-105.5\nULYMAP\t\t40.25\n"
            "XDIM           0.25\nYDIM           0.125\n",
            "1001 17 1 16 M -105.5 40.25 - - - - 0.25 0.125 pixel -9999 BIL -9999 9999");
        row("equals signs",
            "NUMBER_OF_ROWS = 1001\nNUMBER_OF_COLUMNS = 17\nDATATYPE = integer\nBYTE_ORDER = LSBFIRST\n"
            "UL_X_COORDINATE = -105.5\nUL_Y_COORDINATE = 40.25\nLR_X_COORDINATE = -104\n"
            "LR_Y_COORDINATE = 40.125\nMAP_UNITS = DD\n",
            "1001 17 1 16 LSBFIRST -105.5 40.25 -104 40.125 - - 0.09375 0.000125 DD none BIL -9999 9999");
        row("colons and keywords with blanks",
            "Rows: 1001\nColumns: 17\nData Type: real\nMin. X: -105.5\nMax. Y: 40.25\nMax. X: -104\n"
            "Min. Y: 40.125\nRef. Units: dd\nLayout: band interleaved\n",
            "1001 17 1 32 I -105.5 40.25 -104 40.125 - - 0.09375 0.000125 dd none band interleaved -9999 "
            "9999");
        // After an empty line, which does not end the reading: a second
        // equals sign, value words that are case-sensitive, the equals sign
        // before the colon, leading numbers for corners and whole values
        // elsewhere, a blank in a keyword without a separator, keys that
        // match at their start only.
        row("line grammar",
            "NROWS 100\nNCOLS 200\nULXMAP 10\nULYMAP 50\nXDIM 0.001\nYDIM 0.001\n\nnrows = 1000 = 2\n"
            "datatype F32\nbyteorder = M:x\nULYMAP 40.5abc\nXLLCORNER -105.5abc\nmin. x -105.5\ntotalcols "
            "12\n",
            "1000 200 1 -1 M:x 10 40.5 - - 0 - 0.001 0.001 pixel none BIL -9999 9999");
        // Neither side file is read when the header has the corners.
        row("lower-left corner",
            "ncols 200\nnrows 100\nxllcorner -105.5\nyllcorner 40\ncellsize 0.25\nNODATA_value -9999\n",
            "100 200 1 -1 I -105.5 64.75 - - -105.5 40 0.25 0.25 pixel -9999 BIL -9999 9999",
            "9\n0\n0\n-9\n9\n9\n", "1 -32768 100\n");
        row("side files", "NROWS 100\nNCOLS 100\nNBITS 16\n",
            "100 100 1 16 I 10 50.099 - - - - 0.001 0.001 pixel -9999 BIL -9999 1234",
            "0.001\n0\n0\n-0.001\n10\n50\n", "1 -9999 1234 500.5 20.1\n");
        row("upper-case suffixes", "NROWS 100\nNCOLS 100\nNBITS 16\n",
            "100 100 1 16 I 5 105 - - - - 1 1 pixel -32768 BIL -32768 3400", "1\n0\n0\n-1\n5\n6\n",
            "1\n-32768\n3400\n");
        // The statistics file belongs to the missing upper-left x only.
        row("world file overrides the header", "NROWS 17\nNCOLS 17\nNBITS 16\nULXMAP 3\nXDIM 7\n",
            "17 17 1 16 I -20 34 - - - - 0.5 0.25 pixel none BIL -9999 9999", "0.5\n0\n0\n-0.25\n-20\n30\n",
            "1 -9999 1234\n");
        // Without a usable width in the header, the data file's size tells it.
        const char* geometry = "NROWS 100\nNCOLS 200\nULXMAP 1\nULYMAP 2\nXDIM 1\nYDIM 1\n";
        const QString guess = QStringLiteral("BilHeaderFile: guessing %1 bits per pixel from the file size.");
        row("8 bits guessed", geometry, "100 200 1 8 I 1 2 - - - - 1 1 pixel none BIL -9999 9999", "", "",
            20000, { guess.arg(8) });
        row("no matching size", geometry, "100 200 1 -1 I 1 2 - - - - 1 1 pixel none BIL -9999 9999", "", "",
            40001);
        row("stated width kept", "NBITS 16\nNROWS 100\nNCOLS 200\n",
            "100 200 1 16 I - - - - - - 0 0 pixel none BIL -9999 9999", "", "", 20000);
        row("unusable stated width", "NBITS 12\nNROWS 100\nNCOLS 200\n",
            "100 200 1 32 I - - - - - - 0 0 pixel none BIL -9999 9999", "", "", 80000, { guess.arg(32) });
    }

    void fields()
    {
        QFETCH(QByteArray, world);
        QFETCH(QByteArray, statistics);
        QFETCH(int, dataSize);
        // The row's name says when the side files' suffixes are upper-case.
        const bool upper = QByteArray(QTest::currentDataTag()).startsWith("upper");
        if (!world.isEmpty())
            writeFile(base() + (upper ? ".BLW" : ".blw"), world);
        if (!statistics.isEmpty())
            writeFile(base() + (upper ? ".STX" : ".stx"), statistics);
        if (dataSize >= 0)
            writeFile(base() + ".bil", QByteArray(dataSize, '\x7f'));
        QFETCH(QByteArray, header);
        BilHeaderFile file(base() + ".hdr");
        open(file, header);
        QTEST(allFields(file), "fields");
        QTEST(log, "logged");
    }

    // Values the import cannot use get the same lines as missing ones; those
    // it can use pass, however large or small.
    void validation_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QString>("problems"); // empty: valid
        const QString rows = "ROWS - Number of rows missing or invalid. Valid: 16 to 32768.\n";
        const QString cols = "COLS - Number of columns missing or invalid. Valid: 16 to 32768.\n";
        const QString ulX
            = "UL_X_COORDINATE - x coordinate of the center of the upper-left pixel missing or invalid.\n";
        const QString ulY
            = "UL_Y_COORDINATE - y coordinate of the center of the upper-left pixel missing or invalid.\n";
        const QString width
            = "PIXEL_WIDTH - missing or invalid. Valid: any non-zero positive floating point number.\n";
        const QString height
            = "PIXEL_HEIGHT - missing or invalid. Valid: any non-zero positive floating point number.\n";
        // Pixel sizes derived from two unset values: 0, no valid size either.
        QTest::newRow("empty header")
            << QByteArray()
            << rows + cols + "Datatype - Number of bits per pixel missing or invalid. Valid: 8, 16, 32.\n"
                + ulX + ulY + width + height;
        QTest::newRow("three bands")
            << completeHeader + "NBANDS 3\n"
            << "BANDS - Number of spectral bands missing or invalid. Valid: 1 only.\n";
        QTest::newRow("15 rows, -1 columns") << completeHeader + "NROWS 15\nNCOLS -1\n" << rows + cols;
        QTest::newRow("zero and NaN pixels") << completeHeader + "XDIM 0\nYDIM nan\n" << width + height;
        QTest::newRow("infinite corners") << completeHeader + "ULXMAP -inf\nULYMAP 1e999\n" << ulX + ulY;
        // The upper-left y derived from the lower-left corner, the pixel sizes from the lower-right pixel.
        QTest::newRow("lowest row count below a corner")
            << QByteArray("NROWS -2147483648\nNCOLS 20\nNBITS 16\nXLLCORNER 0\nYLLCORNER 0\nCELLSIZE 1\n")
            << rows;
        QTest::newRow("one row and column to the lower-right pixel") << QByteArray(
            "NROWS 1\nNCOLS 1\nNBITS 8\nULXMAP 0\nULYMAP 0\nLR_X_COORDINATE 0\nLR_Y_COORDINATE 0\n")
                                                                     << rows + cols + width + height;
        QTest::newRow("lower-right pixel above and left") << QByteArray(
            "NROWS 16\nNCOLS 16\nNBITS 8\nULXMAP 0\nULYMAP 0\nLR_X_COORDINATE -1\nLR_Y_COORDINATE 1\n")
                                                          << width + height;
        QTest::newRow("16 rows, 32768 columns") << completeHeader + "NROWS 16\nNCOLS 32768\n" << QString();
        QTest::newRow("huge pixels, far corners")
            << completeHeader + "XDIM 1e305\nYDIM 1.7e308\nULXMAP -1.7e308\nULYMAP 1e308\n"
            << QString();
        QTest::newRow("tiny pixels") << completeHeader + "XDIM 5e-324\nYDIM 1e-300\n" << QString();
    }

    void validation()
    {
        QFETCH(QByteArray, header);
        QFETCH(QString, problems);
        BilHeaderFile file(base() + ".hdr");
        QCOMPARE(open(file, header), problems.isEmpty());
        QVERIFY(file.isOpen());
        QCOMPARE(boxes,
            problems.isEmpty()
                ? QStringList()
                : QStringList { "Error|One or more errors have occured while reading the header file:\n\n"
                    + problems + "Make sure that the *.BIL, *.HDR and *.BLW files are present." });
    }
    // Rasters of 16 × 16 samples, the 3 × 3 given at their top left; the
    // image is 15 × 15 (the last row and column are not imported).
    void import_data()
    {
        QTest::addColumn<int>("nbits");
        QTest::addColumn<RasterOptions>("options");
        QTest::addColumn<QList<double>>("samples");
        QTest::addColumn<QList<int>>("corner"); // top-left 2 × 2 stored values; empty: nothing imported
        QTest::addColumn<QString>("line"); // the range line's values, or another line logged
        const auto row = [](const char* name, int nbits, const RasterOptions& options,
                             const QList<double>& samples, const QList<int>& corner, const QString& line) {
            QTest::newRow(name) << nbits << options << samples << corner << line;
        };
        const RasterOptions m { .byteOrder = "M", .bigEndian = true };
        row("8-bit", 8, {}, cornerRaster({ 0, 1, 9, 200, 255 }), { 0, 256, 51200, 65280 }, "0 ... 255");
        row("8-bit above the statistics maximum", 8, { .statistics = { { 0, 100 } } },
            cornerRaster({ 0, 200, 9, 100, 40 }), { 0, -14336, 25600, 10240 }, "-56 ... 100");
        row("16-bit little-endian", 16, {}, cornerRaster({ 1, -1, 9, 1234, 32767 }),
            { 256, -256, 315904, 8388352 }, "-1 ... 32767");
        row("16-bit M", 16, m, cornerRaster({ 256, -2, 9, 1, -32767 }), { 65536, -512, 256, -8388352 },
            "-32767 ... 256");
        row("16-bit MOTOROLA", 16, { .byteOrder = "MOTOROLA", .bigEndian = true }, cornerRaster({ 256, 2 }),
            { 65536, 512, 0, 0 }, "0 ... 256");
        // Bytes 01 00 under a word that is neither "m" nor "motorola".
        row("MSBFIRST read as little-endian", 16, { .byteOrder = "MSBFIRST", .bigEndian = true },
            cornerRaster({ 1 }), { 65536, 0, 0, 0 }, "0 ... 256");
        row("32-bit, limited", 32, {}, cornerRaster({ 1234.5, -0.75, 9, 40000, -40000 }),
            { 316032, -192, 8388607, -8388608 }, "-32768 ... 32768");
        // 1/512 m is half a stored step: rounded away from zero.
        row("32-bit M, halves", 32, m, cornerRaster({ 0.001953125, -0.001953125, 9, 8848.86, -10.4 }),
            { 1, -1, 2265308, -2662 }, "-10.4 ... 8848.86");
        // The holes are filled from their border, bit for bit.
        row("16-bit NODATA", 16, { .nodata = -9999 },
            cornerRaster({ 100, -9999, 300, -9999, -9999, 100, -10000 }, 50),
            { 25600, 3061, -1073976, -209455 }, "-10000 ... 300");
        // The scan goes on over a row end: a hole there hides one starting the next row.
        QList<double> rowEnd = cornerRaster({ 5, 6, 7 }, 9);
        rowEnd[14] = rowEnd[16] = -9999;
        row("hole after a row end", 16, { .nodata = -9999 }, rowEnd, { 1280, 1536, nodataMarker, 2304 },
            "5 ... 9");
        row("32-bit NODATA", 32, { .nodata = -3.5 }, cornerRaster({ -3.5, -3, 3, -4, 7 }),
            { -896, -768, -1024, 1792 }, "-4 ... 7");
        // NaN samples are voids, also when the header names no NODATA value.
        row("NaN", 32, {}, cornerRaster({ 1, 2, 3, 4, std::nan("") }, 100), { 256, 512, 1024, 13184 },
            "1 ... 100");
        // One spot without a border is left as it is.
        row("every sample NODATA", 32, { .nodata = -3.5 }, cornerRaster({}, -3.5),
            QList<int>(4, nodataMarker), "1.32923e+36 ... -1.32923e+36");
        // The WGS 84 marker at index 996 of the bytes searched: data from byte 1009.
        const QByteArray wgs84 = QByteArrayLiteral("#WGS 84|\0");
        const QByteArray nad83 = QByteArrayLiteral("#NAD83|\0");
        const QList<double> tiff = cornerRaster({ 11, 12, 0, 21, 22 });
        const QList<int> tiffCorner { 11 * 256, 12 * 256, 21 * 256, 22 * 256 };
        row("WGS 84 marker", 16, { .prefix = tiffPrefix(996, wgs84) }, tiff, tiffCorner, "0 ... 22");
        row("NAD83 marker", 16, { .prefix = tiffPrefix(10, nad83) }, tiff, tiffCorner, "0 ... 22");
        // The search covers file bytes 4 ... 999,999; without a marker the user is asked (and says No).
        row("marker ends at byte 999,999", 16, { .prefix = tiffPrefix(999987, wgs84) }, tiff, tiffCorner,
            "0 ... 22");
        row("marker beyond", 16, { .prefix = tiffPrefix(999988, wgs84) }, tiff, {}, sizeLine);
        // What a short data file misses reads as 0.
        row("short data file", 16, {}, cornerRaster({ 1, 2, 0, 3, 4 }).mid(0, 17), { 256, 512, 768, 0 },
            "Seamless: The BIL file holds 34 bytes, fewer than the 512 its header declares; the missing "
            "samples are "
            "read as 0.");
        row("without the last row", 16, {}, cornerRaster({ 1, 2, 0, 3, 4 }).mid(0, 16 * 15),
            { 256, 512, 768, 1024 }, "0 ... 4");
    }

    void import()
    {
        QFETCH(int, nbits);
        QFETCH(RasterOptions, options);
        QFETCH(QList<double>, samples);
        QFETCH(QList<int>, corner);
        QFETCH(QString, line);
        writeRaster(base(), smallestRaster, nbits, samples, options);
        QCOMPARE(runImport(), !corner.isEmpty());
        QVERIFY2(log.contains(line) || log.contains(rangeLine + line), qPrintable(log.join('\n')));
        QCOMPARE(storedValues(base() + "-el-corr.png", true), corner);
        QCOMPARE(boxes, corner.isEmpty() ? QStringList { question } : QStringList());
        // Voids go to the uncorrected image and the mask; the filling changes nothing else.
        const bool voids = options.nodata
            || std::any_of(samples.cbegin(), samples.cend(), [](double s) { return std::isnan(s); });
        QCOMPARE(QFile::exists(base() + "-el-m.png"), voids);
        const QList<int> uncorrected = storedValues(base() + "-el-uncorr.png");
        const QList<int> corrected = storedValues(base() + "-el-corr.png");
        const QImage mask(base() + "-el-m.png");
        for (int i = 0; i < uncorrected.size(); ++i) {
            QCOMPARE(mask.pixel(i % 15, i / 15), uncorrected[i] == nodataMarker ? 0xFF000000u : 0xFFFFFFFFu);
            QVERIFY(uncorrected[i] == nodataMarker || corrected[i] == uncorrected[i]);
        }
    }

    // Progress, preview, log, and the colours of 10, -3, 1234 and 9000 m in
    // the palette the setting names (range 0 ... 8000 m over 960 colours).
    void normalRun_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QColor>("first");
        QTest::addColumn<QColor>("last");
        QTest::newRow("palette 1") << QVariant() << QColor(200, 215, 133) << QColor(0, 80, 250);
        QTest::newRow("palette 2") << QVariant(2) << QColor(182, 186, 162) << QColor(87, 112, 163);
    }

    void normalRun()
    {
        QFETCH(QVariant, stored);
        QSettings settings(QStringLiteral("Brenholt"), QStringLiteral("relka"));
        settings.setValue("paletteNumber", stored.isValid() ? stored : 1);
        writeRaster(base(), smallestRaster, 16, cornerRaster({ 10, -3, 0, 1234, 9000 }));
        BilImport import(base(), QSize(200, 200));
        QPoint progress[3];
        QImage preview;
        QList<bool> saving;
        connect(
            &import, &BilImport::progressChanged, [&](ImportFeedback::Stage stage, int value, int maximum) {
                progress[int(stage)] = QPoint(value, maximum);
            });
        connect(&import, &BilImport::previewReady, [&](const QImage& image) { preview = image; });
        connect(&import, &BilImport::savingChanged, [&](bool on) { saving << on; });
        QVERIFY(import.importBil());
        QCOMPARE(log,
            (QStringList { sizeLine, "Seamless: NODATA value = 0", rangeLine + "-3 ... 9000", colourLine }));
        QCOMPARE(QList<QPoint>(progress, progress + 3), (QList<QPoint> { { 15, 15 }, { 1, 1 }, { 15, 15 } }));
        QCOMPARE(saving, (QList<bool> { true, false, true, false }));
        // 15 x 15 pixels narrowed by cos(41°) to 11 x 15, then fitted into 200 x 200.
        QCOMPARE(preview.size(), QSize(146, 200));
        const Palette palette;
        const QImage colours(base() + "-el-col.png");
        QCOMPARE(colours.pixel(0, 0), palette.color(1));
        QCOMPARE(colours.pixel(0, 1), palette.color(148));
        QTEST(QColor(colours.pixel(1, 0)), "first");
        QTEST(QColor(colours.pixel(1, 1)), "last");
        settings.remove("paletteNumber");
        // Beyond the top, and degenerate bounds, stay within the palette.
        QCOMPARE(Palette::indexFor(8000 * 256, 0, 8000 * 256, 960), 959);
        QCOMPARE(Palette::indexFor(1, 5, 5, 960), 0);
        QCOMPARE(Palette::indexFor(1, 8000, 0, 960), 959);
    }

    // Spots this large are weighted on the thread pool; the filling must be
    // the plain one-pixel-at-a-time computation's.
    void fillAgreesWithPlainComputation_data()
    {
        QTest::addColumn<bool>("elevationFile");
        QTest::newRow("elevations") << true;
        QTest::newRow("colours") << false;
    }

    void fillAgreesWithPlainComputation()
    {
        QFETCH(bool, elevationFile);
        // A random-walk hole of 4000 pixels, reaching the edges, in a random 120 x 120 terrain.
        QRandomGenerator random(elevationFile ? 7 : 11);
        QImage image(120, 120, QImage::Format_RGB32);
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 120; ++x)
                image.setPixel(x, y, ElevationImage::encode(int(random.bounded(200000)) - 50000));
        QImage mask(120, 120, QImage::Format_RGB32);
        mask.fill(Qt::white);
        QPoint walker(60, 60);
        for (int painted = 0; painted < 4000;) {
            painted += mask.pixel(walker) != 0xFF000000u;
            mask.setPixel(walker, 0xFF000000u);
            const QPoint step[] = { { 1, 0 }, { -1, 0 }, { 0, 1 }, { 0, -1 } };
            walker += step[random.bounded(4)];
            walker = QPoint(std::clamp(walker.x(), 0, 119), std::clamp(walker.y(), 0, 119));
        }
        QImage expected = image.copy();
        StraightforwardFill::fill(expected, mask, elevationFile);
        DustRemoval removal;
        removal.elevationFile = elevationFile;
        removal.image = image;
        removal.mask = mask;
        removal.removeDust(nullptr);
        QCOMPARE(removal.image, expected);
        QVERIFY(removal.image != image);
    }

    // 1000 x 1000 imported pixels: 999,999 NODATA pixels are interpolated,
    // 1,000,000 set to zero.
    void nodataLimit()
    {
        for (const int valid : { 7, 0 }) {
            QList<double> samples(1001 * 1001, -1.0);
            samples[500 * 1001 + 500] = valid ? valid : -1;
            writeRaster(base(), 1001, 16, samples, { .nodata = -1 });
            log.clear();
            QVERIFY(runImport());
            QCOMPARE(log.at(4),
                valid ? "Seamless: Removing NODATA areas by interpolation."
                      : "Seamless: Too many NODATA pixels (1000000) in the elevation file. Setting them to "
                        "zero.");
            QCOMPARE(storedValues(base() + "-el-corr.png"), QList<int>(1000000, valid * 256));
        }
    }

    // A folder in the place of the corrected file: the filler cannot save
    // it, and the colouring step cannot load it.
    void failedSave()
    {
        writeRaster(base(), smallestRaster, 16, cornerRaster({ 1, -9999 }), { .nodata = -9999 });
        const QString file = base() + "-el-corr.png";
        QVERIFY(QDir().mkdir(file));
        QVERIFY(!runImport());
        QCOMPARE(log.mid(3),
            QStringList({ maskLine, "Seamless: Removing NODATA areas by interpolation.",
                "Seamless: Problems during NODATA area removal:",
                "Error: Cannot save output file \"" + file + "\".", colourLine,
                "Seamless error: Could not open file " + file }));
    }
};

QTEST_GUILESS_MAIN(TestBil)
#include "tst_bil.moc"
