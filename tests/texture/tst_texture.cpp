#include "image/PngWriter.h"
#include "texture/TextureMerge.h"
#include "texture/TextureRecolouring.h"
#include "texture/TileImage.h"
#include "texture/TileList.h"
#include "texture/TileMosaic.h"

#include <QPainter>
#include <QTest>

Q_DECLARE_METATYPE(Tile)

namespace {

// A tile with its crop bounds, all inclusive pixel indices.
Tile tile(int zoom, int x, int y, int top, int bottom, int left, int right)
{
    return { .zoom = zoom, .x = x, .y = y, .top = top, .bottom = bottom, .left = left, .right = right };
}

Tile whole(int x, int y) { return tile(1, x, y, 0, 255, 0, 255); }

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

class TestTexture : public QObject {
    Q_OBJECT

private slots:
    void covering_data()
    {
        QTest::addColumn<QList<double>>("borders"); // west, east, north, south
        QTest::addColumn<int>("zoom");
        QTest::addColumn<QList<Tile>>("tiles");
        // X = 4096.2276 and 4096.4551, Y = 4095.5449 and 4095.7724.
        QTest::newRow("inside one tile") << QList<double> { 0.01, 0.02, 0.02, 0.01 } << 13
                                         << QList<Tile> { tile(13, 4096, 4095, 139, 197, 58, 116) };
        // X = 2 and 3 exactly: the east column contributes its pixel column 0 only.
        QTest::newRow("west and east on tile edges") << QList<double> { 0, 90, 0,
            -10 } << 2 << QList<Tile> { tile(2, 2, 2, 0, 28, 0, 255), tile(2, 3, 2, 0, 28, 0, 0) };
        // Y(0) = 2 exactly: the south row contributes its pixel row 0 only.
        QTest::newRow("south on a tile edge, row order")
            << QList<double> { -10, 0, 10, 0 } << 2
            << QList<Tile> { tile(2, 1, 1, 227, 255, 227, 255), tile(2, 2, 1, 227, 255, 0, 0),
                   tile(2, 1, 2, 0, 0, 227, 255), tile(2, 2, 2, 0, 0, 0, 0) };
        QTest::newRow("west east of east") << QList<double> { -104, -106, 41, 40 } << 12 << QList<Tile> {};
    }

    void covering()
    {
        QFETCH(QList<double>, borders);
        QFETCH(int, zoom);
        QTEST(TileList::covering(borders[0], borders[1], borders[2], borders[3], zoom), "tiles");
    }

    // The largest lists a run makes: 24 columns by 16 rows.
    void areaOfARun_data()
    {
        QTest::addColumn<double>("west");
        QTest::addColumn<double>("north");
        QTest::addColumn<double>("width");
        QTest::addColumn<Tile>("first");
        QTest::addColumn<Tile>("last");
        QTest::newRow("2° at zoom 12") << -106.0 << 41.0 << 2.0 << tile(12, 841, 1535, 178, 255, 244, 255)
                                       << tile(12, 864, 1550, 0, 169, 0, 182);
        QTest::newRow("1° at zoom 13") << -106.0 << 40.5 << 1.0 << tile(13, 1683, 3086, 105, 255, 233, 255)
                                       << tile(13, 1706, 3101, 0, 82, 0, 170);
        QTest::newRow("0.25° at zoom 15")
            << -106.0 << 40.125 << 0.25 << tile(15, 6735, 12390, 106, 255, 164, 255)
            << tile(15, 6758, 12405, 0, 72, 0, 102);
    }

    void areaOfARun()
    {
        QFETCH(double, west);
        QFETCH(double, north);
        QFETCH(double, width);
        const QList<Tile> tiles = TileList::covering(
            west, west + width, north, north - width / 2, TileList::zoomForAreaWidth(width));
        QCOMPARE(tiles.size(), 24 * 16);
        QTEST(tiles.first(), "first");
        QTEST(tiles.last(), "last");
        // Row by row; inner tiles whole.
        const Tile& inner = tiles.at(24 + 1);
        QCOMPARE(inner, tile(inner.zoom, tiles.first().x + 1, tiles.first().y + 1, 0, 255, 0, 255));
    }

    // Zooms of the other widths, names, and what the stitching refuses.
    void tileNamesAndLimits()
    {
        QCOMPARE(TileList::zoomForAreaWidth(0.5), 14);
        QCOMPARE(TileList::zoomForAreaWidth(0.125), 12);
        QCOMPARE(TileList::zoomForAreaWidth(std::nextafter(1.0, 2.0)), 12);
        QCOMPARE(
            TileList::fileName("/tmp/a%2b", tile(13, 1234, 6, 0, 0, 0, 0)), "/tmp/a%2b/13-01234-00006.png");
        QCOMPARE(TileList::requestPath(tile(15, 12345, 6, 0, 0, 0, 0)), "/15/12345/6.png");
        QVERIFY(!TileMosaic::bounds({}).has_value());
        const QImage widest = filled({ TileImage::largestSide, 1 }, qRgb(1, 2, 3));
        QCOMPARE(TileImage::decode(PngWriter::encode(widest, PngWriter::Content::Picture)), widest);
        const QImage wider = filled({ TileImage::largestSide + 1, 1 }, qRgb(1, 2, 3));
        QVERIFY(TileImage::decode(PngWriter::encode(wider, PngWriter::Content::Picture)).isNull());
    }

    // The mosaic spans the covered global pixels but the last column and
    // row; each tile's crop lands at its place, the rest stays blue.
    void mosaic_data()
    {
        QTest::addColumn<QList<Tile>>("tiles");
        QTest::addColumn<QList<int>>("seeds"); // of the tiles' images; -1: none pasted
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<QSize>("imageSize");
        QTest::addColumn<QRect>("bounds");
        QTest::addColumn<QList<QRect>>("sources"); // per pasted tile, drawn at the targets
        QTest::addColumn<QList<QPoint>>("targets");
        const auto row = [](const char* name, const QList<Tile>& tiles, const QList<int>& seeds,
                             const QRect& bounds, const QList<QRect>& sources, const QList<QPoint>& targets,
                             QImage::Format format = QImage::Format_RGB32, QSize imageSize = { 256, 256 }) {
            QTest::newRow(name) << tiles << seeds << format << imageSize << bounds << sources << targets;
        };
        row("10 x 10 inside a tile", { tile(1, 4, 7, 100, 109, 50, 59) }, { 9 }, { 1074, 1892, 9, 9 },
            { { 50, 100, 9, 9 } }, { {} });
        // Only the colours are kept.
        row("transparent and half-transparent pixels", { tile(1, 4, 7, 100, 120, 50, 90) }, { 9 },
            { 1074, 1892, 40, 20 }, { { 50, 100, 40, 20 } }, { {} }, QImage::Format_ARGB32);
        row("two tiles side by side", { whole(3, 2), whole(4, 2) }, { 1, 2 }, { 768, 512, 511, 255 },
            { { 0, 0, 256, 255 }, { 0, 0, 255, 255 } }, { {}, { 256, 0 } });
        row("missing tile leaves blue", { whole(3, 2), whole(4, 2) }, { -1, 2 }, { 768, 512, 511, 255 },
            { { 0, 0, 255, 255 } }, { { 256, 0 } });
        // A 2 x 2 block cut from its middle: each tile adds one quarter.
        row("four tiles around a corner",
            { tile(1, 1, 1, 200, 255, 190, 255), tile(1, 2, 1, 200, 255, 0, 70),
                tile(1, 1, 2, 0, 40, 190, 255), tile(1, 2, 2, 0, 40, 0, 70) },
            { 0, 1, 2, 3 }, { 446, 456, 136, 96 },
            { { 190, 200, 66, 56 }, { 0, 200, 70, 56 }, { 190, 0, 66, 40 }, { 0, 0, 70, 40 } },
            { {}, { 66, 0 }, { 0, 56 }, { 66, 56 } });
        row("small tile image", { whole(0, 0) }, { 5 }, { 0, 0, 255, 255 }, { { 0, 0, 100, 60 } }, { {} },
            QImage::Format_RGB32, { 100, 60 });
    }

    void mosaic()
    {
        QFETCH(QList<Tile>, tiles);
        QFETCH(QList<int>, seeds);
        QFETCH(QImage::Format, format);
        QFETCH(QSize, imageSize);
        QFETCH(QList<QRect>, sources);
        QFETCH(QList<QPoint>, targets);
        const QRect bounds = *TileMosaic::bounds(tiles);
        QTEST(bounds, "bounds");
        TileMosaic mosaic(bounds);
        QImage expected(bounds.size(), QImage::Format_RGB32);
        expected.fill(Qt::blue);
        QPainter painter(&expected);
        for (int i = 0; i < tiles.size(); ++i) {
            if (seeds[i] < 0)
                continue;
            const QImage image = tileImage(seeds[i], format, format == QImage::Format_ARGB32)
                                     .copy(QRect(QPoint(), imageSize));
            mosaic.paste(tiles[i], image);
            painter.drawImage(
                targets.takeFirst(), image.convertToFormat(QImage::Format_RGB32), sources.takeFirst());
        }
        painter.end();
        QCOMPARE(mosaic.image(), expected.convertToFormat(QImage::Format_RGB888));
    }

    // A map pixel recoloured (after a black one, again after itself, in the
    // second row only), then merged over a half-transparent elevation colour.
    void postProcessing_data()
    {
        QTest::addColumn<QRgb>("map");
        QTest::addColumn<QRgb>("recoloured");
        QTest::addColumn<QRgb>("merged");
        const QRgb white = qRgb(255, 255, 255);
        const QRgb elevation = qRgba(100, 150, 200, 128);
        // Stretched (226, 220, 208), rule 1.
        QTest::newRow("light background") << qRgb(241, 238, 232) << white << elevation;
        // Stretched (90, 160, 64), rule 11.
        QTest::newRow("vegetation") << qRgb(173, 208, 160) << qRgb(220, 255, 200) << qRgb(86, 150, 156);
        QTest::newRow("blue of a missing tile") << qRgb(0, 0, 255) << qRgb(0, 0, 254) << qRgb(0, 0, 254);
        QTest::newRow("channel at 128") << qRgb(128, 129, 200) << qRgb(0, 2, 144) << qRgb(0, 2, 144);
        // Stretched (202, 208, 186), rule 16.
        QTest::newRow("final white") << qRgb(229, 232, 221) << white << elevation;
        // Stretched (240, 166, 160): squared distance 27 from rule 17.
        QTest::newRow("light pink at distance 27")
            << qRgb(248, 211, 208) << qRgb(255, 230, 230) << qRgb(100, 135, 180);
        // Stretched (238, 166, 162): squared distance 35 from rule 17.
        QTest::newRow("light pink out of reach")
            << qRgb(247, 211, 209) << qRgb(238, 166, 162) << qRgb(238, 166, 162);
        // Stretched (242, 128, 124), rule 18; (244, 108, 106), rule 19.
        QTest::newRow("pink") << qRgb(249, 192, 190) << qRgb(230, 200, 200) << qRgb(90, 117, 156);
        QTest::newRow("darker pink") << qRgb(250, 182, 181) << qRgb(230, 200, 200) << qRgb(90, 117, 156);
        // Stretched (202, 210, 168), rule 15 (white, which no later rule takes).
        QTest::newRow("pale vegetation") << qRgb(229, 233, 212) << white << elevation;
    }

    void postProcessing()
    {
        QFETCH(QRgb, map);
        QImage texture(3, 2, QImage::Format_RGB888);
        texture.fill(QColor(map));
        texture.setPixel(0, 1, qRgb(0, 0, 0));
        TextureRecolouring::recolourRow(texture, 1);
        QCOMPARE(texture.pixel(2, 0), map);
        QTEST(texture.pixel(1, 1), "recoloured");
        QTEST(texture.pixel(2, 1), "recoloured");
        QTEST(merged(filled({ 3, 2 }, qRgba(100, 150, 200, 128), QImage::Format_ARGB32), texture).pixel(2, 1),
            "merged");
    }

    // Stretched smoothly to the texture's size; a row merged leaves the others.
    void mergeScalesTheElevation()
    {
        QImage elevation(2, 1, QImage::Format_RGB32);
        elevation.setPixel(0, 0, qRgb(255, 0, 0));
        elevation.setPixel(1, 0, qRgb(0, 0, 255));
        QImage texture = filled({ 7, 3 }, qRgb(255, 255, 255));
        texture.setPixel(6, 1, qRgb(10, 20, 30));
        texture.setPixel(6, 2, qRgb(10, 20, 30));
        TextureMerge merge(elevation, texture);
        merge.mergeRow(2);
        QImage expected = elevation.scaled(7, 3, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        expected.setPixel(6, 2, qRgb(10, 20, 30));
        QCOMPARE(merge.result(), expected.convertToFormat(QImage::Format_RGB32));
    }
};

QTEST_GUILESS_MAIN(TestTexture)
#include "tst_texture.moc"
