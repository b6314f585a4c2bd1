#include "RunFixture.h"

#include "app/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTest>

namespace {

const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");

QStringList filesIn(const QString& directory) { return QDir(directory).entryList(QDir::Files, QDir::Name); }

} // namespace

// Whole runs, from "&Download" to both results, against the simulator.
class TestDownloadRun : public QObject {
    Q_OBJECT

private slots:
    void runProducesBothResults_data()
    {
        QTest::addColumn<int>("source");
        QTest::newRow("SRTM 3, integer samples") << 0;
        QTest::newRow("NED 1/3, float samples") << 3;
    }

    void runProducesBothResults()
    {
        QFETCH(int, source);
        RunFixture run({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(run.isReady());
        MainDialog& dialog
            = run.start({ .area = area, .source = SettingsStore::elevationDataSources().at(source) });
        QElapsedTimer clock;
        clock.start();
        dialog.pushButtonDownload->click();
        QVERIFY(QTest::qWaitFor([&] { return !run.boxes().isEmpty(); }, 300000));
        qDebug() << "run took" << clock.elapsed() << "ms";
        const QString base = run.baseFileName();
        QVERIFY(!QImage(base + QStringLiteral("-el-corr.png")).isNull());
        const QImage merged(base + QStringLiteral("-el-col-scaled.png"));
        QVERIFY(!merged.isNull());
        QCOMPARE(merged.size(), QImage(base + QStringLiteral(".png")).size());
        QVERIFY(run.isIdle());
        for (QProgressBar* bar : dialog.findChildren<QProgressBar*>())
            QCOMPARE(bar->value(), bar->maximum());
        qDebug() << run.log().mid(0, 40);
        qDebug() << run.log().mid(run.log().size() - 40);
    }
};

QTEST_MAIN(TestDownloadRun)
#include "tst_downloadrun.moc"
