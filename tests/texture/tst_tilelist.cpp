#include "texture/TileList.h"

#include "TileRows.h"

#include <QTest>

class TestTileList : public QObject {
    Q_OBJECT

private slots:
    void newTile()
    {
        const Tile t;
        QCOMPARE(t.requestId, 0);
        QCOMPARE(t.zoom, 1);
        QCOMPARE(t.x, 0);
        QCOMPARE(t.y, 0);
        QCOMPARE(t.top + t.bottom + t.left + t.right, 0);
        QVERIFY(!t.done);
    }

    void zoom_data()
    {
        QTest::addColumn<double>("width");
        QTest::addColumn<int>("zoom");
        QTest::newRow("2°") << 2.0 << 12;
        QTest::newRow("1°") << 1.0 << 13;
        QTest::newRow("0.5°") << 0.5 << 14;
        QTest::newRow("0.25°") << 0.25 << 15;
        QTest::newRow("0.125°") << 0.125 << 12;
        QTest::newRow("unknown area") << 0.0 << 12;
        QTest::newRow("next double above 1°") << std::nextafter(1.0, 2.0) << 12;
    }

    void zoom()
    {
        QFETCH(double, width);
        QTEST(TileList::zoomForAreaWidth(width), "zoom");
    }

    void covering_data()
    {
        QTest::addColumn<double>("west");
        QTest::addColumn<double>("east");
        QTest::addColumn<double>("north");
        QTest::addColumn<double>("south");
        QTest::addColumn<int>("zoom");
        QTest::addColumn<QList<Tile>>("tiles");
        // X = 4096.2276 and 4096.4551, Y = 4095.5449 and 4095.7724.
        QTest::newRow("inside one tile") << 0.01 << 0.02 << 0.02 << 0.01 << 13
                                         << QList<Tile> { croppedTile(13, 4096, 4095, 139, 197, 58, 116) };
        // Longitude 0 and latitude 0 land exactly on tile 4096.
        QTest::newRow("equator and meridian at zoom 13")
            << 0.0 << 0.01 << 0.0 << -0.01 << 13 << QList<Tile> { croppedTile(13, 4096, 4096, 0, 58, 0, 58) };
        // X = 2 and 3 exactly: the east column contributes its pixel column 0 only.
        QTest::newRow("west and east on tile edges")
            << 0.0 << 90.0 << 0.0 << -10.0 << 2
            << QList<Tile> { croppedTile(2, 2, 2, 0, 28, 0, 255), croppedTile(2, 3, 2, 0, 28, 0, 0) };
        // Y(0) = 2 exactly: the south row contributes its pixel row 0 only.
        QTest::newRow("south on a tile edge, row order")
            << -10.0 << 0.0 << 10.0 << 0.0 << 2
            << QList<Tile> { croppedTile(2, 1, 1, 227, 255, 227, 255), croppedTile(2, 2, 1, 227, 255, 0, 0),
                   croppedTile(2, 1, 2, 0, 0, 227, 255), croppedTile(2, 2, 2, 0, 0, 0, 0) };
        QTest::newRow("west east of east") << -104.0 << -106.0 << 41.0 << 40.0 << 12 << QList<Tile> {};
        QTest::newRow("north south of south") << -106.0 << -104.0 << 40.0 << 41.0 << 12 << QList<Tile> {};
        QTest::newRow("west east of east in one tile")
            << -105.0 << -105.001 << 40.5 << 40.4 << 12 << QList<Tile> {};
    }

    void covering()
    {
        QFETCH(double, west);
        QFETCH(double, east);
        QFETCH(double, north);
        QFETCH(double, south);
        QFETCH(int, zoom);
        QTEST(TileList::covering(west, east, north, south, zoom), "tiles");
    }

    // The largest lists a run makes: 24 columns by 16 rows, inner tiles whole.
    void areaOfARun_data()
    {
        QTest::addColumn<double>("west");
        QTest::addColumn<double>("north");
        QTest::addColumn<double>("width");
        QTest::addColumn<Tile>("first");
        QTest::addColumn<Tile>("last");
        QTest::newRow("2° at zoom 12")
            << -106.0 << 41.0 << 2.0 << croppedTile(12, 841, 1535, 178, 255, 244, 255)
            << croppedTile(12, 864, 1550, 0, 169, 0, 182);
        QTest::newRow("1° at zoom 13")
            << -106.0 << 40.5 << 1.0 << croppedTile(13, 1683, 3086, 105, 255, 233, 255)
            << croppedTile(13, 1706, 3101, 0, 82, 0, 170);
        QTest::newRow("0.25° at zoom 15")
            << -106.0 << 40.125 << 0.25 << croppedTile(15, 6735, 12390, 106, 255, 164, 255)
            << croppedTile(15, 6758, 12405, 0, 72, 0, 102);
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
        for (qsizetype i = 1; i + 1 < tiles.size(); ++i) {
            const Tile& t = tiles.at(i);
            const Tile& previous = tiles.at(i - 1);
            QVERIFY(t.y == previous.y ? t.x == previous.x + 1 : t.y == previous.y + 1);
            if (t.x != tiles.first().x && t.x != tiles.last().x)
                QCOMPARE(QList<int>({ t.left, t.right }), QList<int>({ 0, 255 }));
            if (t.y != tiles.first().y && t.y != tiles.last().y)
                QCOMPARE(QList<int>({ t.top, t.bottom }), QList<int>({ 0, 255 }));
        }
    }

    void names_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<Tile>("tile");
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QString>("requestPath");
        QTest::newRow("padded to five digits")
            << "." << croppedTile(13, 1234, 3012, 0, 0, 0, 0) << "./13-01234-03012.png"
            << "/13/1234/3012.png";
        QTest::newRow("five digits, zoom unpadded")
            << "/data" << croppedTile(15, 12345, 6, 0, 0, 0, 0) << "/data/15-12345-00006.png"
            << "/15/12345/6.png";
        QTest::newRow("percent signs in the directory")
            << "/tmp/a%2b" << croppedTile(12, 841, 1535, 0, 0, 0, 0) << "/tmp/a%2b/12-00841-01535.png"
            << "/12/841/1535.png";
    }

    void names()
    {
        QFETCH(QString, directory);
        QFETCH(Tile, tile);
        QTEST(TileList::fileName(directory, tile), "fileName");
        QTEST(TileList::requestPath(tile), "requestPath");
    }
};

QTEST_GUILESS_MAIN(TestTileList)
#include "tst_tilelist.moc"
