#include "texture/TileMosaic.h"

#include "TileRows.h"

#include <QPainter>
#include <QTest>

namespace {

Tile tile(int x, int y, int top, int bottom, int left, int right)
{
    return croppedTile(1, x, y, top, bottom, left, right);
}

Tile whole(int x, int y) { return tile(x, y, 0, 255, 0, 255); }

// Every pixel of a tile different from its neighbours, and the tile's seed
// in blue, so a pixel copied from the wrong place or tile shows. With
// alpha, every third pixel is transparent and every third half so.
QImage tileImage(int seed, QImage::Format format = QImage::Format_RGB32, bool alpha = false)
{
    QImage image(256, 256, QImage::Format_ARGB32);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            image.setPixel(x, y, qRgba(x, y, seed, alpha ? (x + y) % 3 * 127 + (x + y) % 3 / 2 : 255));
    return image.convertToFormat(format);
}

// The tile as the mosaic keeps it: its colours, without their alpha.
QImage opaque(const QImage& tile)
{
    QImage image = tile.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, image.pixel(x, y) | 0xff000000);
    return image;
}

const QColor blue(0, 0, 255);

// Draws parts onto blue: each the source rectangle of an image at a point.
struct Part {
    QImage image;
    QRect source;
    QPoint at;
};

QImage expected(const QSize& size, const QList<Part>& parts)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(blue);
    QPainter painter(&image);
    for (const Part& part : parts)
        painter.drawImage(part.at, part.image, part.source);
    painter.end();
    return image.convertToFormat(QImage::Format_RGB888);
}

} // namespace

class TestTileMosaic : public QObject {
    Q_OBJECT

private slots:
    void bounds_data()
    {
        QTest::addColumn<QList<Tile>>("tiles");
        QTest::addColumn<QRect>("bounds");
        QTest::newRow("single tile cropped to 10 x 10")
            << QList<Tile> { tile(4, 7, 100, 109, 50, 59) } << QRect(4 * 256 + 50, 7 * 256 + 100, 9, 9);
        QTest::newRow("two whole tiles side by side")
            << QList<Tile> { whole(3, 2), whole(4, 2) } << QRect(768, 512, 511, 255);
        // Only extremes count, wherever they are in the list.
        QTest::newRow("extremes from different tiles") << QList<Tile> { tile(1, 1, 30, 255, 20, 255),
            tile(2, 1, 10, 255, 0, 40), tile(1, 2, 0, 5, 60, 255), tile(2, 2, 0, 7, 0, 40) }
                                                       << QRect(276, 266, 552 - 276, 519 - 266);
        QTest::newRow("one pixel column") << QList<Tile> { tile(0, 0, 0, 9, 5, 5) } << QRect(5, 0, 0, 9);
    }

    void bounds()
    {
        QFETCH(QList<Tile>, tiles);
        const std::optional<QRect> bounds = TileMosaic::bounds(tiles);
        QVERIFY(bounds.has_value());
        QTEST(*bounds, "bounds");
    }

    void emptyListHasNoBounds() { QVERIFY(!TileMosaic::bounds({}).has_value()); }

    // The last covered column and row fall outside the image.
    void croppedTile_data()
    {
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<bool>("alpha");
        QTest::addColumn<Tile>("tile");
        QTest::newRow("10 x 10 at the corner") << QImage::Format_RGB32 << false << tile(4, 7, 0, 9, 0, 9);
        QTest::newRow("10 x 10 inside") << QImage::Format_RGB32 << false << tile(4, 7, 100, 109, 50, 59);
        QTest::newRow("whole tile") << QImage::Format_RGB32 << false << whole(4, 7);
        QTest::newRow("palette tile") << QImage::Format_Indexed8 << false << tile(4, 7, 100, 120, 50, 90);
        QTest::newRow("transparent and half-transparent pixels")
            << QImage::Format_ARGB32 << true << tile(4, 7, 100, 120, 50, 90);
    }

    void croppedTile()
    {
        QFETCH(QImage::Format, format);
        QFETCH(bool, alpha);
        QFETCH(Tile, tile);
        const QRect bounds = *TileMosaic::bounds({ tile });
        TileMosaic mosaic(bounds);
        const QImage source = tileImage(9, format, alpha);
        mosaic.paste(tile, source);
        QCOMPARE(mosaic.image(),
            expected(bounds.size(),
                { { opaque(source), QRect(tile.left, tile.top, bounds.width(), bounds.height()), {} } }));
    }

    void twoTilesSideBySide()
    {
        const QList<Tile> tiles { whole(3, 2), whole(4, 2) };
        TileMosaic mosaic(*TileMosaic::bounds(tiles));
        mosaic.paste(tiles[0], tileImage(1));
        mosaic.paste(tiles[1], tileImage(2));
        QCOMPARE(mosaic.image().width(), 511);
        QCOMPARE(mosaic.image(),
            expected({ 511, 255 },
                { { tileImage(1), QRect(0, 0, 256, 255), {} },
                    { tileImage(2), QRect(0, 0, 255, 255), { 256, 0 } } }));
    }

    // A 2 x 2 block cut from its middle: each tile adds one quarter.
    void fourTilesAroundACorner()
    {
        const QList<Tile> tiles { tile(1, 1, 200, 255, 190, 255), tile(2, 1, 200, 255, 0, 70),
            tile(1, 2, 0, 40, 190, 255), tile(2, 2, 0, 40, 0, 70) };
        TileMosaic mosaic(*TileMosaic::bounds(tiles));
        for (int i = 0; i < 4; ++i)
            mosaic.paste(tiles[i], tileImage(i));
        QCOMPARE(mosaic.image(),
            expected({ 66 + 70, 56 + 40 },
                { { tileImage(0), QRect(190, 200, 66, 56), {} },
                    { tileImage(1), QRect(0, 200, 70, 56), { 66, 0 } },
                    { tileImage(2), QRect(190, 0, 66, 40), { 0, 56 } },
                    { tileImage(3), QRect(0, 0, 70, 40), { 66, 56 } } }));
    }

    void missingTileLeavesBlue()
    {
        const QList<Tile> tiles { whole(3, 2), whole(4, 2) };
        TileMosaic mosaic(*TileMosaic::bounds(tiles));
        mosaic.paste(tiles[1], tileImage(2));
        QCOMPARE(
            mosaic.image(), expected({ 511, 255 }, { { tileImage(2), QRect(0, 0, 255, 255), { 256, 0 } } }));
    }

    void smallTileImageLeavesTheRestBlue()
    {
        const Tile t = whole(0, 0);
        TileMosaic mosaic(*TileMosaic::bounds({ t }));
        const QImage small = tileImage(5).copy(0, 0, 100, 60);
        mosaic.paste(t, small);
        QCOMPARE(mosaic.image(), expected({ 255, 255 }, { { small, small.rect(), {} } }));
    }
};

QTEST_GUILESS_MAIN(TestTileMosaic)
#include "tst_tilemosaic.moc"
