#include "RunFixture.h"

#include "app/DownloadArea.h"
#include "app/SettingsStore.h"
#include "texture/TileList.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTest>

namespace {

const QString area1 = QStringLiteral("1° (lon) by 0.5° (lat)");
const QString area05 = QStringLiteral("0.5° (lon) by 0.25° (lat)");
const QStringList intermediateSuffixes { ".png", "-el-col.png", ".zip", ".bil", ".hdr", ".blw", ".stx",
    "-el-uncorr.png", "-el-m.png" };
const QStringList kept { "-el-corr.png", "-el-col-scaled.png" };

void touch(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
}

QStringList filesIn(const QString& directory) { return QDir(directory).entryList(QDir::Files, QDir::Name); }

} // namespace

// "Delete Intermediate Files": what goes and what stays.
class TestDeleteFiles : public QObject {
    Q_OBJECT

    // The tiles of the rectangle on show at the zoom of the area.
    static QStringList tileFiles(RunFixture& run, const QString& area)
    {
        QStringList names;
        const DownloadRun::Rectangle rectangle = run.run().rectangle();
        const QList<Tile> tiles = TileList::covering(rectangle.west, rectangle.east, rectangle.north,
            rectangle.south, TileList::zoomForAreaWidth(DownloadArea::width(area)));
        for (const Tile& tile : tiles)
            names.append(TileList::fileName(run.workingDirectory(), tile));
        return names;
    }

private slots:
    void removesExactlyTheIntermediateFiles()
    {
        RunFixture run;
        QVERIFY(run.isReady());
        run.start({ .area = area1, .source = SettingsStore::elevationDataSources().at(0) });
        const QString base = run.baseFileName();
        const QStringList tiles = tileFiles(run, area1);
        QVERIFY(tiles.size() > 100);
        for (const QString& tile : tiles)
            touch(tile);
        for (const QString& suffix : intermediateSuffixes)
            touch(base + suffix);
        QImage result(40, 20, QImage::Format_RGB32);
        result.fill(Qt::white);
        for (const QString& suffix : kept)
            QVERIFY(result.save(base + suffix));
        const QStringList others { "messages.txt", "debugGeocode.txt",
            "1.00000N-0.00000S_2.00000W-3.00000E.zip", "12-00001-00002.png" };
        for (const QString& other : others)
            touch(run.workingDirectory() + QLatin1Char('/') + other);
        QStringList expected = others;
        for (const QString& suffix : kept)
            expected.append(QFileInfo(base + suffix).fileName());
        expected.sort();

        run.run().deleteFiles();
        QCOMPARE(filesIn(run.workingDirectory()), expected);
        QVERIFY(run.log().isEmpty() && run.boxes().isEmpty());

        run.run().deleteFiles();
        QCOMPARE(filesIn(run.workingDirectory()), expected);

        // The results left behind end the next run at once.
        run.download();
        QCOMPARE(run.boxes().size(), 1);
        QVERIFY(run.log().contains(QStringLiteral("         ********* SUCCESS *********")));
    }

    void anotherAreaNamesOtherTiles()
    {
        RunFixture run;
        QVERIFY(run.isReady());
        run.start({ .area = area1, .source = SettingsStore::elevationDataSources().at(0) });
        const QStringList zoom13 = tileFiles(run, area1);
        for (const QString& tile : zoom13)
            touch(tile);
        SettingsStore::setDownloadArea(area05);
        const QStringList zoom14 = tileFiles(run, area05);
        for (const QString& tile : zoom14)
            touch(tile);
        run.run().deleteFiles();
        for (const QString& tile : zoom13)
            QVERIFY(QFile::exists(tile));
        for (const QString& tile : zoom14)
            QVERIFY(!QFile::exists(tile));
    }
};

QTEST_GUILESS_MAIN(TestDeleteFiles)
#include "tst_deletefiles.moc"
