#include "bil/BilHeaderFile.h"

#include "app/MessageBoxes.h"
#include "app/SettingsStore.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Box
{
    QMessageBox::Icon icon;
    QWidget* parent;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;
};

const char* const completeHeader = "NROWS 100\nNCOLS 200\nNBITS 16\nULXMAP 10\nULYMAP 50\nXDIM 0.001\nYDIM 0.001\n";

// The fields a data row can name, as variants for QCOMPARE.
QVariant field(const BilHeaderFile& header, const QByteArray& name)
{
    const QHash<QByteArray, QVariant> fields {
        { "rows", header.rows },
        { "cols", header.cols },
        { "bands", header.bands },
        { "nbits", header.nbits },
        { "byteOrder", header.byteOrder },
        { "ulX", header.ulX },
        { "ulY", header.ulY },
        { "lrX", header.lrX },
        { "lrY", header.lrY },
        { "xllCorner", header.xllCorner },
        { "yllCorner", header.yllCorner },
        { "pixelWidth", header.pixelWidth },
        { "pixelHeight", header.pixelHeight },
        { "mapUnits", header.mapUnits },
        { "nodata", header.nodata },
        { "nodataSet", header.nodataSet },
        { "layout", header.layout },
        { "statMin", header.statMin },
        { "statMax", header.statMax },
    };
    return fields.value(name);
}

} // namespace

class TestBilHeaderFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void insertEntry_data();
    void insertEntry();
    void lineSyntax_data();
    void lineSyntax();
    void unopenableHeader();

    void cornerKeywords();
    void lowerRightCorner();
    void worldAndStatisticsFiles();
    void worldFileOverridesHeader();
    void sideFilesWithUpperCaseSuffixes();
    void statistics_data();
    void statistics();
    void shortWorldFile();

    void sampleWidthGuess_data();
    void sampleWidthGuess();

    void validationBox_data();
    void validationBox();

private:
    QString write(const QString& suffix, const QByteArray& content) const;
    QString headerName() const { return base + QStringLiteral(".hdr"); }
    QStringList loggedMessages() const;

    std::unique_ptr<QTemporaryDir> dir;
    // Dots as in the coordinates of real work-file names: only ".hdr" is a suffix.
    QString base;
    QList<Box> boxes;
};

void TestBilHeaderFile::initTestCase()
{
    MessageBoxes::setHandler([this](QMessageBox::Icon icon, QWidget* parent, const QString& title,
                                 const QString& text, QMessageBox::StandardButtons buttons) {
        boxes.append({ icon, parent, title, text, buttons });
        return QMessageBox::Ok;
    });
}

void TestBilHeaderFile::init()
{
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    base = dir->path() + QStringLiteral("/40.50000N-40.00000S_-105.00000W-104.00000E");
    SettingsStore::setWorkingDirectory(dir->path());
    boxes.clear();
}

void TestBilHeaderFile::cleanupTestCase()
{
    MessageBoxes::setHandler({});
}

QString TestBilHeaderFile::write(const QString& suffix, const QByteArray& content) const
{
    QFile file(base + suffix);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

QStringList TestBilHeaderFile::loggedMessages() const
{
    QFile file(dir->path() + QStringLiteral("/messages.txt"));
    QStringList messages;
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return messages;
    // Each line is "hh:mm:ss.zzz: message".
    while (!file.atEnd())
        messages.append(QString::fromLatin1(file.readLine()).trimmed().mid(14));
    return messages;
}

void TestBilHeaderFile::insertEntry_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("recognised");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("NROWS") << "NROWS" << "1000" << true << QByteArray("rows") << QVariant(1000);
    QTest::newRow("number_of_rows") << "NUMBER_OF_ROWS" << "1000" << true << QByteArray("rows") << QVariant(1000);
    QTest::newRow("rows, not a number") << "rows" << "12abc" << true << QByteArray("rows") << QVariant(0);
    QTest::newRow("Columns") << "Columns" << "300" << true << QByteArray("cols") << QVariant(300);
    QTest::newRow("number_of_columns") << "number_of_columns" << "7" << true << QByteArray("cols") << QVariant(7);
    QTest::newRow("nbands") << "NBANDS" << "3" << true << QByteArray("bands") << QVariant(3);
    QTest::newRow("nbits") << "nBits" << "32" << true << QByteArray("nbits") << QVariant(32);
    QTest::newRow("datatype i8") << "DATATYPE" << "i8" << true << QByteArray("nbits") << QVariant(8);
    QTest::newRow("datatype integer") << "datatype" << "integer" << true << QByteArray("nbits") << QVariant(16);
    QTest::newRow("data type real") << "Data Type" << "real" << true << QByteArray("nbits") << QVariant(32);
    QTest::newRow("datatype f32") << "datatype" << "f32" << true << QByteArray("nbits") << QVariant(32);
    QTest::newRow("datatype I16, case of the value") << "datatype" << "I16" << false << QByteArray("nbits") << QVariant(-1);
    QTest::newRow("byteorder as written") << "BYTEORDER" << "Motorola" << true << QByteArray("byteOrder") << QVariant("Motorola");
    QTest::newRow("byte_order") << "byte_order" << "M" << true << QByteArray("byteOrder") << QVariant("M");
    QTest::newRow("ULXMAP, leading number") << "ULXMAP" << "-105.5abc" << true << QByteArray("ulX") << QVariant(-105.5);
    QTest::newRow("left_map_x") << "LEFT_MAP_X" << "1.5e2" << true << QByteArray("ulX") << QVariant(150.0);
    QTest::newRow("min. x") << "Min. X" << "-105.5" << true << QByteArray("ulX") << QVariant(-105.5);
    QTest::newRow("ULYMAP, no number") << "ULYMAP" << "north" << true << QByteArray("ulY") << QVariant(0.0);
    QTest::newRow("ul_y_coordinate") << "UL_Y_COORDINATE" << "40.25 deg" << true << QByteArray("ulY") << QVariant(40.25);
    QTest::newRow("max. y") << "max. y" << "41" << true << QByteArray("ulY") << QVariant(41.0);
    QTest::newRow("max. x") << "MAX. X" << "-104" << true << QByteArray("lrX") << QVariant(-104.0);
    QTest::newRow("right_map_x, no leading number") << "right_map_x" << "-104abc" << true << QByteArray("lrX") << QVariant(0.0);
    QTest::newRow("lower_map_y") << "LOWER_MAP_Y" << "39.5" << true << QByteArray("lrY") << QVariant(39.5);
    QTest::newRow("XLLCORNER, whole value only") << "XLLCORNER" << "-105.5abc" << true << QByteArray("xllCorner") << QVariant(0.0);
    QTest::newRow("yllcorner") << "yllcorner" << "39.75" << true << QByteArray("yllCorner") << QVariant(39.75);
    QTest::newRow("cellsize, width") << "CELLSIZE" << "0.25" << true << QByteArray("pixelWidth") << QVariant(0.25);
    QTest::newRow("cellsize, height") << "CELLSIZE" << "0.25" << true << QByteArray("pixelHeight") << QVariant(0.25);
    QTest::newRow("xdim") << "XDIM" << "0.001" << true << QByteArray("pixelWidth") << QVariant(0.001);
    QTest::newRow("pixel_height") << "PIXEL_HEIGHT" << "0.002" << true << QByteArray("pixelHeight") << QVariant(0.002);
    QTest::newRow("ref. units") << "Ref. Units" << "dd" << true << QByteArray("mapUnits") << QVariant("dd");
    QTest::newRow("layout") << "LAYOUT" << "bil" << true << QByteArray("layout") << QVariant("bil");
    QTest::newRow("NODATA_value, prefix") << "NODATA_value" << "-9999" << true << QByteArray("nodata") << QVariant(-9999.0);
    QTest::newRow("nodata marks it set") << "nodata" << "0" << true << QByteArray("nodataSet") << QVariant(true);
    QTest::newRow("unknown keyword") << "skipbytes" << "12" << false << QByteArray("rows") << QVariant(-1);
    QTest::newRow("keyword inside the key") << "totalrows" << "12" << false << QByteArray("rows") << QVariant(-1);
}

void TestBilHeaderFile::insertEntry()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(bool, recognised);
    QFETCH(QByteArray, name);
    QFETCH(QVariant, expected);

    BilHeaderFile header(headerName());
    QCOMPARE(header.insertEntry(key, value), recognised);
    QCOMPARE(field(header, name), expected);
}

void TestBilHeaderFile::lineSyntax_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("white space") << QByteArray("NROWS 1000") << QByteArray("rows") << QVariant(1000);
    QTest::newRow("tabs and padding") << QByteArray("  NROWS\t\t 1000  ") << QByteArray("rows") << QVariant(1000);
    QTest::newRow("equals sign") << QByteArray("nrows = 1000") << QByteArray("rows") << QVariant(1000);
    QTest::newRow("colon") << QByteArray("Rows: 1000") << QByteArray("rows") << QVariant(1000);
    QTest::newRow("equals wins over colon") << QByteArray("byteorder = M:x") << QByteArray("byteOrder") << QVariant("M:x");
    QTest::newRow("parts after the value ignored") << QByteArray("nrows = 1000 = 2") << QByteArray("rows") << QVariant(1000);
    QTest::newRow("value with a blank") << QByteArray("layout: band interleaved") << QByteArray("layout") << QVariant("band interleaved");
    QTest::newRow("keyword with a blank, colon") << QByteArray("Min. X: -105.5") << QByteArray("ulX") << QVariant(-105.5);
    QTest::newRow("keyword with a blank, white space") << QByteArray("min. x -105.5") << QByteArray("ulX") << QVariant(10.0);
    QTest::newRow("key without value") << QByteArray("nrows =") << QByteArray("rows") << QVariant(100);
    QTest::newRow("CR LF") << QByteArray("NROWS 1000\r") << QByteArray("rows") << QVariant(1000);
    QTest::newRow("zero byte ends the line") << QByteArray("NROWS 1000\0 7", 12) << QByteArray("rows") << QVariant(1000);
    QTest::newRow("Latin-1 value") << QByteArray("MAP_UNITS gr\xe4" "d") << QByteArray("mapUnits") << QVariant(QStringLiteral("gr\u00e4d"));
}

void TestBilHeaderFile::lineSyntax()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, name);
    QFETCH(QVariant, expected);

    // The line under test comes after an empty line, which must not end the reading.
    write(QStringLiteral(".hdr"), completeHeader + QByteArray("\n") + line + "\n");
    BilHeaderFile header(headerName());
    QVERIFY(header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(field(header, name), expected);
    QVERIFY(header.isOpen());
    QVERIFY(boxes.isEmpty());
}

void TestBilHeaderFile::unopenableHeader()
{
    BilHeaderFile header(headerName());
    header.insertEntry(QStringLiteral("nbits"), QStringLiteral("12"));
    QVERIFY(!header.open(QIODevice::ReadOnly | QIODevice::Text));
    // Nothing was reset and nothing reported.
    QCOMPARE(header.nbits, 12);
    QVERIFY(boxes.isEmpty());
}

void TestBilHeaderFile::cornerKeywords()
{
    write(QStringLiteral(".hdr"), "ncols 200\nnrows 100\nxllcorner -105.5\nyllcorner 40\ncellsize 0.25\nnbits 16\n");
    // Neither side file may be read when the header has the corners.
    write(QStringLiteral(".blw"), "9\n0\n0\n-9\n9\n9\n");
    write(QStringLiteral(".stx"), "1 -9999 100 50 10\n");
    BilHeaderFile header(headerName());
    QVERIFY(header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(header.ulX, -105.5);
    QCOMPARE(header.ulY, 99 * 0.25 + 40);
    QCOMPARE(header.pixelWidth, 0.25);
    QCOMPARE(header.pixelHeight, 0.25);
    QVERIFY(!header.nodataSet);
    QCOMPARE(header.statMax, 9999);
}

void TestBilHeaderFile::lowerRightCorner()
{
    write(QStringLiteral(".hdr"), "nrows 101\nncols 201\nnbits 32\nulxmap 10\nulymap 50\nlrxmap 0\n"
                                  "lr_x_coordinate 10.2\nlr_y_coordinate 49.9\n");
    BilHeaderFile header(headerName());
    QVERIFY(header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(header.pixelWidth, (10.2 - 10) / 200);
    QCOMPARE(header.pixelHeight, (50 - 49.9) / 100);
}

void TestBilHeaderFile::worldAndStatisticsFiles()
{
    write(QStringLiteral(".hdr"), "NROWS 100\nNCOLS 100\nNBITS 16\n");
    write(QStringLiteral(".blw"), "0.001\n0\n0\n-0.001\n10\n50\n");
    write(QStringLiteral(".stx"), "1 -9999 1234 500.5 20.1\n");
    BilHeaderFile header(headerName());
    QVERIFY(header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(header.pixelWidth, 0.001);
    QCOMPARE(header.pixelHeight, 0.001);
    QCOMPARE(header.ulX, 10.0);
    QCOMPARE(header.ulY, 50.099);
    QCOMPARE(header.statMin, -9999);
    QCOMPARE(header.statMax, 1234);
    QCOMPARE(header.nodata, -9999.0);
    QVERIFY(header.nodataSet);
}

void TestBilHeaderFile::worldFileOverridesHeader()
{
    write(QStringLiteral(".hdr"), "NROWS 11\nNCOLS 11\nNBITS 16\nULXMAP 3\nXDIM 7\n");
    write(QStringLiteral(".blw"), "0.5\n0\n0\n-0.25\n-20\n30\n");
    write(QStringLiteral(".stx"), "1 -9999 1234\n");
    BilHeaderFile header(headerName());
    QVERIFY(header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(header.ulX, -20.0);
    QCOMPARE(header.ulY, 30 + 10 * 0.25);
    QCOMPARE(header.pixelWidth, 0.5);
    QCOMPARE(header.pixelHeight, 0.25);
    // The statistics file belongs to the missing upper-left x only.
    QVERIFY(!header.nodataSet);
}

void TestBilHeaderFile::sideFilesWithUpperCaseSuffixes()
{
    write(QStringLiteral(".hdr"), "NROWS 100\nNCOLS 200\n");
    write(QStringLiteral(".BLW"), "1\n0\n0\n-1\n5\n6\n");
    write(QStringLiteral(".STX"), "1 -32768 50\n");
    write(QStringLiteral(".BIL"), QByteArray(20000, '\0'));
    BilHeaderFile header(headerName());
    QVERIFY(header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(header.ulX, 5.0);
    QCOMPARE(header.nodata, -32768.0);
    QCOMPARE(header.nbits, 8);
}

void TestBilHeaderFile::statistics_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("statMin");
    QTest::addColumn<int>("statMax");
    QTest::addColumn<bool>("nodataSet");
    QTest::addColumn<double>("nodata");

    QTest::newRow("ordinary minimum") << QByteArray("1 12 3400 500.5 20.1") << 12 << 3400 << false << 0.0;
    QTest::newRow("-32768 is NODATA") << QByteArray("1 -32768 3400") << -32768 << 3400 << true << -32768.0;
    QTest::newRow("spread over lines") << QByteArray("1\n-9999\n77\n") << -9999 << 77 << true << -9999.0;
    QTest::newRow("maximum missing") << QByteArray("1 5") << 5 << 9999 << false << 0.0;
    QTest::newRow("empty, minimum keeps -9999") << QByteArray() << -9999 << 9999 << true << -9999.0;
    QTest::newRow("garbage keeps the start values") << QByteArray("1 low high") << -9999 << 9999 << true << -9999.0;
}

void TestBilHeaderFile::statistics()
{
    QFETCH(QByteArray, content);
    QFETCH(int, statMin);
    QFETCH(int, statMax);
    QFETCH(bool, nodataSet);
    QFETCH(double, nodata);

    write(QStringLiteral(".hdr"), "NROWS 100\nNCOLS 200\nNBITS 16\nXDIM 1\nYDIM 1\n");
    write(QStringLiteral(".stx"), content);
    BilHeaderFile header(headerName());
    QVERIFY(!header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(header.statMin, statMin);
    QCOMPARE(header.statMax, statMax);
    QCOMPARE(header.nodataSet, nodataSet);
    QCOMPARE(header.nodata, nodata);
}

void TestBilHeaderFile::shortWorldFile()
{
    write(QStringLiteral(".hdr"), "NROWS 3\nNCOLS 3\nNBITS 8\n");
    write(QStringLiteral(".blw"), "2\n0\n0\n-4abc\n");
    BilHeaderFile header(headerName());
    QVERIFY(header.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(header.pixelWidth, 2.0);
    QCOMPARE(header.pixelHeight, 4.0);
    QCOMPARE(header.ulX, 0.0);
    QCOMPARE(header.ulY, 8.0);
}

void TestBilHeaderFile::sampleWidthGuess_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QString>("dataSuffix");
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<int>("nbits");
    QTest::addColumn<QStringList>("messages");

    const QByteArray geometry("NROWS 100\nNCOLS 200\nULXMAP 1\nULYMAP 2\nXDIM 1\nYDIM 1\n");
    const auto guessed = [](int bits) {
        return QStringList { QStringLiteral("BilHeaderFile: guessing %1 bits per pixel from the file size.").arg(bits) };
    };
    QTest::newRow("8 bits") << geometry << ".bil" << 20000 << 8 << guessed(8);
    QTest::newRow("16 bits") << geometry << ".bil" << 40000 << 16 << guessed(16);
    QTest::newRow("32 bits") << geometry << ".bil" << 80000 << 32 << guessed(32);
    QTest::newRow("upper-case suffix") << geometry << ".BIL" << 40000 << 16 << guessed(16);
    QTest::newRow("no matching size") << geometry << ".bil" << 40001 << -1 << QStringList();
    QTest::newRow("no data file") << geometry << ".raw" << 40000 << -1 << QStringList();
    QTest::newRow("stated width kept") << geometry + "NBITS 16\n" << ".bil" << 20000 << 16 << QStringList();
    QTest::newRow("unusable stated width") << geometry + "NBITS 12\n" << ".bil" << 80000 << 32 << guessed(32);
    QTest::newRow("rows missing") << QByteArray("NCOLS 200\n") << ".bil" << 200 << -1 << QStringList();
}

void TestBilHeaderFile::sampleWidthGuess()
{
    QFETCH(QByteArray, header);
    QFETCH(QString, dataSuffix);
    QFETCH(int, dataSize);
    QFETCH(int, nbits);
    QFETCH(QStringList, messages);

    write(QStringLiteral(".hdr"), header);
    write(dataSuffix, QByteArray(dataSize, '\x7f'));
    BilHeaderFile file(headerName());
    QCOMPARE(file.open(QIODevice::ReadOnly | QIODevice::Text), nbits != -1);
    QCOMPARE(file.nbits, nbits);
    QCOMPARE(loggedMessages(), messages);
}

void TestBilHeaderFile::validationBox_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QString>("problems");

    QTest::newRow("complete") << QByteArray(completeHeader) << QString();
    QTest::newRow("tiny raster passes") << QByteArray("NROWS 5\nNCOLS 5\nNBITS 8\nULXMAP 0\nULYMAP 0\n") << QString();
    QTest::newRow("only rows and columns")
        << QByteArray("NROWS 100\nNCOLS 200\n")
        << QStringLiteral("Datatype - Number of bits per pixel missing or invalid. Valid: 8, 16, 32.\n"
                          "UL_X_COORDINATE - x coordinate of the center of the upper-left pixel missing or invalid.\n"
                          "UL_Y_COORDINATE - y coordinate of the center of the upper-left pixel missing or invalid.\n");
    QTest::newRow("empty header")
        << QByteArray()
        << QStringLiteral("ROWS - Number of rows missing or invalid. Valid: 16 to 32768.\n"
                          "COLS - Number of columns missing or invalid. Valid: 16 to 32768.\n"
                          "Datatype - Number of bits per pixel missing or invalid. Valid: 8, 16, 32.\n"
                          "UL_X_COORDINATE - x coordinate of the center of the upper-left pixel missing or invalid.\n"
                          "UL_Y_COORDINATE - y coordinate of the center of the upper-left pixel missing or invalid.\n");
    QTest::newRow("three bands, 12 bits")
        << QByteArray(completeHeader) + "NBANDS 3\nNBITS 12\n"
        << QStringLiteral("BANDS - Number of spectral bands missing or invalid. Valid: 1 only.\n"
                          "Datatype - Number of bits per pixel missing or invalid. Valid: 8, 16, 32.\n");
    // Only the exact marker value counts as missing, here derived from the lower-right pixel.
    QTest::newRow("pixel sizes equal to the marker")
        << QByteArray("NROWS 2\nNCOLS 2\nNBITS 8\nULXMAP 0\nULYMAP 0\nLR_X_COORDINATE -999999.999999\n"
                      "LR_Y_COORDINATE 999999.999999\n")
        << QStringLiteral("PIXEL_WIDTH - missing or invalid. Valid: any non-zero positive floating point number.\n"
                          "PIXEL_HEIGHT - missing or invalid. Valid: any non-zero positive floating point number.\n");
}

void TestBilHeaderFile::validationBox()
{
    QFETCH(QByteArray, header);
    QFETCH(QString, problems);

    write(QStringLiteral(".hdr"), header);
    BilHeaderFile file(headerName());
    QCOMPARE(file.open(QIODevice::ReadOnly | QIODevice::Text), problems.isEmpty());
    QVERIFY(file.isOpen());
    if (problems.isEmpty()) {
        QVERIFY(boxes.isEmpty());
        return;
    }
    QCOMPARE(boxes.size(), 1);
    const Box& box = boxes.first();
    QCOMPARE(box.icon, QMessageBox::Critical);
    QCOMPARE(box.parent, nullptr);
    QCOMPARE(box.title, QStringLiteral("Error"));
    QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(box.text,
        QStringLiteral("One or more errors have occured while reading the header file:\n\n") + problems
            + QStringLiteral("Make sure that the *.BIL, *.HDR and *.BLW files are present."));
}

QTEST_GUILESS_MAIN(TestBilHeaderFile)
#include "tst_bilheaderfile.moc"
