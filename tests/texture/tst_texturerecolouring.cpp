#include "texture/TextureRecolouring.h"

#include <QImage>
#include <QTest>

#include <array>

namespace {

// The transform as plainly as it can be written, one pixel at a time.
QRgb reference(QRgb pixel)
{
    struct Rule {
        int r, g, b;
        QRgb to;
    };
    const Rule replacements[]
        = { { 227, 221, 209, 0xFFFFFF }, { 11, 129, 1, 0xDCFFC8 }, { 25, 137, 1, 0xDCFFC8 },
              { 37, 121, 1, 0xDCFFC8 }, { 69, 179, 29, 0xDCFFC8 }, { 75, 153, 49, 0xDCFFC8 },
              { 75, 203, 49, 0xDCFFC8 }, { 85, 189, 43, 0xDCFFC8 }, { 89, 221, 97, 0xDCFFC8 },
              { 89, 237, 89, 0xDCFFC8 }, { 91, 161, 65, 0xDCFFC8 }, { 107, 231, 105, 0xDCFFC8 },
              { 137, 225, 129, 0xDCFFC8 }, { 155, 237, 147, 0xDCFFC8 }, { 203, 209, 167, 0xFFFFFF } };
    const Rule finals[] = { { 203, 209, 187, 0xFFFFFF }, { 237, 163, 157, 0xFFE6E6 },
        { 243, 129, 125, 0xE6C8C8 }, { 245, 109, 107, 0xE6C8C8 } };
    int r = qMax(0, qRed(pixel) - 128) * 2;
    int g = qMax(0, qGreen(pixel) - 128) * 2;
    int b = qMax(0, qBlue(pixel) - 128) * 2;
    const auto near = [&](const Rule& rule) {
        return (r - rule.r) * (r - rule.r) + (g - rule.g) * (g - rule.g) + (b - rule.b) * (b - rule.b) < 28;
    };
    for (const Rule& rule : replacements) {
        if (near(rule)) {
            r = qRed(rule.to);
            g = qGreen(rule.to);
            b = qBlue(rule.to);
        }
    }
    for (const Rule& rule : finals) {
        if (near(rule))
            return 0xFF000000 | rule.to;
    }
    return qRgb(r, g, b);
}

QRgb recoloured(QRgb pixel)
{
    QImage image(1, 1, QImage::Format_RGB888);
    image.setPixel(0, 0, pixel);
    TextureRecolouring::recolourRow(image, 0);
    return image.pixel(0, 0);
}

} // namespace

class TestTextureRecolouring : public QObject {
    Q_OBJECT

private slots:
    void pixel_data()
    {
        QTest::addColumn<QRgb>("pixel");
        QTest::addColumn<QRgb>("result");
        // Stretched (226, 220, 208), rule 1.
        QTest::newRow("light background") << qRgb(241, 238, 232) << qRgb(255, 255, 255);
        // Stretched (90, 160, 64), rule 11.
        QTest::newRow("vegetation") << qRgb(173, 208, 160) << qRgb(220, 255, 200);
        QTest::newRow("blue of a missing tile") << qRgb(0, 0, 255) << qRgb(0, 0, 254);
        QTest::newRow("all channels below 128") << qRgb(127, 5, 100) << qRgb(0, 0, 0);
        QTest::newRow("channel at 128") << qRgb(128, 129, 200) << qRgb(0, 2, 144);
        // Stretched (202, 208, 186), rule 16.
        QTest::newRow("final white") << qRgb(229, 232, 221) << qRgb(255, 255, 255);
        // Stretched (240, 166, 160): squared distance 27 from rule 17.
        QTest::newRow("light pink at distance 27") << qRgb(248, 211, 208) << qRgb(255, 230, 230);
        // Stretched (238, 166, 162): squared distance 35 from rule 17.
        QTest::newRow("light pink just out of reach") << qRgb(247, 211, 209) << qRgb(238, 166, 162);
        // Stretched (242, 128, 124), rule 18; (244, 108, 106), rule 19.
        QTest::newRow("pink") << qRgb(249, 192, 190) << qRgb(230, 200, 200);
        QTest::newRow("darker pink") << qRgb(250, 182, 181) << qRgb(230, 200, 200);
        // Stretched (202, 210, 168), rule 15 (white, which no later rule takes).
        QTest::newRow("pale vegetation") << qRgb(229, 233, 212) << qRgb(255, 255, 255);
    }

    void pixel()
    {
        QFETCH(QRgb, pixel);
        QTEST(recoloured(pixel), "result");
    }

    // Every stretched value in every channel (and both sides of 128), each
    // colour twice in a row, against the plain transform.
    void agreesWithPlainTransform()
    {
        QList<int> values { 0, 127 };
        for (int v = 128; v < 256; ++v)
            values.append(v);
        const int n = int(values.size());
        QImage image(2 * n * n, n, QImage::Format_RGB888);
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < 2 * n * n; ++x)
                image.setPixel(x, y, qRgb(values[x / 2 / n], values[x / 2 % n], values[y]));
        const QImage original = image.copy();
        for (int y = 0; y < n; ++y)
            TextureRecolouring::recolourRow(image, y);
        for (int y = 0; y < n; ++y) {
            for (int x = 0; x < 2 * n * n; ++x) {
                if (image.pixel(x, y) != reference(original.pixel(x, y)))
                    QFAIL(qPrintable(QStringLiteral("%1 gives %2, expected %3")
                                         .arg(original.pixel(x, y), 6, 16)
                                         .arg(image.pixel(x, y), 6, 16)
                                         .arg(reference(original.pixel(x, y)), 6, 16)));
            }
        }
    }

    void onlyTheGivenRowChanges()
    {
        QImage image(3, 2, QImage::Format_RGB888);
        image.fill(QColor(241, 238, 232));
        TextureRecolouring::recolourRow(image, 1);
        QCOMPARE(image.pixel(2, 0), qRgb(241, 238, 232));
        QCOMPARE(image.pixel(2, 1), qRgb(255, 255, 255));
    }
};

QTEST_GUILESS_MAIN(TestTextureRecolouring)
#include "tst_texturerecolouring.moc"
