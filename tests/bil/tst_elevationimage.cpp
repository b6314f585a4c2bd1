#include "bil/ElevationImage.h"

#include <QTemporaryDir>
#include <QTest>

class TestElevationImage : public QObject
{
    Q_OBJECT

private slots:
    void encoding_data();
    void encoding();
    void verticalConventions();
    void coordinates_data();
    void coordinates();
    void writesOutsideAreIgnored();
    void pngRoundTrip();
    void zScale();
    void coordinateScalesFromFile();
    void copySharesUntilWritten();
    void clear();
};

void TestElevationImage::encoding_data()
{
    QTest::addColumn<double>("z");
    QTest::addColumn<QRgb>("pixel");
    QTest::addColumn<double>("readBack");

    QTest::newRow("zero is black") << 0.0 << qRgb(0, 0, 0) << 0.0;
    QTest::newRow("256") << 256.0 << qRgb(0, 1, 0) << 256.0;
    QTest::newRow("-1 is white") << -1.0 << qRgb(255, 255, 255) << -1.0;
    QTest::newRow("round half up") << 2.5 << qRgb(0, 0, 3) << 3.0;
    QTest::newRow("round half down below zero") << -2.5 << qRgb(255, 255, 253) << -3.0;
    QTest::newRow("small negative becomes 0") << -0.4 << qRgb(0, 0, 0) << 0.0;
    QTest::newRow("1234.6") << 1234.6 << qRgb(0, 4, 211) << 1235.0;
    QTest::newRow("largest") << 8388607.0 << qRgb(127, 255, 255) << 8388607.0;
    QTest::newRow("NODATA marker") << -8388608.0 << qRgb(128, 0, 0) << -8388608.0;
    QTest::newRow("one above largest wraps") << 8388608.0 << qRgb(128, 0, 0) << -8388608.0;
    QTest::newRow("one below smallest wraps") << -8388609.0 << qRgb(127, 255, 255) << 8388607.0;
}

void TestElevationImage::encoding()
{
    QFETCH(double, z);
    QFETCH(QRgb, pixel);
    QFETCH(double, readBack);

    ElevationImage image(2, 2, QImage::Format_RGB888);
    image.setElevation(1, 0, z);
    QCOMPARE(image.pixel(1, 0), pixel);
    QCOMPARE(image.elevation(1, 1), readBack);
    QCOMPARE(ElevationImage::decode(pixel), static_cast<int>(readBack));
    QCOMPARE(ElevationImage::encode(static_cast<int>(readBack)), pixel);
}

void TestElevationImage::verticalConventions()
{
    ElevationImage image(10, 10, QImage::Format_RGB888);
    image.clear(ElevationImage::encode(7));
    image.setElevation(3, 0, 1234.6);
    // setElevation counts rows from the top, elevation() from the bottom.
    QCOMPARE(image.pixel(3, 0), ElevationImage::encode(1235));
    QCOMPARE(image.elevation(3, 9), 1235.0);
    QCOMPARE(image.elevation(3, 0), 7.0);
}

void TestElevationImage::coordinates_data()
{
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<double>("expected");

    // The image holds 10 * column + row-from-the-bottom + 1, so 0.0 means outside.
    QTest::newRow("bottom left") << 0 << 0 << 1.0;
    QTest::newRow("top right") << 3 << 2 << 33.0;
    QTest::newRow("x = width") << 4 << 0 << 0.0;
    QTest::newRow("y = height") << 0 << 3 << 0.0;
    QTest::newRow("x = -1 truncates onto column 0") << -1 << 1 << 2.0;
    QTest::newRow("y = -1 truncates onto the bottom row") << 2 << -1 << 21.0;
    QTest::newRow("x = -2") << -2 << 0 << 0.0;
    QTest::newRow("y = -2") << 0 << -2 << 0.0;
}

void TestElevationImage::coordinates()
{
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(double, expected);

    ElevationImage image(4, 3, QImage::Format_RGB888);
    for (int column = 0; column < 4; ++column)
        for (int row = 0; row < 3; ++row)
            image.setElevation(column, 2 - row, 10 * column + row + 1);
    QCOMPARE(image.elevation(x, y), expected);
}

void TestElevationImage::writesOutsideAreIgnored()
{
    ElevationImage image(3, 3, QImage::Format_RGB888);
    image.clear(ElevationImage::encode(5));
    const QImage before = image.copy();
    for (const QPoint& outside : { QPoint(3, 0), QPoint(0, 3), QPoint(-2, 0), QPoint(0, -2) })
        image.setElevation(outside.x(), outside.y(), 99);
    QCOMPARE(static_cast<const QImage&>(image), before);
    // -1 rounds onto the first column and row.
    image.setElevation(-1, -1, 99);
    QCOMPARE(image.pixel(0, 0), ElevationImage::encode(99));
}

void TestElevationImage::pngRoundTrip()
{
    const QList<double> values { 0, 1, -1, 255, 256, 65535, 65536, -65536, 8388607, -8388608, 123456, -98765 };
    ElevationImage image(static_cast<int>(values.size()), 2, QImage::Format_RGB888);
    for (int x = 0; x < values.size(); ++x) {
        image.setElevation(x, 0, values.at(x));
        image.setElevation(x, 1, -values.at(x) / 2);
    }
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString fileName = dir.filePath(QStringLiteral("round-trip-el-corr.png"));
    QVERIFY(image.save(fileName));

    ElevationImage loaded;
    QVERIFY(loaded.load(fileName));
    QCOMPARE(loaded.size(), image.size());
    for (int x = 0; x < values.size(); ++x) {
        QCOMPARE(loaded.elevation(x, 1), image.elevation(x, 1));
        QCOMPARE(loaded.elevation(x, 0), image.elevation(x, 0));
    }
}

void TestElevationImage::zScale()
{
    ElevationImage image(2, 2, QImage::Format_RGB888);
    QCOMPARE(image.zScale(), 1.0);
    image.setZScale(0.5);
    image.setElevation(0, 0, 100);
    QCOMPARE(image.pixel(0, 0), ElevationImage::encode(200));
    QCOMPARE(image.elevation(0, 1), 100.0);
}

void TestElevationImage::coordinateScalesFromFile()
{
    ElevationImage source(4, 4, QImage::Format_RGB888);
    source.clear(ElevationImage::encode(0));
    source.setElevation(2, 1, 42);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString fileName = dir.filePath(QStringLiteral("scaled.png"));
    QVERIFY(source.save(fileName));

    // Two map units per pixel: map x 4 is column 2, map y 4 is two rows up.
    const ElevationImage scaled(fileName, 2.0, 2.0);
    QCOMPARE(scaled.elevation(4, 4), 42.0);
    QCOMPARE(scaled.elevation(8, 0), 0.0);
}

void TestElevationImage::copySharesUntilWritten()
{
    ElevationImage original(2, 2, QImage::Format_RGB888);
    original.clear(ElevationImage::encode(1));
    original.setZScale(4.0);
    ElevationImage copy(original);
    QCOMPARE(copy.zScale(), 4.0);
    QCOMPARE(copy.constBits(), original.constBits());

    copy.setElevation(0, 0, 400);
    QCOMPARE(copy.elevation(0, 1), 400.0);
    QCOMPARE(original.elevation(0, 1), 4.0);
}

void TestElevationImage::clear()
{
    ElevationImage image(3, 2, QImage::Format_RGB888);
    image.clear(0xFF800000u);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            QCOMPARE(image.elevation(x, y), -8388608.0);
}

QTEST_GUILESS_MAIN(TestElevationImage)
#include "tst_elevationimage.moc"
