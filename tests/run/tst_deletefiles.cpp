#include "RunFixture.h"

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

// "Delete Intermediate Files": what goes, what stays, and the controls.
class TestDeleteFiles : public QObject {
    Q_OBJECT

    // The tiles of the rectangle on show at the zoom of the area.
    static QStringList tileFiles(const RunFixture& run, MainDialog& dialog, const QString& area)
    {
        QStringList names;
        const QList<Tile> tiles
            = TileList::covering(dialog.doubleSpinBoxWest->value(), dialog.doubleSpinBoxEast->value(),
                dialog.doubleSpinBoxNorth->value(), dialog.doubleSpinBoxSouth->value(),
                TileList::zoomForAreaWidth(MainDialog::downloadAreaWidth(area)));
        for (const Tile& tile : tiles)
            names.append(TileList::fileName(run.workingDirectory(), tile));
        return names;
    }

private slots:
    void removesExactlyTheIntermediateFiles()
    {
        RunFixture run;
        QVERIFY(run.isReady());
        MainDialog& dialog
            = run.start({ .area = area1, .source = SettingsStore::elevationDataSources().at(0) });
        const QString base = run.baseFileName();
        const QStringList tiles = tileFiles(run, dialog, area1);
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

        dialog.pushButtonDeleteFiles->click();
        QCOMPARE(filesIn(run.workingDirectory()), expected);
        QVERIFY(run.log().isEmpty() && run.boxes().isEmpty());
        for (QWidget* control : QList<QWidget*> { dialog.pushButtonDeleteFiles, dialog.pushButtonDownload,
                 dialog.pushButtonGeocode, dialog.pushButtonSettings, dialog.doubleSpinBoxNorth,
                 dialog.doubleSpinBoxSouth, dialog.doubleSpinBoxEast, dialog.doubleSpinBoxWest,
                 dialog.lineEditAddress })
            QVERIFY(control->isEnabled());
        QVERIFY(!dialog.pushButtonCancel->isEnabled());

        dialog.pushButtonDeleteFiles->click();
        QCOMPARE(filesIn(run.workingDirectory()), expected);

        // The results left behind end the next run at once.
        dialog.pushButtonDownload->click();
        QCOMPARE(run.boxes().size(), 1);
        QVERIFY(run.log().contains(QStringLiteral("         ********* SUCCESS *********")));
    }

    void anotherAreaNamesOtherTiles()
    {
        RunFixture run;
        QVERIFY(run.isReady());
        MainDialog& dialog
            = run.start({ .area = area1, .source = SettingsStore::elevationDataSources().at(0) });
        const QStringList zoom13 = tileFiles(run, dialog, area1);
        for (const QString& tile : zoom13)
            touch(tile);
        SettingsStore::setDownloadArea(area05);
        const QStringList zoom14 = tileFiles(run, dialog, area05);
        for (const QString& tile : zoom14)
            touch(tile);
        dialog.pushButtonDeleteFiles->click();
        for (const QString& tile : zoom13)
            QVERIFY(QFile::exists(tile));
        for (const QString& tile : zoom14)
            QVERIFY(!QFile::exists(tile));
    }
};

QTEST_MAIN(TestDeleteFiles)
#include "tst_deletefiles.moc"
