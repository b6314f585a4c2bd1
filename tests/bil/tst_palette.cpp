#include "bil/Palette.h"

#include "app/SettingsStore.h"

#include <QColor>
#include <QImage>
#include <QSettings>
#include <QTest>

namespace {

struct KeyColor
{
    int index;
    int red;
    int green;
    int blue;
};

// The key colours the generated ramps must pass through exactly.
const KeyColor palette1Keys[] = {
    { 0, 200, 215, 133 }, { 3, 168, 195, 144 }, { 17, 172, 200, 167 }, { 30, 181, 210, 180 },
    { 50, 170, 218, 177 }, { 70, 145, 221, 168 }, { 88, 132, 204, 139 }, { 110, 109, 190, 92 },
    { 121, 108, 189, 81 }, { 134, 114, 189, 98 }, { 159, 124, 198, 153 }, { 173, 142, 200, 169 },
    { 188, 169, 202, 169 }, { 206, 195, 212, 147 }, { 231, 217, 213, 93 }, { 249, 221, 207, 63 },
    { 272, 231, 208, 36 }, { 286, 240, 209, 16 }, { 316, 250, 188, 0 }, { 344, 236, 162, 0 },
    { 377, 196, 158, 3 }, { 389, 190, 160, 23 }, { 411, 195, 176, 73 }, { 439, 216, 197, 122 },
    { 488, 243, 223, 167 }, { 525, 251, 235, 189 }, { 570, 249, 249, 229 }, { 606, 238, 253, 247 },
    { 651, 219, 255, 252 }, { 714, 216, 252, 252 }, { 756, 195, 247, 249 }, { 790, 158, 238, 244 },
    { 824, 102, 220, 240 }, { 869, 21, 184, 239 }, { 887, 0, 165, 241 }, { 934, 0, 108, 248 },
    { 955, 0, 81, 250 }, { 959, 0, 80, 250 },
};

const KeyColor palette2Keys[] = {
    { 0, 182, 186, 162 }, { 4, 170, 177, 163 }, { 28, 190, 198, 190 }, { 48, 188, 202, 190 },
    { 73, 170, 192, 176 }, { 97, 148, 169, 147 }, { 114, 129, 154, 122 }, { 126, 130, 152, 122 },
    { 150, 146, 168, 151 }, { 173, 162, 180, 170 }, { 191, 182, 190, 180 }, { 211, 183, 186, 164 },
    { 239, 170, 166, 128 }, { 264, 163, 158, 111 }, { 288, 162, 152, 94 }, { 328, 161, 139, 87 },
    { 357, 145, 125, 77 }, { 377, 129, 117, 71 }, { 391, 133, 125, 85 }, { 419, 161, 156, 129 },
    { 447, 189, 184, 163 }, { 498, 222, 216, 200 }, { 551, 238, 236, 226 }, { 594, 247, 249, 247 },
    { 657, 232, 242, 241 }, { 718, 229, 239, 239 }, { 761, 212, 228, 228 }, { 806, 172, 201, 204 },
    { 871, 96, 146, 162 }, { 889, 84, 134, 158 }, { 959, 87, 112, 163 },
};

void storePaletteNumber(const QVariant& number)
{
    QSettings settings(QStringLiteral("Brenholt"), QStringLiteral("relka"));
    if (number.isValid())
        settings.setValue(QStringLiteral("paletteNumber"), number);
    else
        settings.remove(QStringLiteral("paletteNumber"));
}

} // namespace

class TestPalette : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { storePaletteNumber({}); }

    void indexFor_data();
    void indexFor();
    void keyColors_data();
    void keyColors();
    void choiceBySetting_data();
    void choiceBySetting();
    void strips_data();
    void strips();
};

void TestPalette::indexFor_data()
{
    QTest::addColumn<double>("metres");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<int>("index");

    QTest::newRow("minimum") << 0.0 << 0 << 8000 << 0;
    QTest::newRow("middle") << 4000.0 << 0 << 8000 << 480;
    QTest::newRow("just below maximum") << 7999.0 << 0 << 8000 << 959;
    QTest::newRow("maximum") << 8000.0 << 0 << 8000 << 959;
    QTest::newRow("above maximum") << 9000.0 << 0 << 8000 << 959;
    QTest::newRow("below minimum") << -10.0 << 0 << 8000 << 0;
    QTest::newRow("fraction below minimum") << -0.5 << 0 << 8000 << 0;
    QTest::newRow("far beyond int range") << 1e300 << 0 << 8000 << 959;
    QTest::newRow("shifted range") << 1000.0 << 500 << 1460 << 500;
    QTest::newRow("equal bounds, above") << 200.0 << 100 << 100 << 0;
    QTest::newRow("equal bounds, below") << 50.0 << 100 << 100 << 0;
    QTest::newRow("reversed bounds") << 2000.0 << 8000 << 0 << 720;
}

void TestPalette::indexFor()
{
    QFETCH(double, metres);
    QFETCH(int, minimum);
    QFETCH(int, maximum);
    QFETCH(int, index);

    // Stored values are metres times 256, and so are the bounds.
    QCOMPARE(Palette::indexFor(metres * 256, minimum * 256.0, maximum * 256.0, 960), index);
}

void TestPalette::keyColors_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("index");
    QTest::addColumn<QColor>("expected");

    for (const KeyColor& key : palette1Keys)
        QTest::addRow("palette 1, index %d", key.index) << 1 << key.index << QColor(key.red, key.green, key.blue);
    for (const KeyColor& key : palette2Keys)
        QTest::addRow("palette 2, index %d", key.index) << 2 << key.index << QColor(key.red, key.green, key.blue);
}

void TestPalette::keyColors()
{
    QFETCH(int, number);
    QFETCH(int, index);
    QFETCH(QColor, expected);

    SettingsStore::setPaletteNumber(number);
    const Palette palette;
    QCOMPARE(palette.size(), 960);
    QCOMPARE(QColor::fromRgba(palette.color(index)), expected);
    QCOMPARE(qAlpha(palette.color(index)), 255);
}

void TestPalette::choiceBySetting_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QColor>("first");

    const QColor first1(200, 215, 133);
    const QColor first2(182, 186, 162);
    QTest::newRow("nothing stored") << QVariant() << first1;
    QTest::newRow("1") << QVariant(1) << first1;
    QTest::newRow("2") << QVariant(2) << first2;
    QTest::newRow("3") << QVariant(3) << first1;
    QTest::newRow("0") << QVariant(0) << first1;
    QTest::newRow("not a number") << QVariant(QStringLiteral("two")) << first1;
}

void TestPalette::choiceBySetting()
{
    QFETCH(QVariant, stored);
    QFETCH(QColor, first);

    storePaletteNumber(stored);
    const Palette palette;
    QCOMPARE(palette.size(), 960);
    QCOMPARE(QColor::fromRgba(palette.color(0)), first);
}

void TestPalette::strips_data()
{
    QTest::addColumn<QString>("strip");
    QTest::addColumn<QColor>("first");
    QTest::addColumn<QColor>("last");

    QTest::newRow("1a") << QStringLiteral(":/Palette/palette1a.png") << QColor(200, 215, 133) << QColor(0, 80, 250);
    QTest::newRow("2a") << QStringLiteral(":/Palette/palette2a.png") << QColor(182, 186, 162) << QColor(87, 112, 163);
}

void TestPalette::strips()
{
    QFETCH(QString, strip);
    QFETCH(QColor, first);
    QFETCH(QColor, last);

    const QImage image(strip);
    QCOMPARE(image.size(), QSize(240, 16));
    QCOMPARE(image.pixelColor(0, 15), first);
    QCOMPARE(image.pixelColor(239, 0), last);
}

QTEST_GUILESS_MAIN(TestPalette)
#include "tst_palette.moc"
