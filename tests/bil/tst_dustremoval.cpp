#include "bil/DustRemoval.h"
#include "bil/ElevationImage.h"
#include "bil/ImportFeedback.h"
#include "tests/support/StraightforwardFill.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTest>

namespace {

// The last progress reported, and every change of the saving state.
struct RecordingFeedback : ImportFeedback {
    void setProgress(Stage stage, int value, int maximum) override
    {
        progress = stage == Stage::Correcting ? QPoint(value, maximum) : QPoint(-1, -1);
    }
    void setSaving(bool saving) override { savings << saving; }

    QPoint progress;
    QList<bool> savings;
};

constexpr int noData = ElevationImage::minimumValue;

// One elevation per pixel, row by row from the top.
QImage elevationImage(int width, int height, const QList<int>& values)
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

} // namespace

class TestDustRemoval : public QObject {
    Q_OBJECT

private slots:
    void elevationInterpolation_data()
    {
        QTest::addColumn<QStringList>("mask");
        QTest::addColumn<QList<int>>("input");
        QTest::addColumn<QList<int>>("output");
        // Weights 1 and 1/16: (100 + 400 / 16) / (17 / 16) = 117.6 and 382.4.
        QTest::newRow("inverse fourth power")
            << QStringList { ".##." } << QList<int> { 100, noData, noData, 400 }
            << QList<int> { 100, 118, 382, 400 };
        // -1.5 and 0.5.
        QTest::newRow("halves round away from zero")
            << QStringList { ".#.#." } << QList<int> { -1, noData, -2, noData, 3 }
            << QList<int> { -1, -2, -2, 1, 3 };
        QTest::newRow("grey mask pixel is a border value")
            << QStringList { ".#g" } << QList<int> { 10, noData, 30 } << QList<int> { 10, 20, 30 };
        // The scan treats grey as inside a spot, and does not start one right after it.
        QTest::newRow("grey mask pixel starts no spot")
            << QStringList { "g#." } << QList<int> { 10, noData, 30 } << QList<int> { 10, noData, 30 };
        // The scan state survives the row change: the hole starting the second
        // row follows the one ending the first and is not entered.
        QTest::newRow("spot continuing over a row end")
            << QStringList { "..#", "#.." } << QList<int> { 1, 2, noData, noData, 5, 6 }
            << QList<int> { 1, 2, 4, noData, 5, 6 };
        QTest::newRow("spot without border stays")
            << QStringList { "##" } << QList<int> { noData, noData } << QList<int> { noData, noData };
    }

    void elevationInterpolation()
    {
        QFETCH(QStringList, mask);
        QFETCH(QList<int>, input);
        DustRemoval removal;
        removal.elevationFile = true;
        removal.mask = maskFromRows(mask);
        removal.image = elevationImage(removal.mask.width(), removal.mask.height(), input);
        RecordingFeedback feedback;
        QCOMPARE(removal.removeDust(&feedback), int(DustRemoval::Success));
        QTEST(elevations(removal.image), "output");
        QCOMPARE(feedback.progress, QPoint(removal.mask.height(), removal.mask.height() + 1));
    }

    // Spots this large are weighted on the thread pool; the result must be
    // that of the plain one-pixel-at-a-time computation.
    void largeSpotsAgreeWithPlainComputation_data()
    {
        QTest::addColumn<bool>("elevationFile");
        QTest::newRow("elevations") << true;
        QTest::newRow("colours") << false;
    }

    void largeSpotsAgreeWithPlainComputation()
    {
        QFETCH(bool, elevationFile);
        // A random-walk hole of 4000 pixels in a random 120 x 120 terrain.
        QRandomGenerator random(elevationFile ? 7 : 11);
        QImage image(120, 120, QImage::Format_RGB32);
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 120; ++x)
                image.setPixel(x, y, ElevationImage::encode(int(random.bounded(200000)) - 50000));
        QImage mask(120, 120, QImage::Format_RGB32);
        mask.fill(0xFFFFFFFFu);
        QPoint walker(60, 60);
        for (int painted = 0; painted < 4000;) {
            painted += mask.pixel(walker) != 0xFF000000u;
            mask.setPixel(walker, 0xFF000000u);
            const QPoint step[] = { { 1, 0 }, { -1, 0 }, { 0, 1 }, { 0, -1 } };
            walker += step[random.bounded(4)];
            walker = QPoint(std::clamp(walker.x(), 2, 117), std::clamp(walker.y(), 2, 117));
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

    void eventsRunWhileALargeSpotIsComputed()
    {
        // A hole in the first row, found before the scan first processes
        // events on its own, with over a million weights to compute.
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

    void files_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("mask"); // empty: the colour key, and colour interpolation
        QTest::addColumn<QString>("output");
        QTest::addColumn<bool>("overwrite");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QRgb>("filled"); // the hole in the output file
        const auto row = [](const char* name, const char* input, const char* mask, const char* output,
                             bool overwrite, int code, const char* message, QRgb filled) {
            QTest::newRow(name) << QString(input) << QString(mask) << QString(output) << overwrite << code
                                << QString(message) << filled;
        };
        // Border -5, 7 and 5 at distance 1 each: 2.33; as colours (255, 255, 251), (0, 0, 7) and (0, 0, 5),
        // each channel's mean truncated.
        row("colour key", "input.png", "", "out.png", false, 0, "", qRgb(85, 85, 87));
        row("existing output overwritten", "input.png", "mask.png", "old.png", true, 0, "",
            ElevationImage::encode(2));
        row("existing output kept", "input.png", "mask.png", "old.png", false, 5,
            "Error: Output file exists: \"old.png\".", ElevationImage::encode(0));
        row("missing input", "missing.png", "mask.png", "out.png", false, 1,
            "Error: Cannot load \"missing.png\".", 0);
        row("size mismatch", "input.png", "wide.png", "out.png", false, 4,
            "Error: Input and mask file have to be of same size.\n"
            "       The input file is 3 (w) by 2 (h) pixels.\n"
            "       The mask file is 4 (w) by 2 (h) pixels.",
            0);
    }

    void files()
    {
        QFETCH(QString, input);
        QFETCH(QString, mask);
        QFETCH(QString, output);
        QFETCH(bool, overwrite);
        QFETCH(int, code);
        QFETCH(QString, message);
        QFile::remove("out.png");
        QFile::remove("old.png");
        // The hole holds 0, black for the colour key.
        QVERIFY(elevationImage(3, 2, { -5, 0, 7, 5, 5, 5 }).save("input.png"));
        QVERIFY(QFile::copy("input.png", "old.png"));
        QVERIFY(maskFromRows({ ".#.", "..." }).save("mask.png"));
        QVERIFY(maskFromRows({ "....", "...." }).save("wide.png"));

        DustRemoval removal;
        removal.messages.append("left over");
        RecordingFeedback feedback;
        QCOMPARE(removal.removeDust(input, mask, output, overwrite, 0xFF000000u, !mask.isEmpty(), &feedback),
            code);
        QCOMPARE(removal.messages, message.isEmpty() ? QStringList() : QStringList { message });
        const QList<bool> savings = code == 0 ? QList<bool> { true, false } : QList<bool>();
        QCOMPARE(feedback.savings, savings);
        if (code == 0 || code == DustRemoval::OutputExists)
            QTEST(QImage(output).pixel(1, 0), "filled");
        else
            QVERIFY(!QFile::exists(output));
    }
};

QTEST_GUILESS_MAIN(TestDustRemoval)
#include "tst_dustremoval.moc"
