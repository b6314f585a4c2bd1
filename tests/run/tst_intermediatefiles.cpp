#include "run/IntermediateFiles.h"

#include "texture/TileList.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

class TestIntermediateFiles : public QObject {
    Q_OBJECT

private slots:
    void order()
    {
        Tile first;
        first.zoom = 13;
        first.x = 1634;
        first.y = 3104;
        Tile second = first;
        second.x = 1635;
        const QString base = "/w/40.50000N-40.00000S_-106.00000W--105.00000E";
        QCOMPARE(IntermediateFiles::of("/w", base, { second, first }),
            QStringList({ "/w/13-01635-03104.png", "/w/13-01634-03104.png", base + ".png",
                base + "-el-col.png", base + ".zip", base + ".bil", base + ".hdr", base + ".blw",
                base + ".stx", base + "-el-uncorr.png", base + "-el-m.png" }));
    }

    // Everything of a finished run, removed by the list: the results, the
    // log and the other rectangle's files stay.
    void finishedRun()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        const QString work = directory.path();
        const QString base = work + "/40.12500N-40.00000S_-106.00000W--105.75000E";
        const QString other = work + "/41.12500N-41.00000S_-106.00000W--105.75000E";
        const QList<Tile> tiles = TileList::covering(-106.0, -105.75, 40.125, 40.0, 15);
        const QStringList runFiles { ".png", "-el-col.png", ".zip", ".bil", ".hdr", ".blw", ".stx",
            "-el-uncorr.png", "-el-m.png", "-el-corr.png", "-el-col-scaled.png" };
        QStringList created { work + "/messages.txt", work + "/debugOpenStreetMap.txt",
            work + "/15-06735-12389.png" };
        for (const Tile& tile : tiles)
            created << TileList::fileName(work, tile);
        for (const QString& suffix : runFiles)
            created << base + suffix << other + suffix;
        for (const QString& name : created) {
            QFile file(name);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }

        for (const QString& name : IntermediateFiles::of(work, base, tiles))
            QVERIFY2(QFile::remove(name), qPrintable(name));

        QStringList left = QDir(work).entryList(QDir::Files);
        QStringList expected { "messages.txt", "debugOpenStreetMap.txt", "15-06735-12389.png",
            QFileInfo(base).fileName() + "-el-corr.png", QFileInfo(base).fileName() + "-el-col-scaled.png" };
        for (const QString& suffix : runFiles)
            expected << QFileInfo(other).fileName() + suffix;
        left.sort();
        expected.sort();
        QCOMPARE(left, expected);
    }
};

QTEST_GUILESS_MAIN(TestIntermediateFiles)
#include "tst_intermediatefiles.moc"
