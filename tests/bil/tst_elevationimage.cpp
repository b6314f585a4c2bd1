#include "bil/ElevationImage.h"

#include <QTemporaryDir>
#include <QTest>

class TestElevationImage : public QObject {
    Q_OBJECT

private slots:
    void encoding_data()
    {
        QTest::addColumn<double>("z");
        QTest::addColumn<QRgb>("pixel");
        QTest::addColumn<int>("readBack");
        QTest::newRow("256") << 256.0 << qRgb(0, 1, 0) << 256;
        QTest::newRow("-1 is white") << -1.0 << qRgb(255, 255, 255) << -1;
        QTest::newRow("half rounds up") << 2.5 << qRgb(0, 0, 3) << 3;
        QTest::newRow("negative half rounds down") << -2.5 << qRgb(255, 255, 253) << -3;
        QTest::newRow("small negative becomes 0") << -0.4 << qRgb(0, 0, 0) << 0;
        QTest::newRow("largest") << 8388607.0 << qRgb(127, 255, 255) << 8388607;
        QTest::newRow("NODATA marker") << -8388608.0 << qRgb(128, 0, 0) << -8388608;
        QTest::newRow("one above largest wraps") << 8388608.0 << qRgb(128, 0, 0) << -8388608;
    }

    void encoding()
    {
        QFETCH(double, z);
        QFETCH(QRgb, pixel);
        QFETCH(int, readBack);
        ElevationImage image(2, 2, QImage::Format_RGB888);
        image.setElevation(1, 0, z);
        QCOMPARE(image.pixel(1, 0), pixel);
        QCOMPARE(image.elevation(1, 1), double(readBack));
        QCOMPARE(ElevationImage::encode(readBack), pixel);
    }

    void coordinates()
    {
        // setElevation() counts rows from the top, elevation() from the bottom.
        ElevationImage image(4, 3, QImage::Format_RGB888);
        image.clear(ElevationImage::encode(7));
        image.setElevation(3, 0, 33);
        QCOMPARE(image.pixel(3, 0), ElevationImage::encode(33));
        QCOMPARE(image.elevation(3, 2), 33.0);
        QCOMPARE(image.elevation(3, 0), 7.0);
        // -1 truncates onto the first column and row; -2 and the far edges are outside.
        image.setElevation(-1, -1, 99);
        QCOMPARE(image.elevation(-1, 2), 99.0);
        QCOMPARE(image.elevation(0, -1), 7.0);
        for (const QPoint& outside : { QPoint(4, 0), QPoint(0, 3), QPoint(-2, 0), QPoint(0, -2) })
            QCOMPARE(image.elevation(outside.x(), outside.y()), 0.0);
    }

    void scales()
    {
        ElevationImage source(4, 4, QImage::Format_RGB888);
        source.clear(ElevationImage::encode(0));
        source.setZScale(0.5);
        source.setElevation(2, 1, 21); // stored as 42
        QCOMPARE(ElevationImage(source).elevation(2, 2), 21.0); // a copy keeps the z scale
        QTemporaryDir dir;
        QVERIFY(source.save(dir.filePath("scaled.png")));
        // Two map units per pixel: map x 4 is column 2, map y 4 is two rows up.
        const ElevationImage scaled(dir.filePath("scaled.png"), 2.0, 2.0);
        QCOMPARE(scaled.elevation(4, 4), 42.0);
        QCOMPARE(scaled.elevation(8, 0), 0.0);
    }
};

QTEST_GUILESS_MAIN(TestElevationImage)
#include "tst_elevationimage.moc"
