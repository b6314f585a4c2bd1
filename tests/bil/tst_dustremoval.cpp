#include "bench/fill/StraightforwardFill.h"
#include "bil/DustRemoval.h"
#include "bil/ElevationImage.h"

#include <QFile>
#include <QProgressBar>
#include <QRandomGenerator>
#include <QTest>
#include <QWidget>

namespace {

constexpr int noData = ElevationImage::minimumValue;

// One elevation per pixel, row by row from the top; noData marks a hole.
QImage elevationRow(int width, int height, const QList<int>& values)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int i = 0; i < values.size(); ++i)
        image.setPixel(i % width, i / width, ElevationImage::encode(values[i]));
    return image;
}

// '#' NODATA, 'g' grey (neither), anything else data.
QImage maskFromRows(const QStringList& rows)
{
    QImage mask(int(rows.first().size()), int(rows.size()), QImage::Format_RGB32);
    for (int y = 0; y < mask.height(); ++y)
        for (int x = 0; x < mask.width(); ++x)
            mask.setPixel(x, y,
                rows[y][x] == '#'       ? 0xFF000000u
                    : rows[y][x] == 'g' ? 0xFF808080u
                                        : 0xFFFFFFFFu);
    return mask;
}

QList<int> elevations(const QImage& image)
{
    QList<int> values;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            values.append(DustRemoval::elevation(image, x, y));
    return values;
}

// A random-walk hole of about pixels pixels in the middle of a size x size
// terrain with a few hills.
std::pair<QImage, QImage> randomHole(int size, int pixels, quint32 seed)
{
    QRandomGenerator random(seed);
    QImage image(size, size, QImage::Format_RGB32);
    QImage mask(size, size, QImage::Format_RGB32);
    mask.fill(0xFFFFFFFFu);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            image.setPixel(x, y, ElevationImage::encode(int(random.bounded(200000)) - 50000));
    QPoint walker(size / 2, size / 2);
    for (int painted = 0; painted < pixels;) {
        if (mask.pixel(walker) != 0xFF000000u) {
            mask.setPixel(walker, 0xFF000000u);
            image.setPixel(walker, ElevationImage::encode(noData));
            ++painted;
        }
        const QPoint step[] = { { 1, 0 }, { -1, 0 }, { 0, 1 }, { 0, -1 } };
        const QPoint next = walker + step[random.bounded(4)];
        if (next.x() > 1 && next.y() > 1 && next.x() < size - 2 && next.y() < size - 2)
            walker = next;
    }
    return { image, mask };
}

} // namespace

class TestDustRemoval : public QObject {
    Q_OBJECT

private slots:
    void elevationReading_data();
    void elevationReading();
    void elevationInterpolation_data();
    void elevationInterpolation();
    void colorInterpolationTruncates();
    void uniformBorderCopiesThePixel();
    void largeSpotsAgreeWithPlainComputation_data();
    void largeSpotsAgreeWithPlainComputation();
    void eventsRunWhileALargeSpotIsComputed();

    void failures_data();
    void failures();
    void existingOutputStaysWithoutOverwrite();
    void successWritesFilledImage();
    void colorKeyBuildsTheMask();
};

void TestDustRemoval::elevationReading_data()
{
    QTest::addColumn<uint>("pixel");
    QTest::addColumn<int>("value");
    QTest::newRow("zero") << 0xFF000000u << 0;
    QTest::newRow("minus one") << 0xFFFFFFFFu << -1;
    QTest::newRow("NODATA") << 0xFF800000u << noData;
    QTest::newRow("largest") << 0xFF7FFFFFu << 8388607;
    QTest::newRow("alpha ignored") << 0x00000100u << 256;
}

void TestDustRemoval::elevationReading()
{
    QFETCH(uint, pixel);
    QImage image(1, 1, QImage::Format_ARGB32);
    image.setPixel(0, 0, pixel);
    QTEST(DustRemoval::elevation(image, 0, 0), "value");
}

void TestDustRemoval::elevationInterpolation_data()
{
    QTest::addColumn<QStringList>("mask");
    QTest::addColumn<QList<int>>("input");
    QTest::addColumn<QList<int>>("output");

    // Weights 1 and 1/16: (100 + 400 / 16) / (17 / 16) = 117.6 and 382.4.
    QTest::newRow("inverse fourth power") << QStringList { ".##." } << QList<int> { 100, noData, noData, 400 }
                                          << QList<int> { 100, 118, 382, 400 };
    QTest::newRow("negative half rounds away from zero")
        << QStringList { ".#." } << QList<int> { -1, noData, -2 } << QList<int> { -1, -2, -2 };
    QTest::newRow("positive half rounds up")
        << QStringList { ".#." } << QList<int> { 1, noData, 2 } << QList<int> { 1, 2, 2 };
    QTest::newRow("single border pixel")
        << QStringList { "#." } << QList<int> { noData, -7 } << QList<int> { -7, -7 };
    // Both spots share the middle column; each is filled from its own border.
    QTest::newRow("two spots sharing a border pixel")
        << QStringList { "#.#", "..." } << QList<int> { noData, 10, noData, 20, 30, 40 }
        << QList<int> { 15, 10, 25, 20, 30, 40 };
    QTest::newRow("diagonal contact gives two spots")
        << QStringList { "#.", ".#" } << QList<int> { noData, 8, 4, noData } << QList<int> { 6, 8, 4, 6 };
    QTest::newRow("grey mask pixel is a border value")
        << QStringList { ".#g" } << QList<int> { 10, noData, 30 } << QList<int> { 10, 20, 30 };
    QTest::newRow("grey mask pixel starts no spot")
        << QStringList { "g#." } << QList<int> { 10, noData, 30 } << QList<int> { 10, noData, 30 };
    // The scan state survives the row change: the hole at the start of the
    // second row follows the hole that ends the first and is not entered.
    QTest::newRow("spot continuing over a row end")
        << QStringList { "..#", "#.." } << QList<int> { 1, 2, noData, noData, 5, 6 }
        << QList<int> { 1, 2, 4, noData, 5, 6 };
    QTest::newRow("all NODATA stays")
        << QStringList { "##", "##" } << QList<int> { noData, noData, noData, noData }
        << QList<int> { noData, noData, noData, noData };
    QTest::newRow("no NODATA stays") << QStringList { ".." } << QList<int> { 3, noData }
                                     << QList<int> { 3, noData };
}

void TestDustRemoval::elevationInterpolation()
{
    QFETCH(QStringList, mask);
    QFETCH(QList<int>, input);

    DustRemoval removal;
    removal.elevationFile = true;
    removal.mask = maskFromRows(mask);
    removal.image = elevationRow(removal.mask.width(), removal.mask.height(), input);
    QProgressBar bar;
    QCOMPARE(removal.removeDust(&bar), int(DustRemoval::Success));

    QTEST(elevations(removal.image), "output");
    QCOMPARE(bar.maximum(), removal.mask.height() + 1);
    QCOMPARE(bar.value(), removal.mask.height());
    QCOMPARE(removal.image.pixel(0, 0) >> 24, 0xFFu);
}

void TestDustRemoval::colorInterpolationTruncates()
{
    DustRemoval removal;
    removal.mask = maskFromRows({ ".#." });
    removal.image = QImage(3, 1, QImage::Format_RGB32);
    removal.image.setPixel(0, 0, qRgb(255, 0, 10));
    removal.image.setPixel(2, 0, qRgb(0, 1, 20));
    removal.removeDust(nullptr);
    QCOMPARE(removal.image.pixel(1, 0), qRgb(127, 0, 15));
}

void TestDustRemoval::uniformBorderCopiesThePixel()
{
    DustRemoval removal;
    removal.mask = maskFromRows({ ".#.", "..." });
    removal.image = QImage(3, 2, QImage::Format_ARGB32);
    removal.image.fill(0x80102030u);
    removal.removeDust(nullptr);
    QCOMPARE(removal.image.pixel(1, 0), 0x80102030u);
}

void TestDustRemoval::largeSpotsAgreeWithPlainComputation_data()
{
    QTest::addColumn<bool>("elevationFile");
    QTest::newRow("elevations") << true;
    QTest::newRow("colours") << false;
}

void TestDustRemoval::largeSpotsAgreeWithPlainComputation()
{
    QFETCH(bool, elevationFile);
    const auto [image, mask] = randomHole(120, 4000, elevationFile ? 7 : 11);
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

void TestDustRemoval::eventsRunWhileALargeSpotIsComputed()
{
    // A hole in the first row, found before the scan first processes events
    // on its own, with over a million weights to compute.
    const int width = 1150;
    DustRemoval removal;
    removal.elevationFile = true;
    removal.mask = maskFromRows({ '.' + QString(width - 2, '#') + '.', QString(width, '.') });
    removal.image = QImage(width, 2, QImage::Format_RGB32);
    for (int x = 0; x < width; ++x) {
        removal.image.setPixel(x, 0, ElevationImage::encode(noData));
        removal.image.setPixel(x, 1, ElevationImage::encode(x % 2 * 1000));
    }

    bool deliveredBeforePainting = false;
    QMetaObject::invokeMethod(
        this, [&] { deliveredBeforePainting = DustRemoval::elevation(removal.image, 1, 0) == noData; },
        Qt::QueuedConnection);
    removal.removeDust(nullptr);
    QVERIFY(deliveredBeforePainting);
    QVERIFY(DustRemoval::elevation(removal.image, 1, 0) != noData);
}

void TestDustRemoval::failures_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("mask");
    QTest::addColumn<QString>("output");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");

    QTest::newRow("missing input") << "missing.png"
                                   << "mask.png"
                                   << "out.png" << 1 << "Error: Cannot load \"missing.png\".";
    QTest::newRow("missing mask") << "input.png"
                                  << "missing.png"
                                  << "out.png" << 3 << "Error: Cannot load mask file \"missing.png\".";
    QTest::newRow("size mismatch") << "input.png"
                                   << "wide.png"
                                   << "out.png" << 4
                                   << "Error: Input and mask file have to be of same size.\n"
                                      "       The input file is 3 (w) by 2 (h) pixels.\n"
                                      "       The mask file is 4 (w) by 2 (h) pixels.";
    QTest::newRow("no output name") << "input.png"
                                    << "mask.png"
                                    << "" << 7 << "Error: no output file name given.";
    QTest::newRow("output not saved")
        << "input.png"
        << "mask.png"
        << "no/such/dir/out.png" << 6 << "Error: Cannot save output file \"no/such/dir/out.png\".";
}

void TestDustRemoval::failures()
{
    QFETCH(QString, input);
    QFETCH(QString, mask);
    QFETCH(QString, output);
    QFile::remove("out.png");
    QVERIFY(elevationRow(3, 2, { 1, noData, 3, 4, 5, 6 }).save("input.png"));
    QVERIFY(maskFromRows({ ".#.", "..." }).save("mask.png"));
    QVERIFY(maskFromRows({ "....", "...." }).save("wide.png"));

    DustRemoval removal;
    removal.messages.append("left over");
    QWidget widget;
    QTEST(removal.removeDust(input, mask, output, false, 0xFF000000u, true, &widget, nullptr), "code");
    QCOMPARE(removal.messages.size(), 1);
    QTEST(removal.messages.first(), "message");
    QCOMPARE(widget.cursor().shape(), Qt::ArrowCursor);
    QVERIFY(!QFile::exists("out.png"));
}

void TestDustRemoval::existingOutputStaysWithoutOverwrite()
{
    QVERIFY(elevationRow(3, 1, { 1, noData, 3 }).save("input.png"));
    QVERIFY(maskFromRows({ ".#." }).save("mask.png"));
    QFile::remove("out.png");
    QVERIFY(QFile::copy("input.png", "out.png"));

    DustRemoval removal;
    QCOMPARE(removal.removeDust("input.png", "mask.png", "out.png", false, 0, true, nullptr, nullptr),
        int(DustRemoval::OutputExists));
    QCOMPARE(removal.messages, QStringList { "Error: Output file exists: \"out.png\"." });
    QCOMPARE(DustRemoval::elevation(QImage("out.png"), 1, 0), noData);

    QCOMPARE(removal.removeDust("input.png", "mask.png", "out.png", true, 0, true, nullptr, nullptr),
        int(DustRemoval::Success));
    QVERIFY(removal.messages.isEmpty());
    QCOMPARE(DustRemoval::elevation(QImage("out.png"), 1, 0), 2);
}

void TestDustRemoval::successWritesFilledImage()
{
    QVERIFY(elevationRow(3, 2, { -5, noData, 7, 0, 0, 0 }).save("input.png"));
    QVERIFY(maskFromRows({ ".#.", "..." }).save("mask.png"));
    QFile::remove("filled.png");

    DustRemoval removal;
    QWidget widget;
    QProgressBar bar;
    QCOMPARE(removal.removeDust("input.png", "mask.png", "filled.png", false, 0, true, &widget, &bar),
        int(DustRemoval::Success));
    // Border -5, 7 and 0 at distance 1 each.
    QCOMPARE(elevations(QImage("filled.png")), (QList<int> { -5, 1, 7, 0, 0, 0 }));
    QCOMPARE(widget.cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(bar.value(), 2);
    QCOMPARE(elevations(QImage("input.png"))[1], noData);
}

void TestDustRemoval::colorKeyBuildsTheMask()
{
    QImage input(3, 1, QImage::Format_RGB32);
    input.setPixel(0, 0, qRgb(10, 20, 30));
    input.setPixel(1, 0, qRgb(1, 2, 3));
    input.setPixel(2, 0, qRgb(30, 40, 50));
    QVERIFY(input.save("keyed.png"));
    QFile::remove("unkeyed.png");

    DustRemoval removal;
    QCOMPARE(removal.removeDust(
                 "keyed.png", QString(), "unkeyed.png", false, qRgb(1, 2, 3), false, nullptr, nullptr),
        int(DustRemoval::Success));
    QCOMPARE(QImage("unkeyed.png").pixel(1, 0), qRgb(20, 30, 40));
    QCOMPARE(removal.mask.pixel(0, 0), 0xFFFFFFFFu);
    QCOMPARE(removal.mask.pixel(1, 0), 0xFF000000u);
}

QTEST_MAIN(TestDustRemoval)
#include "tst_dustremoval.moc"
