#include "bil/BilHeaderFile.h"

#include "app/MessageBoxes.h"
#include "app/SettingsStore.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QByteArray completeHeader
    = "NROWS 100\nNCOLS 200\nNBITS 16\nULXMAP 10\nULYMAP 50\nXDIM 0.001\nYDIM 0.001\n";

// A field of the header by name, as a variant for QCOMPARE.
QVariant field(const BilHeaderFile& h, const QByteArray& name)
{
    const QHash<QByteArray, QVariant> fields { { "rows", h.rows }, { "nbits", h.nbits },
        { "byteOrder", h.byteOrder }, { "ulX", h.ulX }, { "xllCorner", h.xllCorner } };
    return fields.value(name);
}

// Every field a header line can set, in their order; "-" is unset.
QString allFields(const BilHeaderFile& h)
{
    const auto number = [](double value) {
        return value == BilHeaderFile::unset ? QStringLiteral("-") : QString::number(value, 'g', 12);
    };
    return QStringList { QString::number(h.rows), QString::number(h.cols), QString::number(h.bands),
        QString::number(h.nbits), h.byteOrder, number(h.ulX), number(h.ulY), number(h.lrX), number(h.lrY),
        number(h.xllCorner), number(h.yllCorner), number(h.pixelWidth), number(h.pixelHeight), h.mapUnits,
        h.nodataSet ? number(h.nodata) : QStringLiteral("none"), h.layout }
        .join(u' ');
}

} // namespace

class TestBilHeaderFile : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    QStringList boxes;

    // Dots as in the coordinates of real work-file names: only the last suffix is one.
    QString file(const QString& suffix) const
    {
        return dir->filePath("40.50000N-40.00000S_-105.00000W" + suffix);
    }
    void write(const QString& suffix, const QByteArray& content) const
    {
        QFile out(file(suffix));
        QVERIFY(out.open(QIODevice::WriteOnly) && out.write(content) == content.size());
    }
    // Writes the header and opens it; the result of open().
    bool open(BilHeaderFile& header, const QByteArray& content)
    {
        write(".hdr", content);
        return header.open(QIODevice::ReadOnly | QIODevice::Text);
    }

private slots:
    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        SettingsStore::setWorkingDirectory(dir->path());
        boxes.clear();
        MessageBoxes::setHandler([this](MessageBoxes::Icon icon, QWidget* parent, const QString& title,
                                     const QString& text, MessageBoxes::Buttons buttons) {
            const bool critical = icon == MessageBoxes::Critical && !parent && buttons == MessageBoxes::Ok;
            boxes << (critical ? "" : "not a critical error box: ") + title + "|" + text;
            return MessageBoxes::Ok;
        });
    }

    // One header of each dialect, with the keywords its writers use; where
    // the header leaves a pixel size out, it is derived from the corners.
    void dialects_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QString>("fields");
        QTest::newRow("ESRI BIL, blanks and tabs")
            << QByteArray("BYTEORDER      M\nLAYOUT         BIL\nNROWS          1001\nNCOLS          17\n"
                          "NBANDS         1\nNBITS          16\nTOTALROWBYTES  34\nNODATA\t\t-9999\n"
                          "ULXMAP\t\t-105.5\nULYMAP\t\t40.25\nXDIM           0.25\nYDIM           0.125\n")
            << "1001 17 1 16 M -105.5 40.25 - - - - 0.25 0.125 pixel -9999 BIL";
        QTest::newRow("coordinates with equals signs")
            << QByteArray("NUMBER_OF_ROWS = 1001\nNUMBER_OF_COLUMNS = 17\nDATATYPE = integer\n"
                          "BYTE_ORDER = LSBFIRST\nUL_X_COORDINATE = -105.5\nUL_Y_COORDINATE = 40.25\n"
                          "LR_X_COORDINATE = -104\nLR_Y_COORDINATE = 40.125\nMAP_UNITS = DD\n")
            << "1001 17 1 16 LSBFIRST -105.5 40.25 -104 40.125 - - 0.09375 0.000125 DD none BIL";
        QTest::newRow("map edges and pixel sizes")
            << QByteArray("ROWS=1001\nCOLS=17\nDATATYPE=i8\nLEFT_MAP_X=-105.5\nUPPER_MAP_Y=40.25\n"
                          "RIGHT_MAP_X=-104\nLOWER_MAP_Y=40.125\nPIXEL_WIDTH=0.5\nPIXEL_HEIGHT=0.25\n")
            << "1001 17 1 8 I -105.5 40.25 -104 40.125 - - 0.5 0.25 pixel none BIL";
        QTest::newRow("colons and keywords with blanks")
            << QByteArray("Rows: 1001\nColumns: 17\nData Type: real\nMin. X: -105.5\nMax. Y: 40.25\n"
                          "Max. X: -104\nMin. Y: 40.125\nRef. Units: dd\nLayout: band interleaved\n")
            << "1001 17 1 32 I -105.5 40.25 -104 40.125 - - 0.09375 0.000125 dd none band interleaved";
    }

    void dialects()
    {
        QFETCH(QByteArray, header);
        BilHeaderFile file(this->file(".hdr"));
        QVERIFY(open(file, header));
        QTEST(allFields(file), "fields");
    }

    // One line after a complete header and an empty line, which must not end the reading.
    void lineGrammar_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QVariant>("expected");
        const auto row = [](const char* line, const char* name, const QVariant& expected) {
            QTest::newRow(line) << QByteArray(line) << QByteArray(name) << expected;
        };
        row("nrows = 1000 = 2", "rows", 1000);
        row("nrows =", "rows", 100);
        row("datatype F32", "nbits", 16); // value words are case-sensitive
        row("byteorder = M:x", "byteOrder", "M:x"); // the equals sign wins over the colon
        row("ULXMAP -105.5abc", "ulX", -105.5); // the leading number
        row("XLLCORNER -105.5abc", "xllCorner", 0.0); // the whole value or nothing
        row("min. x -105.5", "ulX", 10.0); // a blank in the keyword needs a colon or equals sign
        row("totalrows 12", "rows", 100); // keys match at their start only
    }

    void lineGrammar()
    {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, name);
        BilHeaderFile header(file(".hdr"));
        QVERIFY(open(header, completeHeader + "\n" + line + "\n"));
        QTEST(field(header, name), "expected");
        QVERIFY(header.isOpen());
    }

    // What the header leaves out comes from the world and statistics files.
    void sideFiles_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("world");
        QTest::addColumn<QByteArray>("statistics");
        QTest::addColumn<QString>("suffixes");
        QTest::addColumn<QList<double>>(
            "expected"); // ulX, ulY, pixel width and height, NODATA (0: none), statMin, statMax
        const auto row = [](const char* name, const char* header, const char* world, const char* statistics,
                             const QList<double>& expected, const char* suffixes = ".blw.stx") {
            QTest::newRow(name) << QByteArray(header) << QByteArray(world) << QByteArray(statistics)
                                << QString(suffixes) << expected;
        };
        const char* rowsColsBits = "NROWS 100\nNCOLS 100\nNBITS 16\n";
        // Neither side file is read when the header has the corners.
        row("corners",
            "ncols 200\nnrows 100\nxllcorner -105.5\nyllcorner 40\ncellsize 0.25\nNODATA_value -9999\n"
            "byteorder LSBFIRST\nnbits 16\n",
            "9\n0\n0\n-9\n9\n9\n", "1 -32768 100\n",
            { -105.5, 99 * 0.25 + 40, 0.25, 0.25, -9999, -9999, 9999 });
        row("world file", rowsColsBits, "0.001\n0\n0\n-0.001\n10\n50\n", "1 -9999 1234 500.5 20.1\n",
            { 10, 50.099, 0.001, 0.001, -9999, -9999, 1234 });
        row("upper-case suffixes", rowsColsBits, "1\n0\n0\n-1\n5\n6\n", "1\n-32768\n3400\n",
            { 5, 105, 1, 1, -32768, -32768, 3400 }, ".BLW.STX");
        // The statistics file belongs to the missing upper-left x only.
        row("world file overrides the header", "NROWS 17\nNCOLS 17\nNBITS 16\nULXMAP 3\nXDIM 7\n",
            "0.5\n0\n0\n-0.25\n-20\n30\n", "1 -9999 1234\n", { -20, 34, 0.5, 0.25, 0, -9999, 9999 });
        row("short side files", "NROWS 16\nNCOLS 16\nNBITS 8\n", "2\n0\n0\n-4abc\n", "1 12",
            { 0, 60, 2, 4, 0, 12, 9999 });
        row("garbage statistics", "NROWS 16\nNCOLS 16\nNBITS 8\n", "1\n0\n0\n-1\n0\n0\n", "1 low high",
            { 0, 15, 1, 1, -9999, -9999, 9999 });
        row("lower-right pixel",
            "nrows 101\nncols 201\nnbits 32\nulxmap 10\nulymap 50\nlr_x_coordinate 10.2\n"
            "lr_y_coordinate 49.9\n",
            "", "", { 10, 50, 0.001, 0.001, 0, -9999, 9999 });
    }

    void sideFiles()
    {
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, world);
        QFETCH(QByteArray, statistics);
        QFETCH(QString, suffixes);
        QFETCH(QList<double>, expected);
        if (!world.isEmpty())
            write(suffixes.left(4), world);
        if (!statistics.isEmpty())
            write(suffixes.mid(4), statistics);
        BilHeaderFile file(this->file(".hdr"));
        QVERIFY(open(file, header));
        const QList<double> actual { file.ulX, file.ulY, file.pixelWidth, file.pixelHeight,
            file.nodataSet ? file.nodata : 0, double(file.statMin), double(file.statMax) };
        for (int i = 0; i < expected.size(); ++i)
            QCOMPARE(actual[i], expected[i]);
    }

    void sampleWidthGuess_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QString>("dataSuffix");
        QTest::addColumn<int>("dataSize");
        QTest::addColumn<int>("nbits");
        const QByteArray geometry("NROWS 100\nNCOLS 200\nULXMAP 1\nULYMAP 2\nXDIM 1\nYDIM 1\n");
        QTest::newRow("8 bits") << geometry << ".bil" << 20000 << 8;
        QTest::newRow("upper-case suffix") << geometry << ".BIL" << 40000 << 16;
        QTest::newRow("no matching size") << geometry << ".bil" << 40001 << -1;
        QTest::newRow("stated width kept") << geometry + "NBITS 16\n"
                                           << ".bil" << 20000 << 16;
        QTest::newRow("unusable stated width") << geometry + "NBITS 12\n"
                                               << ".bil" << 80000 << 32;
        QTest::newRow("rows missing") << QByteArray("NCOLS 200\n") << ".bil" << 200 << -1;
        // 2^62 samples, four bytes each: 2^64 bytes, which is no size of an empty file.
        QTest::newRow("lowest sizes, empty file")
            << QByteArray("NROWS -2147483648\nNCOLS -2147483648\n") << ".bil" << 0 << -1;
    }

    void sampleWidthGuess()
    {
        QFETCH(QByteArray, header);
        QFETCH(QString, dataSuffix);
        QFETCH(int, dataSize);
        QFETCH(int, nbits);
        write(dataSuffix, QByteArray(dataSize, '\x7f'));
        BilHeaderFile file(this->file(".hdr"));
        QCOMPARE(open(file, header), nbits != -1);
        QCOMPARE(file.nbits, nbits);
        // A guess is logged ("hh:mm:ss.zzz: message").
        QFile log(dir->filePath("messages.txt"));
        const bool guessed = nbits != -1 && !header.contains("NBITS 16");
        QCOMPARE(log.open(QIODevice::ReadOnly) ? log.readAll().mid(14) : QByteArray(),
            guessed ? QStringLiteral("BilHeaderFile: guessing %1 bits per pixel from the file size.\r\n")
                          .arg(nbits)
                          .toLatin1()
                    : QByteArray());
    }

    void validationBox_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QString>("problems");
        QTest::newRow("empty header")
            << QByteArray()
            << "ROWS - Number of rows missing or invalid. Valid: 16 to 32768.\n"
               "COLS - Number of columns missing or invalid. Valid: 16 to 32768.\n"
               "Datatype - Number of bits per pixel missing or invalid. Valid: 8, 16, 32.\n"
               "UL_X_COORDINATE - x coordinate of the center of the upper-left pixel missing or invalid.\n"
               "UL_Y_COORDINATE - y coordinate of the center of the upper-left pixel missing or invalid.\n"
               // Derived from two unset values: 0, no valid size either.
               "PIXEL_WIDTH - missing or invalid. Valid: any non-zero positive floating point number.\n"
               "PIXEL_HEIGHT - missing or invalid. Valid: any non-zero positive floating point number.\n";
        QTest::newRow("three bands")
            << completeHeader + "NBANDS 3\n"
            << "BANDS - Number of spectral bands missing or invalid. Valid: 1 only.\n";
        // Values the header gives but the import cannot use get the same lines as missing ones.
        const auto outOfRange = [](const char* name, const QByteArray& lines, const QString& problems) {
            QTest::newRow(name) << completeHeader + lines << problems;
        };
        const QString rowsLine = "ROWS - Number of rows missing or invalid. Valid: 16 to 32768.\n";
        const QString colsLine = "COLS - Number of columns missing or invalid. Valid: 16 to 32768.\n";
        const QString ulXLine
            = "UL_X_COORDINATE - x coordinate of the center of the upper-left pixel missing or invalid.\n";
        const QString ulYLine
            = "UL_Y_COORDINATE - y coordinate of the center of the upper-left pixel missing or invalid.\n";
        const QString widthLine
            = "PIXEL_WIDTH - missing or invalid. Valid: any non-zero positive floating point number.\n";
        const QString heightLine
            = "PIXEL_HEIGHT - missing or invalid. Valid: any non-zero positive floating point number.\n";
        outOfRange("15 rows", "NROWS 15\n", rowsLine);
        outOfRange("32769 columns", "NCOLS 32769\n", colsLine);
        outOfRange("negative sizes", "NROWS -2147483648\nNCOLS -1\n", rowsLine + colsLine);
        outOfRange("zero and negative pixels", "XDIM 0\nYDIM -0.001\n", widthLine + heightLine);
        outOfRange("infinite and NaN pixels", "XDIM inf\nYDIM nan\n", widthLine + heightLine);
        outOfRange("infinite corners", "ULXMAP -inf\nULYMAP 1e999\n", ulXLine + ulYLine);
        // Derived values: the upper-left y from the lower-left corner and
        // the pixel sizes from the lower-right pixel.
        QTest::newRow("lowest row count below a corner")
            << QByteArray("NROWS -2147483648\nNCOLS 20\nNBITS 16\nXLLCORNER 0\nYLLCORNER 0\nCELLSIZE 1\n")
            << rowsLine;
        QTest::newRow("one row and column to the lower-right pixel") << QByteArray(
            "NROWS 1\nNCOLS 1\nNBITS 8\nULXMAP 0\nULYMAP 0\nLR_X_COORDINATE 0\n"
            "LR_Y_COORDINATE 0\n") << rowsLine + colsLine + widthLine + heightLine;
        QTest::newRow("lower-right pixel above and left") << QByteArray(
            "NROWS 16\nNCOLS 16\nNBITS 8\nULXMAP 0\nULYMAP 0\nLR_X_COORDINATE -1\n"
            "LR_Y_COORDINATE 1\n") << widthLine + heightLine;
    }

    // Sizes the import can use, however large or small.
    void valuesInRange_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::newRow("16 rows and 32768 columns") << QByteArray("NROWS 16\nNCOLS 32768\n");
        QTest::newRow("huge pixels") << QByteArray("XDIM 1e305\nYDIM 1.7e308\n");
        QTest::newRow("tiny pixels") << QByteArray("XDIM 5e-324\nYDIM 1e-300\n");
        QTest::newRow("far corners") << QByteArray("ULXMAP -1.7e308\nULYMAP 1e308\n");
    }

    void valuesInRange()
    {
        QFETCH(QByteArray, lines);
        BilHeaderFile file(this->file(".hdr"));
        QVERIFY(open(file, completeHeader + lines));
        QVERIFY(boxes.isEmpty());
    }

    void validationBox()
    {
        QFETCH(QByteArray, header);
        QFETCH(QString, problems);
        BilHeaderFile file(this->file(".hdr"));
        QVERIFY(!open(file, header));
        QVERIFY(file.isOpen());
        QCOMPARE(boxes,
            QStringList { "Error|One or more errors have occured while reading the header file:\n\n"
                + problems + "Make sure that the *.BIL, *.HDR and *.BLW files are present." });
    }
};

QTEST_GUILESS_MAIN(TestBilHeaderFile)
#include "tst_bilheaderfile.moc"
