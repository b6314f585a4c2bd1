#include "bil/ImageProcessor.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <deque>

using Points = QList<QPoint>;

namespace {

// '#' black, '.' white, 'g' grey, 'd' dark grey (10, 10, 10), 'r' red.
QImage maskFromRows(const QStringList& rows)
{
    QImage mask(int(rows.first().size()), int(rows.size()), QImage::Format_RGB32);
    for (int y = 0; y < mask.height(); ++y) {
        for (int x = 0; x < mask.width(); ++x) {
            switch (rows[y][x].toLatin1()) {
            case '#':
                mask.setPixel(x, y, 0xFF000000u);
                break;
            case 'g':
                mask.setPixel(x, y, 0xFF808080u);
                break;
            case 'd':
                mask.setPixel(x, y, 0xFF0A0A0Au);
                break;
            case 'r':
                mask.setPixel(x, y, 0xFFFF0000u);
                break;
            default:
                mask.setPixel(x, y, 0xFFFFFFFFu);
                break;
            }
        }
    }
    return mask;
}

// The fill one point at a time through QImage::pixel, queueing every
// matching neighbour on its own; black is the target, red the fill.
std::pair<Points, Points> pointByPointFill(QImage image, QPoint start)
{
    Points spot;
    Points border;
    const auto black = [&](int x, int y) { return (image.pixel(x, y) & 0xFFFFFFu) == 0; };
    std::deque<QPoint> queue { start };
    while (!queue.empty()) {
        const QPoint p = queue.front();
        queue.pop_front();
        if (!black(p.x(), p.y()))
            continue;
        int left = p.x();
        while (left > 0 && black(left - 1, p.y()))
            --left;
        if (left > 0)
            border.append(QPoint(left - 1, p.y()));
        int right = p.x();
        while (right < image.width() - 1 && black(right + 1, p.y()))
            ++right;
        if (right < image.width() - 1)
            border.append(QPoint(right + 1, p.y()));
        for (int x = left; x <= right; ++x) {
            image.setPixel(x, p.y(), 0xFFFF0000u);
            spot.append(QPoint(x, p.y()));
        }
        for (const int y : { p.y() - 1, p.y() + 1 }) {
            for (int x = left; y >= 0 && y < image.height() && x <= right; ++x) {
                if (black(x, y))
                    queue.push_back(QPoint(x, y));
                else if ((image.pixel(x, y) & 0xFFFFFFu) != 0xFF0000u)
                    border.append(QPoint(x, y));
            }
        }
    }
    std::sort(border.begin(), border.end());
    border.erase(std::unique(border.begin(), border.end()), border.end());
    return { spot, border };
}

} // namespace

class TestImageProcessor : public QObject {
    Q_OBJECT

private slots:
    void pointOrder();
    void floodFill_data();
    void floodFill();
    void randomMasksFillLikePointByPoint();
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
    QTest::newRow("single border pixel")
        << QStringList { "#." } << QPoint(0, 0) << 0 << Points { { 0, 0 } } << Points { { 1, 0 } };
    QTest::newRow("spans in fill order, border once")
        << QStringList { "#.#", "###" } << QPoint(0, 0) << 0
        << Points { { 0, 0 }, { 0, 1 }, { 1, 1 }, { 2, 1 }, { 2, 0 } } << Points { { 1, 0 } };
    QTest::newRow("whole image, no border") << QStringList { "##", "##" } << QPoint(1, 1) << 0
                                            << Points { { 0, 1 }, { 1, 1 }, { 0, 0 }, { 1, 0 } } << Points {};
    QTest::newRow("grey start pixel fills nothing")
        << QStringList { ".g#" } << QPoint(1, 0) << 0 << Points {} << Points {};
    QTest::newRow("grey pixel borders")
        << QStringList { "g#." } << QPoint(1, 0) << 0 << Points { { 1, 0 } } << Points { { 0, 0 }, { 2, 0 } };
    QTest::newRow("tolerance widens the match")
        << QStringList { ".d#." } << QPoint(2, 0) << 10 << Points { { 1, 0 }, { 2, 0 } }
        << Points { { 0, 0 }, { 3, 0 } };
    QTest::newRow("fill-coloured pixels border only beside a span")
        << QStringList { "#r", "r." } << QPoint(0, 0) << 0 << Points { { 0, 0 } } << Points { { 1, 0 } };
    QTest::newRow("start outside the image")
        << QStringList { "#" } << QPoint(1, 0) << 0 << Points {} << Points {};
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

void TestImageProcessor::randomMasksFillLikePointByPoint()
{
    QRandomGenerator random(4711);
    // Black near the percolation threshold: spots of every size and shape.
    const QRgb colours[] = { 0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFFFFFFFFu,
        0xFFFFFFFFu, 0xFF808080u, 0xFFFF0000u };
    qsizetype largest = 0;
    for (int round = 0; round < 20; ++round) {
        QImage mask(40, 30, QImage::Format_RGB32);
        for (int y = 0; y < mask.height(); ++y)
            for (int x = 0; x < mask.width(); ++x)
                mask.setPixel(x, y, colours[random.bounded(9)]);
        const QPoint start(random.bounded(40), random.bounded(30));
        mask.setPixel(start, 0xFF000000u);

        ImageProcessor processor(mask);
        processor.floodFill2(start.x(), start.y(), 0xFF000000u, 0xFFFF0000u, 0);
        const auto [spot, border] = pointByPointFill(mask, start);
        QCOMPARE(processor.spotPoints, spot);
        QCOMPARE(processor.borderPoints, border);
        largest = std::max(largest, spot.size());
    }
    QVERIFY(largest > 100);
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
