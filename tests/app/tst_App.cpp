#include "SimProcess.h"
#include "app/MainDialog.h"
#include "app/MessageBoxes.h"
#include "app/SettingsDialog.h"
#include "app/SettingsStore.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

using Doubles = QList<double>;

namespace {

const QString area1 = u"1° (lon) by 0.5° (lat)"_s;

// Value or single step of North, South, West and East.
Doubles spinBoxes(const MainDialog& d, double (QDoubleSpinBox::*get)() const)
{
    return { (d.doubleSpinBoxNorth->*get)(), (d.doubleSpinBoxSouth->*get)(), (d.doubleSpinBoxWest->*get)(),
        (d.doubleSpinBoxEast->*get)() };
}

QVariantList shown(const SettingsDialog& d)
{
    return { d.comboBoxDownloadArea->currentIndex(), d.comboBoxElevationDataSource->currentIndex(),
        d.lineEditWorkingDirectory->text(), d.spinBoxMinimum->value(), d.spinBoxMaximum->value(),
        d.checkBoxVerbose->isChecked(), d.radioButtonPalette2->isChecked() };
}

} // namespace

// The settings dialog, the start-up rectangle and the window's wiring to a
// run.
class TestApp : public QObject {
    Q_OBJECT

private slots:
    void init() { QSettings(u"Brenholt"_s, u"relka"_s).clear(); }

    void startUp_data()
    {
        QTest::addColumn<QString>("area");
        QTest::addColumn<Doubles>("stored");
        QTest::addColumn<Doubles>("rectangle");
        QTest::addColumn<double>("width"); // every area is half as high as it is wide
        const auto row
            = [](const char* name, const QString& area, const Doubles& stored, const Doubles& rectangle,
                  double width) { QTest::newRow(name) << area << stored << rectangle << width; };
        row("empty store", QString(), {}, { 40.5, 40.5, -105, -105 }, 0);
        row("2x1 recentred as 1x0.5", area1, { 41, 40, -106, -104 }, { 40.75, 40.25, -105.5, -104.5 }, 1);
        row("text appended, clamped south and east", u"0.5° (lon) by 0.25° (lat) (large)"_s,
            { -89.9, -89.9, 179.8, 179.8 }, { -89.775, -90, 179.55, 180 }, 0.5);
        row("leading blank names no area", QLatin1Char(' ') + area1, { 41, 40, -106, -104 },
            { 40.5, 40.5, -105, -105 }, 0);
    }

    // The stored rectangle keeps its centre and takes the size of the stored
    // area; the spin boxes clamp and round. North and West drag South and
    // East along.
    void startUp()
    {
        QFETCH(QString, area);
        QFETCH(Doubles, stored);
        QFETCH(double, width);
        if (!stored.isEmpty()) {
            SettingsStore::setDownloadRectangle(stored[0], stored[1], stored[2], stored[3]);
            SettingsStore::setDownloadArea(area);
            SettingsStore::setVerbose(true);
        }
        MainDialog dialog;
        QTEST(spinBoxes(dialog, &QDoubleSpinBox::value), "rectangle");
        QCOMPARE(
            spinBoxes(dialog, &QDoubleSpinBox::singleStep), (Doubles { width / 2, width / 2, width, width }));
        QVERIFY2(!dialog.isVerbose(), "verbose is read when a run starts, not at start-up");
        dialog.doubleSpinBoxNorth->setValue(0);
        dialog.doubleSpinBoxWest->setValue(0);
        QCOMPARE(spinBoxes(dialog, &QDoubleSpinBox::value), (Doubles { 0, -width / 2, 0, width }));
    }

    void settings_data()
    {
        QTest::addColumn<int>("area");
        QTest::addColumn<int>("source");
        QTest::addColumn<bool>("accepted"); // by Ok; Cancel otherwise
        QTest::newRow("2x1 chosen with NED 1/3 refused") << 0 << 3 << false;
        QTest::newRow("2x1 with NED 1") << 0 << 2 << true;
        QTest::newRow("0.5x0.25 with NED 1/3") << 2 << 3 << true;
    }

    // Ok writes every field unchecked (minimum above maximum, blanks kept),
    // resizes the window's rectangle around its centre and reads verbose;
    // Cancel changes nothing. Ok is refused for the largest area with the
    // densest data once a combo box has changed: a stored combination still
    // opens with Ok.
    void settings()
    {
        QFETCH(int, area);
        QFETCH(int, source);
        QFETCH(bool, accepted);
        SettingsStore::setDownloadArea(SettingsStore::downloadAreas().at(1));
        SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(3));
        SettingsStore::setVerbose(true);
        MainDialog window;
        SettingsDialog* dialog = nullptr;
        bool openedWithOk = false;
        bool okWas = false;
        QTimer::singleShot(0, [&] {
            dialog = window.findChild<SettingsDialog*>();
            openedWithOk = dialog->buttonBox->button(QDialogButtonBox::Ok)->isEnabled();
            dialog->comboBoxDownloadArea->setCurrentIndex(area);
            dialog->comboBoxElevationDataSource->setCurrentIndex(source);
            dialog->lineEditWorkingDirectory->setText(u" not/checked "_s);
            dialog->spinBoxMinimum->setValue(900000);
            dialog->spinBoxMaximum->setValue(-500);
            dialog->checkBoxVerbose->setChecked(true);
            dialog->radioButtonPalette2->setChecked(true);
            okWas = dialog->buttonBox->button(QDialogButtonBox::Ok)->isEnabled();
            dialog->buttonBox->button(accepted && okWas ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)
                ->click();
        });
        window.pushButtonSettings->click();
        QVERIFY(dialog);
        QVERIFY(openedWithOk);
        QCOMPARE(okWas, accepted);
        QCOMPARE(window.isVerbose(), accepted);
        const QVariantList chosen { area, source, u" not/checked "_s, 900000, -500, true, true };
        QCOMPARE(shown(SettingsDialog()),
            accepted ? chosen : (QVariantList { 1, 3, u"."_s, 0, 8000, true, false }));
        const double height = 1.0 / (1 << (accepted ? area : 1));
        const Doubles resized { 40.5 + height / 2, 40.5 - height / 2, -105 - height, -105 + height };
        QCOMPARE(spinBoxes(window, &QDoubleSpinBox::value), resized);
    }

    // The window's wiring to its run, against the simulator: a geocoded
    // rectangle, a run started and cancelled, and one that finds both
    // results on disk.
    void windowDrivesTheRun()
    {
        SimProcess sim({ u"--refresh-seconds"_s, u"0"_s });
        QVERIFY(sim.isRunning());
        sim.serveAllServices();
        QTemporaryDir work;
        SettingsStore::setWorkingDirectory(work.path());
        SettingsStore::setDownloadArea(u"0.25° (lon) by 0.125° (lat)"_s);
        QStringList boxes;
        MessageBoxes::setHandler([&boxes](MessageBoxes::Icon, QWidget*, const QString&, const QString& text,
                                     MessageBoxes::Buttons) {
            boxes << text;
            return MessageBoxes::Ok;
        });
        MainDialog dialog;
        dialog.show();
        const QList<QWidget*> locked { dialog.pushButtonDeleteFiles, dialog.pushButtonDownload,
            dialog.pushButtonGeocode, dialog.pushButtonSettings, dialog.doubleSpinBoxNorth,
            dialog.doubleSpinBoxWest, dialog.lineEditAddress };
        const auto idle = [&] {
            return std::all_of(locked.cbegin(), locked.cend(), [](QWidget* w) { return w->isEnabled(); })
                && !dialog.pushButtonCancel->isEnabled() && dialog.progressBarOverall->maximum() == 1;
        };

        dialog.lineEditAddress->setText(u"1600 Pennsylvania Avenue, Washington, DC"_s);
        dialog.pushButtonGeocode->click();
        QVERIFY(!idle());
        QVERIFY(QTest::qWaitFor(idle, SimProcess::patience()));
        QCOMPARE(spinBoxes(dialog, &QDoubleSpinBox::value),
            (Doubles { 38.96020, 38.83520, -77.16150, -76.91150 }));
        QVERIFY(dialog.pushButtonDownload->isDefault());

        dialog.pushButtonDownload->click();
        QCOMPARE(dialog.labelTextureFile->text(), u"Waiting for texture file..."_s);
        QVERIFY(!dialog.pushButtonDownload->isEnabled() && dialog.pushButtonCancel->isEnabled());
        QCOMPARE(dialog.progressBarOverall->maximum(), 0);
        dialog.pushButtonCancel->click();
        QVERIFY(idle() && boxes.isEmpty());
        QVERIFY(dialog.labelElevationFile->text().isEmpty() && dialog.labelTextureFile->text().isEmpty());
        QCOMPARE(dialog.progressBarOverall->value(), 1);

        QImage result(400, 200, QImage::Format_RGB32);
        result.fill(Qt::darkGreen);
        for (const char* suffix : { "-el-corr.png", "-el-col-scaled.png" })
            QVERIFY(result.save(work.path() + u"/38.96020N-38.83520S_-77.16150W--76.91150E"_s + suffix));
        dialog.pushButtonDownload->click();
        QCOMPARE(boxes, QStringList { u"Download and post processing finished!"_s });
        QVERIFY(idle() && dialog.pushButtonGeocode->isDefault() && dialog.lineEditAddress->hasFocus());
        for (QProgressBar* bar : dialog.findChildren<QProgressBar*>())
            QCOMPARE(bar->value(), bar->maximum());
        QVERIFY(!dialog.labelElevationFile->pixmap().isNull() && !dialog.labelTextureFile->pixmap().isNull());
        QVERIFY(dialog.labelElevationFile->pixmap().width() <= dialog.labelElevationFile->width());
        MessageBoxes::setHandler({});
    }
};

QTEST_MAIN(TestApp)
#include "tst_App.moc"
