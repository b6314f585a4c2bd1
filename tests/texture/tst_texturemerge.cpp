#include "texture/TextureMerge.h"

#include <QTest>

namespace {

QImage filled(QSize size, QRgb colour, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(size, format);
    image.fill(QColor::fromRgba(colour));
    return image;
}

QImage merged(const QImage& elevation, const QImage& texture)
{
    TextureMerge merge(elevation, texture);
    for (int y = 0; y < merge.height(); ++y)
        merge.mergeRow(y);
    return merge.result();
}

} // namespace

class TestTextureMerge : public QObject {
    Q_OBJECT

private slots:
    void pixel_data()
    {
        QTest::addColumn<QRgb>("elevation");
        QTest::addColumn<QImage::Format>("elevationFormat");
        QTest::addColumn<QRgb>("texture");
        QTest::addColumn<QRgb>("result");
        const QRgb e = qRgb(100, 150, 200);
        QTest::newRow("green tint") << e << QImage::Format_RGB32 << qRgb(220, 255, 200) << qRgb(86, 150, 156);
        QTest::newRow("light pink tint")
            << e << QImage::Format_RGB32 << qRgb(255, 230, 230) << qRgb(100, 135, 180);
        QTest::newRow("pink tint") << e << QImage::Format_RGB32 << qRgb(230, 200, 200) << qRgb(90, 117, 156);
        QTest::newRow("white shows the elevation colour")
            << e << QImage::Format_RGB32 << qRgb(255, 255, 255) << e;
        QTest::newRow("white keeps the elevation alpha") << qRgba(100, 150, 200, 128) << QImage::Format_ARGB32
                                                         << qRgb(255, 255, 255) << qRgba(100, 150, 200, 128);
        QTest::newRow("a tint is opaque") << qRgba(100, 150, 200, 128) << QImage::Format_ARGB32
                                          << qRgb(230, 200, 200) << qRgb(90, 117, 156);
        QTest::newRow("near a tint is map")
            << e << QImage::Format_RGB32 << qRgb(219, 255, 200) << qRgb(219, 255, 200);
        QTest::newRow("other colour is map")
            << e << QImage::Format_RGB32 << qRgb(0, 0, 254) << qRgb(0, 0, 254);
        QTest::newRow("map over translucent elevation is opaque")
            << qRgba(100, 150, 200, 128) << QImage::Format_ARGB32 << qRgb(0, 0, 254) << qRgb(0, 0, 254);
    }

    void pixel()
    {
        QFETCH(QRgb, elevation);
        QFETCH(QImage::Format, elevationFormat);
        QFETCH(QRgb, texture);
        const QImage result = merged(filled({ 3, 2 }, elevation, elevationFormat), filled({ 3, 2 }, texture));
        QCOMPARE(result.size(), QSize(3, 2));
        QTEST(result.pixel(2, 1), "result");
    }

    // Only red, green and blue of the map are compared.
    void translucentTint()
    {
        const QImage result = merged(filled({ 1, 1 }, qRgb(100, 150, 200)),
            filled({ 1, 1 }, qRgba(220, 255, 200, 7), QImage::Format_ARGB32));
        QCOMPARE(result.pixel(0, 0), qRgb(86, 150, 156));
    }

    void elevationStretchedToTheTexture()
    {
        QImage elevation(2, 1, QImage::Format_RGB32);
        elevation.setPixel(0, 0, qRgb(255, 0, 0));
        elevation.setPixel(1, 0, qRgb(0, 0, 255));
        QImage texture = filled({ 7, 3 }, qRgb(255, 255, 255));
        texture.setPixel(6, 2, qRgb(10, 20, 30));
        QImage expected = elevation.scaled(7, 3, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                              .convertToFormat(QImage::Format_RGB32);
        expected.setPixel(6, 2, qRgb(10, 20, 30));
        QCOMPARE(merged(elevation, texture), expected);
    }

    void rowsMergeOneAtATime()
    {
        TextureMerge merge(filled({ 2, 2 }, qRgb(1, 2, 3)), filled({ 2, 2 }, qRgb(40, 50, 60)));
        merge.mergeRow(1);
        QCOMPARE(merge.result().pixel(0, 0), qRgb(1, 2, 3));
        QCOMPARE(merge.result().pixel(0, 1), qRgb(40, 50, 60));
    }
};

QTEST_GUILESS_MAIN(TestTextureMerge)
#include "tst_texturemerge.moc"
