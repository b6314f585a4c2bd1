#include "bil/ImageProcessor.h"

#include <QTest>

using Points = QList<QPoint>;

namespace {

// '#' black, '.' white, 'g' grey, 'd' dark grey (10, 10, 10), 'r' red.
QImage maskFromRows(const QStringList& rows)
{
    QImage mask(int(rows.first().size()), int(rows.size()), QImage::Format_RGB32);
    for (int y = 0; y < mask.height(); ++y) {
        for (int x = 0; x < mask.width(); ++x) {
            switch (rows[y][x].toLatin1()) {
            case '#': mask.setPixel(x, y, 0xFF000000u); break;
            case 'g': mask.setPixel(x, y, 0xFF808080u); break;
            case 'd': mask.setPixel(x, y, 0xFF0A0A0Au); break;
            case 'r': mask.setPixel(x, y, 0xFFFF0000u); break;
            default: mask.setPixel(x, y, 0xFFFFFFFFu); break;
            }
        }
    }
    return mask;
}

} // namespace

class TestImageProcessor : public QObject
{
    Q_OBJECT

private slots:
    void pointOrder();
    void floodFill_data();
    void floodFill();
    void secondFillOfSameSpotIsEmpty();
    void diagonalNeighboursAreSeparateSpots();
    void callersImageStaysUntouched();
    void paletteImagesAreFilledLikeRgbImages();
};

void TestImageProcessor::pointOrder()
{
    QVERIFY(QPoint(1, 5) < QPoint(2, 0));
    QVERIFY(QPoint(1, 0) < QPoint(1, 1));
    QVERIFY(!(QPoint(1, 1) < QPoint(1, 1)));
    QVERIFY(!(QPoint(2, 0) < QPoint(1, 999)));
}

void TestImageProcessor::floodFill_data()
{
    QTest::addColumn<QStringList>("rows");
    QTest::addColumn<QPoint>("start");
    QTest::addColumn<int>("tolerance");
    QTest::addColumn<Points>("spot");
    QTest::addColumn<Points>("border");

    QTest::newRow("single pixel in the middle")
        << QStringList { "...", ".#.", "..." } << QPoint(1, 1) << 0 << Points { { 1, 1 } }
        << Points { { 0, 1 }, { 1, 0 }, { 1, 2 }, { 2, 1 } };
    QTest::newRow("corner spot takes its border from inside the image")
        << QStringList { "##.", "#..", "..." } << QPoint(0, 0) << 0 << Points { { 0, 0 }, { 1, 0 }, { 0, 1 } }
        << Points { { 0, 2 }, { 1, 1 }, { 2, 0 } };
    QTest::newRow("single border pixel") << QStringList { "#." } << QPoint(0, 0) << 0 << Points { { 0, 0 } }
                                         << Points { { 1, 0 } };
    QTest::newRow("spans in fill order, border once")
        << QStringList { "#.#", "###" } << QPoint(0, 0) << 0
        << Points { { 0, 0 }, { 0, 1 }, { 1, 1 }, { 2, 1 }, { 2, 0 } } << Points { { 1, 0 } };
    QTest::newRow("whole image, no border")
        << QStringList { "##", "##" } << QPoint(1, 1) << 0 << Points { { 0, 1 }, { 1, 1 }, { 0, 0 }, { 1, 0 } }
        << Points {};
    QTest::newRow("grey start pixel fills nothing") << QStringList { ".g#" } << QPoint(1, 0) << 0 << Points {}
                                                    << Points {};
    QTest::newRow("grey pixel borders") << QStringList { "g#." } << QPoint(1, 0) << 0 << Points { { 1, 0 } }
                                        << Points { { 0, 0 }, { 2, 0 } };
    QTest::newRow("tolerance widens the match")
        << QStringList { ".d#." } << QPoint(2, 0) << 10 << Points { { 1, 0 }, { 2, 0 } }
        << Points { { 0, 0 }, { 3, 0 } };
    QTest::newRow("fill-coloured pixels border only beside a span")
        << QStringList { "#r", "r." } << QPoint(0, 0) << 0 << Points { { 0, 0 } } << Points { { 1, 0 } };
    QTest::newRow("start outside the image") << QStringList { "#" } << QPoint(1, 0) << 0 << Points {} << Points {};
}

void TestImageProcessor::floodFill()
{
    QFETCH(QStringList, rows);
    QFETCH(QPoint, start);
    QFETCH(int, tolerance);

    ImageProcessor processor(maskFromRows(rows));
    processor.floodFill2(start.x(), start.y(), 0xFF000000u, 0xFFFF0000u, tolerance);

    QTEST(processor.spotPoints, "spot");
    QTEST(processor.borderPoints, "border");
}

void TestImageProcessor::secondFillOfSameSpotIsEmpty()
{
    ImageProcessor processor(maskFromRows({ ".#", "##" }));
    processor.floodFill2(1, 0, 0xFF000000u, 0xFFFF0000u, 0);
    QCOMPARE(processor.spotPoints.size(), 3);

    processor.floodFill2(0, 1, 0xFF000000u, 0xFFFF0000u, 0);
    QVERIFY(processor.spotPoints.isEmpty());
    QVERIFY(processor.borderPoints.isEmpty());
}

void TestImageProcessor::diagonalNeighboursAreSeparateSpots()
{
    ImageProcessor processor(maskFromRows({ "#.", ".#" }));
    processor.floodFill2(0, 0, 0xFF000000u, 0xFFFF0000u, 0);
    QCOMPARE(processor.spotPoints, (Points { { 0, 0 } }));
    QCOMPARE(processor.borderPoints, (Points { { 0, 1 }, { 1, 0 } }));

    processor.floodFill2(1, 1, 0xFF000000u, 0xFFFF0000u, 0);
    QCOMPARE(processor.spotPoints, (Points { { 1, 1 } }));
    QCOMPARE(processor.borderPoints, (Points { { 0, 1 }, { 1, 0 } }));
}

void TestImageProcessor::callersImageStaysUntouched()
{
    const QImage mask = maskFromRows({ "##" });
    ImageProcessor processor(mask);
    processor.floodFill2(0, 0, 0xFF000000u, 0xFFFF0000u, 0);
    QCOMPARE(processor.spotPoints.size(), 2);
    QCOMPARE(mask.pixel(0, 0), 0xFF000000u);
    QCOMPARE(mask.pixel(1, 0), 0xFF000000u);
}

void TestImageProcessor::paletteImagesAreFilledLikeRgbImages()
{
    QImage mask = maskFromRows({ ".#", "##" }).convertToFormat(QImage::Format_Indexed8);
    ImageProcessor processor(mask);
    processor.floodFill2(1, 1, 0xFF000000u, 0xFFFF0000u, 0);
    QCOMPARE(processor.spotPoints, (Points { { 0, 1 }, { 1, 1 }, { 1, 0 } }));
    QCOMPARE(processor.borderPoints, (Points { { 0, 0 } }));
}

QTEST_GUILESS_MAIN(TestImageProcessor)
#include "tst_imageprocessor.moc"
