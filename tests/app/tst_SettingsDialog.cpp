#include "ModalAnswer.h"

#include "app/SettingsDialog.h"
#include "app/SettingsStore.h"

#include <QFileDialog>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

namespace {

QSettings store()
{
    return QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka"));
}

bool okEnabled(const SettingsDialog& dialog)
{
    return dialog.buttonBox->button(QDialogButtonBox::Ok)->isEnabled();
}

} // namespace

class TestSettingsDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void form();
    void loadsDefaults();
    void loadsStoredValues();
    void unmatchedStoredTextsSelectFirstEntry_data();
    void unmatchedStoredTextsSelectFirstEntry();

    void okRule_data();
    void okRule();
    void forbiddenStoredCombinationKeepsOkUntilChange();

    void paletteNumber_data();
    void paletteNumber();

    void acceptWritesEverything();
    void rejectWritesNothing();

    void browseStartsAtStoredDirectory();
    void cancelledBrowseKeepsText();
};

void TestSettingsDialog::init()
{
    store().clear();
}

void TestSettingsDialog::form()
{
    SettingsDialog dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Settings"));
    QCOMPARE(dialog.comboBoxDownloadArea->count(), 4);
    QCOMPARE(dialog.comboBoxElevationDataSource->count(), 5);
    QCOMPARE(dialog.comboBoxElevationDataSource->itemText(3), SettingsStore::elevationDataSources().at(3));
    QCOMPARE(dialog.labelPalette->buddy(), dialog.comboBoxDownloadArea);
    QCOMPARE(dialog.labelWorkingDirectory->buddy(), dialog.lineEditWorkingDirectory);
    for (QRadioButton* radio : { dialog.radioButtonPalette1, dialog.radioButtonPalette2 }) {
        QVERIFY(radio->text().isEmpty());
        QVERIFY(!radio->icon().pixmap(radio->iconSize()).isNull());
        QCOMPARE(radio->iconSize(), QSize(240, 16));
    }
}

void TestSettingsDialog::loadsDefaults()
{
    SettingsDialog dialog;
    QCOMPARE(dialog.comboBoxDownloadArea->currentIndex(), 0);
    QCOMPARE(dialog.comboBoxElevationDataSource->currentIndex(), 0);
    QCOMPARE(dialog.lineEditWorkingDirectory->text(), QStringLiteral("."));
    QCOMPARE(dialog.spinBoxMinimum->value(), 0);
    QCOMPARE(dialog.spinBoxMaximum->value(), 8000);
    QVERIFY(!dialog.checkBoxVerbose->isChecked());
    QVERIFY(dialog.radioButtonPalette1->isChecked());
    QVERIFY(okEnabled(dialog));
}

void TestSettingsDialog::loadsStoredValues()
{
    SettingsStore::setDownloadArea(SettingsStore::downloadAreas().at(2));
    SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(4));
    SettingsStore::setWorkingDirectory(QStringLiteral("/no/such/dir"));
    SettingsStore::setVerbose(true);
    SettingsStore::setPaletteNumber(2);
    SettingsStore::setPaletteMinimum(-500);
    SettingsStore::setPaletteMaximum(9000000);

    SettingsDialog dialog;
    QCOMPARE(dialog.comboBoxDownloadArea->currentIndex(), 2);
    QCOMPARE(dialog.comboBoxElevationDataSource->currentIndex(), 4);
    QCOMPARE(dialog.lineEditWorkingDirectory->text(), QStringLiteral("/no/such/dir"));
    QVERIFY(dialog.checkBoxVerbose->isChecked());
    QVERIFY(dialog.radioButtonPalette2->isChecked());
    QCOMPARE(dialog.spinBoxMinimum->value(), -500);
    QCOMPARE(dialog.spinBoxMaximum->value(), 9000000);
}

void TestSettingsDialog::unmatchedStoredTextsSelectFirstEntry_data()
{
    QTest::addColumn<QString>("area");
    QTest::addColumn<QString>("source");

    QTest::newRow("other case") << QStringLiteral("1° (LON) by 0.5° (LAT)")
                                << QStringLiteral("srtm 3 arc sec - shuttle radar topography mission [finished]");
    QTest::newRow("prefix only") << QStringLiteral("1° (lon)") << QStringLiteral("National Elevation Dataset");
    QTest::newRow("text appended") << QStringLiteral("1° (lon) by 0.5° (lat) ")
                                   << QStringLiteral("Topographic Change: NED 2003 DEM (U.S. only)!");
}

void TestSettingsDialog::unmatchedStoredTextsSelectFirstEntry()
{
    QFETCH(QString, area);
    QFETCH(QString, source);
    SettingsStore::setDownloadArea(area);
    SettingsStore::setElevationDataSource(source);

    SettingsDialog dialog;
    QCOMPARE(dialog.comboBoxDownloadArea->currentIndex(), 0);
    QCOMPARE(dialog.comboBoxElevationDataSource->currentIndex(), 0);
}

void TestSettingsDialog::okRule_data()
{
    QTest::addColumn<int>("area");
    QTest::addColumn<int>("source");
    QTest::addColumn<bool>("areaFirst");
    QTest::addColumn<bool>("enabled");

    QTest::newRow("2x1 with NED 1/3, area first") << 0 << 3 << true << false;
    QTest::newRow("2x1 with NED 1/3, source first") << 0 << 3 << false << false;
    QTest::newRow("2x1 with NED 1") << 0 << 2 << true << true;
    QTest::newRow("1x0.5 with NED 1/3") << 1 << 3 << false << true;
    QTest::newRow("0.25x0.125 with NED 1/3") << 3 << 3 << true << true;
}

void TestSettingsDialog::okRule()
{
    QFETCH(int, area);
    QFETCH(int, source);
    QFETCH(bool, areaFirst);
    QFETCH(bool, enabled);

    // Start away from both targets so that each assignment is a change.
    SettingsStore::setDownloadArea(SettingsStore::downloadAreas().at(area == 2 ? 1 : 2));
    SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(source == 4 ? 1 : 4));
    SettingsDialog dialog;
    if (areaFirst) {
        dialog.comboBoxDownloadArea->setCurrentIndex(area);
        dialog.comboBoxElevationDataSource->setCurrentIndex(source);
    } else {
        dialog.comboBoxElevationDataSource->setCurrentIndex(source);
        dialog.comboBoxDownloadArea->setCurrentIndex(area);
    }
    QCOMPARE(okEnabled(dialog), enabled);

    // Any other area enables Ok again.
    dialog.comboBoxDownloadArea->setCurrentIndex(1);
    QVERIFY(okEnabled(dialog));
}

void TestSettingsDialog::forbiddenStoredCombinationKeepsOkUntilChange()
{
    SettingsStore::setDownloadArea(SettingsStore::downloadAreas().at(0));
    SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(3));

    SettingsDialog dialog;
    QCOMPARE(dialog.comboBoxDownloadArea->currentIndex(), 0);
    QCOMPARE(dialog.comboBoxElevationDataSource->currentIndex(), 3);
    QVERIFY(okEnabled(dialog));

    dialog.comboBoxElevationDataSource->setCurrentIndex(2);
    QVERIFY(okEnabled(dialog));
    dialog.comboBoxElevationDataSource->setCurrentIndex(3);
    QVERIFY(!okEnabled(dialog));
}

void TestSettingsDialog::paletteNumber_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<bool>("secondChecked");
    QTest::addColumn<int>("written");

    QTest::newRow("none stored") << QVariant() << false << 1;
    QTest::newRow("1") << QVariant(1) << false << 1;
    QTest::newRow("2") << QVariant(2) << true << 2;
    QTest::newRow("3 means palette 1") << QVariant(3) << false << 1;
    QTest::newRow("0 means palette 1") << QVariant(0) << false << 1;
    QTest::newRow("text") << QVariant(QStringLiteral("two")) << false << 1;
}

void TestSettingsDialog::paletteNumber()
{
    QFETCH(QVariant, stored);
    QFETCH(bool, secondChecked);
    QFETCH(int, written);
    if (stored.isValid())
        store().setValue(QStringLiteral("paletteNumber"), stored);

    SettingsDialog dialog;
    QCOMPARE(dialog.radioButtonPalette2->isChecked(), secondChecked);
    QCOMPARE(dialog.radioButtonPalette1->isChecked(), !secondChecked);
    dialog.accept();
    QCOMPARE(store().value(QStringLiteral("paletteNumber")).toInt(), written);
}

void TestSettingsDialog::acceptWritesEverything()
{
    SettingsDialog dialog;
    dialog.comboBoxDownloadArea->setCurrentIndex(3);
    dialog.comboBoxElevationDataSource->setCurrentIndex(1);
    dialog.lineEditWorkingDirectory->setText(QStringLiteral("  not/checked "));
    dialog.checkBoxVerbose->setChecked(true);
    dialog.radioButtonPalette2->setChecked(true);
    dialog.spinBoxMinimum->setValue(5000);
    dialog.spinBoxMaximum->setValue(100);

    dialog.accept();

    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(SettingsStore::downloadArea(), SettingsStore::downloadAreas().at(3));
    QCOMPARE(SettingsStore::elevationDataSource(), SettingsStore::elevationDataSources().at(1));
    QCOMPARE(SettingsStore::workingDirectory(), QStringLiteral("  not/checked "));
    QVERIFY(SettingsStore::verbose());
    QCOMPARE(SettingsStore::paletteNumber(), 2);
    QCOMPARE(SettingsStore::paletteMinimum(), 5000);
    QCOMPARE(SettingsStore::paletteMaximum(), 100);
}

void TestSettingsDialog::rejectWritesNothing()
{
    SettingsDialog dialog;
    dialog.comboBoxDownloadArea->setCurrentIndex(3);
    dialog.lineEditWorkingDirectory->setText(QStringLiteral("/tmp"));
    dialog.checkBoxVerbose->setChecked(true);

    dialog.buttonBox->button(QDialogButtonBox::Cancel)->click();

    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(store().allKeys().isEmpty());
}

void TestSettingsDialog::browseStartsAtStoredDirectory()
{
    QTemporaryDir stored;
    QTemporaryDir chosen;
    SettingsStore::setWorkingDirectory(stored.path());
    SettingsDialog dialog;
    dialog.lineEditWorkingDirectory->setText(QStringLiteral("typed but not stored"));

    QString startDirectory;
    ModalAnswer<QFileDialog> answer([&](QFileDialog* chooser) {
        startDirectory = chooser->directory().absolutePath();
        chooser->setDirectory(chosen.path());
        QMetaObject::invokeMethod(chooser, &QDialog::accept);
    });
    dialog.pushButtonBrowseWorkingDirectory->click();

    QVERIFY(answer.answered());
    QCOMPARE(startDirectory, stored.path());
    QCOMPARE(dialog.lineEditWorkingDirectory->text(), chosen.path());
    QCOMPARE(SettingsStore::workingDirectory(), stored.path());
}

void TestSettingsDialog::cancelledBrowseKeepsText()
{
    SettingsDialog dialog;
    dialog.lineEditWorkingDirectory->setText(QStringLiteral("kept"));

    ModalAnswer<QFileDialog> answer([](QFileDialog* chooser) { chooser->reject(); });
    dialog.browseWorkingDirectory();

    QVERIFY(answer.answered());
    QCOMPARE(dialog.lineEditWorkingDirectory->text(), QStringLiteral("kept"));
}

QTEST_MAIN(TestSettingsDialog)
#include "tst_SettingsDialog.moc"
