#include "texture/TileImage.h"

#include <QBuffer>
#include <QTest>
#include <QtEndian>

#include <zlib.h>

namespace {

QByteArray encoded(const QImage& image, const char* format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

QImage tile(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    return image;
}

// A small PNG whose header declares width × height, with a valid checksum,
// as a bomb is made: the pixels it would need are never sent.
QByteArray declaring(quint32 width, quint32 height)
{
    QByteArray png = encoded(tile(1, 1), "PNG");
    // Signature (8), chunk length (4), "IHDR" (4), then width and height.
    constexpr int ihdr = 12;
    qToBigEndian(width, png.data() + ihdr + 4);
    qToBigEndian(height, png.data() + ihdr + 8);
    const quint32 crc = quint32(crc32(0, reinterpret_cast<const Bytef*>(png.constData() + ihdr), 17));
    qToBigEndian(crc, png.data() + ihdr + 17);
    return png;
}

} // namespace

class TestTileImage : public QObject {
    Q_OBJECT

private slots:
    void decode_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QSize>("size"); // invalid: refused

        QTest::newRow("tile") << encoded(tile(256, 256), "PNG") << QSize(256, 256);
        QTest::newRow("largest side")
            << encoded(tile(TileImage::largestSide, 1), "PNG") << QSize(TileImage::largestSide, 1);
        QTest::newRow("one pixel too wide") << encoded(tile(TileImage::largestSide + 1, 1), "PNG") << QSize();
        QTest::newRow("bomb: 100000 × 100000 declared") << declaring(100000, 100000) << QSize();
        QTest::newRow("bomb: 30000 × 2000 declared") << declaring(30000, 2000) << QSize();
        QTest::newRow("JPEG") << encoded(tile(256, 256), "JPG") << QSize();
        QTest::newRow("error page") << QByteArray("<html>Error 503</html>") << QSize();
        QTest::newRow("empty") << QByteArray() << QSize();
        QTest::newRow("PNG cut short") << encoded(tile(256, 256), "PNG").left(60) << QSize();
    }

    void decode()
    {
        QFETCH(QByteArray, body);
        QFETCH(QSize, size);
        const QImage image = TileImage::decode(body);
        QCOMPARE(image.isNull(), !size.isValid());
        if (size.isValid())
            QCOMPARE(image.size(), size);
    }
};

QTEST_GUILESS_MAIN(TestTileImage)
#include "tst_tileimage.moc"
