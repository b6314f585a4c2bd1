#include "ModalAnswer.h"

#include "app/MainDialog.h"
#include "app/SettingsDialog.h"
#include "app/SettingsStore.h"

#include <QSettings>
#include <QTest>

struct Rectangle
{
    double north;
    double south;
    double west;
    double east;
};
Q_DECLARE_METATYPE(Rectangle)

namespace {

const QString area1 = QStringLiteral("1° (lon) by 0.5° (lat)");
const QString area025 = QStringLiteral("0.25° (lon) by 0.125° (lat)");

Rectangle rectangleOf(const MainDialog& dialog)
{
    return { dialog.doubleSpinBoxNorth->value(), dialog.doubleSpinBoxSouth->value(),
        dialog.doubleSpinBoxWest->value(), dialog.doubleSpinBoxEast->value() };
}

void compareRectangle(const MainDialog& dialog, const Rectangle& expected)
{
    const Rectangle actual = rectangleOf(dialog);
    QCOMPARE(actual.north, expected.north);
    QCOMPARE(actual.south, expected.south);
    QCOMPARE(actual.west, expected.west);
    QCOMPARE(actual.east, expected.east);
}

} // namespace

class TestMainDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void startsFromEmptyStore();
    void startsFromStoredRectangle();
    void storedBordersAreClamped();
    void form();
    void idleControls();

    void westAndNorthMoveEastAndSouth_data();
    void westAndNorthMoveEastAndSouth();
    void recentre_data();
    void recentre();
    void arrowStepMovesRectangleBySize();

    void clearLabel();
    void addMessageWritesLog();

    void settings_data();
    void settings();
    void settingsButtonOpensDialog();
};

void TestMainDialog::init()
{
    QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka")).clear();
}

void TestMainDialog::startsFromEmptyStore()
{
    MainDialog dialog;
    compareRectangle(dialog, { 40.5, 40.5, -105.0, -105.0 });
    QCOMPARE(dialog.doubleSpinBoxNorth->singleStep(), 0.0);
    QCOMPARE(dialog.doubleSpinBoxSouth->singleStep(), 0.0);
    QCOMPARE(dialog.doubleSpinBoxWest->singleStep(), 0.0);
    QCOMPARE(dialog.doubleSpinBoxEast->singleStep(), 0.0);
    QVERIFY(!dialog.isVerbose());
}

void TestMainDialog::startsFromStoredRectangle()
{
    // The stored rectangle is 2° × 1°; the stored area makes it 1° × 0.5°
    // around the same centre.
    SettingsStore::setDownloadRectangle(41.0, 40.0, -106.0, -104.0);
    SettingsStore::setDownloadArea(area1);
    SettingsStore::setVerbose(true);

    MainDialog dialog;
    compareRectangle(dialog, { 40.75, 40.25, -105.5, -104.5 });
    QCOMPARE(dialog.doubleSpinBoxNorth->singleStep(), 0.5);
    QCOMPARE(dialog.doubleSpinBoxWest->singleStep(), 1.0);
    QVERIFY2(!dialog.isVerbose(), "verbose is read when a run starts, not at start-up");
}

void TestMainDialog::storedBordersAreClamped()
{
    SettingsStore::setDownloadRectangle(95.0, -95.0, -200.0, 200.0);

    MainDialog dialog;
    // Clamped to (90, -90, -180, 180), whose centre is (0, 0); with no area
    // the rectangle shrinks to that point.
    compareRectangle(dialog, { 0.0, 0.0, 0.0, 0.0 });
}

void TestMainDialog::form()
{
    MainDialog dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("MainDialog"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Relka - OSM & SRTM Data"));
    QVERIFY(dialog.windowIcon().pixmap(64).width() == 64);
    QVERIFY(dialog.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    QVERIFY(dialog.windowFlags().testFlag(Qt::WindowMaximizeButtonHint));

    const QList<QWidget*> order { dialog.lineEditAddress, dialog.pushButtonGeocode, dialog.pushButtonSettings,
        dialog.doubleSpinBoxNorth, dialog.doubleSpinBoxWest, dialog.doubleSpinBoxEast, dialog.doubleSpinBoxSouth,
        dialog.pushButtonDownload, dialog.pushButtonCancel, dialog.pushButtonDeleteFiles };
    QList<QWidget*> chain;
    for (QWidget* widget = order.first(); chain.size() < order.size(); widget = widget->nextInFocusChain()) {
        // Labels and the line edits inside spin boxes are no tab stops of their own.
        const bool inSpinBox = qobject_cast<QAbstractSpinBox*>(widget->parentWidget());
        if ((widget->focusPolicy() & Qt::TabFocus) && !inSpinBox)
            chain.append(widget);
    }
    QCOMPARE(chain, order);
}

void TestMainDialog::idleControls()
{
    MainDialog dialog;
    for (QWidget* enabled : std::initializer_list<QWidget*> { dialog.pushButtonDownload,
             dialog.pushButtonDeleteFiles, dialog.pushButtonGeocode, dialog.pushButtonSettings,
             dialog.doubleSpinBoxNorth, dialog.doubleSpinBoxWest, dialog.lineEditAddress })
        QVERIFY2(enabled->isEnabled(), qPrintable(enabled->objectName()));
    for (QWidget* disabled : std::initializer_list<QWidget*> { dialog.pushButtonCancel,
             dialog.doubleSpinBoxSouth, dialog.doubleSpinBoxEast })
        QVERIFY2(!disabled->isEnabled(), qPrintable(disabled->objectName()));
}

void TestMainDialog::westAndNorthMoveEastAndSouth_data()
{
    QTest::addColumn<QString>("area");
    QTest::addColumn<double>("west");
    QTest::addColumn<double>("north");
    QTest::addColumn<double>("east");
    QTest::addColumn<double>("south");

    QTest::newRow("quarter degree") << area025 << -105.0 << 40.5 << -104.75 << 40.375;
    QTest::newRow("east clamped at 180") << area1 << 179.5 << 40.0 << 180.0 << 39.5;
    QTest::newRow("south clamped at -90") << area1 << 0.0 << -89.75 << 1.0 << -90.0;
    QTest::newRow("no area") << QString() << 12.0 << 34.0 << 12.0 << 34.0;
}

void TestMainDialog::westAndNorthMoveEastAndSouth()
{
    QFETCH(QString, area);
    QFETCH(double, west);
    QFETCH(double, north);
    QFETCH(double, east);
    QFETCH(double, south);

    SettingsStore::setDownloadArea(area);
    MainDialog dialog;
    dialog.doubleSpinBoxWest->setValue(west);
    dialog.doubleSpinBoxNorth->setValue(north);
    QCOMPARE(dialog.doubleSpinBoxEast->value(), east);
    QCOMPARE(dialog.doubleSpinBoxSouth->value(), south);
}

void TestMainDialog::recentre_data()
{
    QTest::addColumn<QString>("area");
    QTest::addColumn<double>("latitude");
    QTest::addColumn<double>("longitude");
    QTest::addColumn<double>("north");
    QTest::addColumn<double>("south");
    QTest::addColumn<double>("west");
    QTest::addColumn<double>("east");

    QTest::newRow("one degree") << area1 << 40.4375 << -104.875 << 40.6875 << 40.1875 << -105.375 << -104.375;
    QTest::newRow("rounded to 5 decimals") << area025 << 10.123456 << 20.987654 << 10.18596 << 10.06096
                                           << 20.86265 << 21.11265;
    QTest::newRow("clamped at the pole") << QStringLiteral("2° (lon) by 1° (lat)") << 89.75 << 0.0 << 90.0
                                         << 89.25 << -1.0 << 1.0;
}

void TestMainDialog::recentre()
{
    QFETCH(QString, area);
    QFETCH(double, latitude);
    QFETCH(double, longitude);
    QFETCH(double, north);
    QFETCH(double, south);
    QFETCH(double, west);
    QFETCH(double, east);

    MainDialog dialog;
    SettingsStore::setDownloadArea(area);
    dialog.setDownloadAreaWidth(area, latitude, longitude);
    compareRectangle(dialog, { north, south, west, east });
    QCOMPARE(dialog.doubleSpinBoxNorth->singleStep(), MainDialog::downloadAreaHeight(area));
    QCOMPARE(dialog.doubleSpinBoxSouth->singleStep(), MainDialog::downloadAreaHeight(area));
    QCOMPARE(dialog.doubleSpinBoxWest->singleStep(), MainDialog::downloadAreaWidth(area));
    QCOMPARE(dialog.doubleSpinBoxEast->singleStep(), MainDialog::downloadAreaWidth(area));
}

void TestMainDialog::arrowStepMovesRectangleBySize()
{
    SettingsStore::setDownloadArea(area1);
    MainDialog dialog;
    dialog.setDownloadAreaWidth(area1, 40.4375, -104.875);

    QTest::keyClick(dialog.doubleSpinBoxNorth, Qt::Key_Up);
    compareRectangle(dialog, { 41.1875, 40.6875, -105.375, -104.375 });

    QTest::keyClick(dialog.doubleSpinBoxWest, Qt::Key_Down);
    compareRectangle(dialog, { 41.1875, 40.6875, -106.375, -105.375 });
}

void TestMainDialog::clearLabel()
{
    MainDialog dialog;
    dialog.labelHTMLMessage->setText(QStringLiteral("<b>error</b>"));
    dialog.slotClearLabel();
    QVERIFY(dialog.labelHTMLMessage->text().isEmpty());
}

void TestMainDialog::addMessageWritesLog()
{
    QFile::remove(QStringLiteral("messages.txt"));
    MainDialog dialog;
    dialog.addMessage(QStringLiteral("Seamless: 40.5°"));

    QFile log(QStringLiteral("messages.txt"));
    QVERIFY(log.open(QIODevice::ReadOnly));
    QVERIFY(log.readAll().endsWith(": Seamless: 40.5\xb0\r\n"));
}

void TestMainDialog::settings_data()
{
    QTest::addColumn<QDialogButtonBox::StandardButton>("button");
    QTest::addColumn<QString>("chosenArea");
    QTest::addColumn<QString>("storedArea");
    QTest::addColumn<bool>("verbose");
    QTest::addColumn<Rectangle>("rectangle");

    QTest::newRow("accepted: same centre, new size")
        << QDialogButtonBox::Ok << area025 << area025 << true << Rectangle { 40.5, 40.375, -105.0, -104.75 };
    QTest::newRow("accepted unchanged: rectangle kept")
        << QDialogButtonBox::Ok << area1 << area1 << true << Rectangle { 40.6875, 40.1875, -105.375, -104.375 };
    QTest::newRow("cancelled: nothing changes")
        << QDialogButtonBox::Cancel << area025 << area1 << false << Rectangle { 40.6875, 40.1875, -105.375, -104.375 };
}

void TestMainDialog::settings()
{
    QFETCH(QDialogButtonBox::StandardButton, button);
    QFETCH(QString, chosenArea);
    QFETCH(QString, storedArea);
    QFETCH(bool, verbose);
    QFETCH(Rectangle, rectangle);

    SettingsStore::setDownloadArea(area1);
    MainDialog dialog;
    dialog.setDownloadAreaWidth(area1, 40.4375, -104.875);

    ModalAnswer<SettingsDialog> answer([&](SettingsDialog* settings) {
        settings->comboBoxDownloadArea->setCurrentText(chosenArea);
        settings->checkBoxVerbose->setChecked(true);
        settings->buttonBox->button(button)->click();
    });
    dialog.slotSettings();

    QVERIFY(answer.answered());
    QCOMPARE(SettingsStore::downloadArea(), storedArea);
    QCOMPARE(SettingsStore::verbose(), verbose);
    QCOMPARE(dialog.isVerbose(), verbose);
    compareRectangle(dialog, rectangle);
    QCOMPARE(dialog.doubleSpinBoxWest->singleStep(), MainDialog::downloadAreaWidth(storedArea));
    QVERIFY(dialog.findChildren<SettingsDialog*>().isEmpty());
}

void TestMainDialog::settingsButtonOpensDialog()
{
    MainDialog dialog;
    ModalAnswer<SettingsDialog> answer([](SettingsDialog* settings) { settings->reject(); });
    dialog.pushButtonSettings->click();
    QVERIFY(answer.answered());
}

QTEST_MAIN(TestMainDialog)
#include "tst_MainDialog.moc"
