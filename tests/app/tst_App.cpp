#include "SimProcess.h"
#include "app/MainDialog.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/ModalMessageBox.h"
#include "app/SettingsDialog.h"
#include "app/SettingsStore.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QProcess>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using Doubles = QList<double>;

namespace {

const QString area1 = QStringLiteral("1° (lon) by 0.5° (lat)");
const QString area025 = QStringLiteral("0.25° (lon) by 0.125° (lat)");
// What a settings dialog on an empty store shows, in the order of shown().
const QVariantList defaults { 0, 0, QStringLiteral("."), 0, 8000, false, false };

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

bool okEnabled(const SettingsDialog& dialog)
{
    return dialog.buttonBox->button(QDialogButtonBox::Ok)->isEnabled();
}

// Runs open(), which shows a modal window of type T, and hands that window to
// answer() from inside its event loop. False when no such window came up.
template <typename T, typename Answer, typename Open> bool answerModal(Answer answer, Open open)
{
    bool answered = false;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        if (T* window = qobject_cast<T*>(QApplication::activeModalWidget()); window && !answered) {
            answered = true;
            answer(window);
        }
    });
    timer.start(10);
    open();
    return answered;
}

void acceptedOrCancelled()
{
    QTest::addColumn<bool>("accept");
    QTest::newRow("accepted") << true;
    QTest::newRow("cancelled") << false;
}

} // namespace

class TestApp : public QObject {
    Q_OBJECT

private slots:
    void init() { QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka")).clear(); }

    void logLine_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QByteArray>("written");
        QTest::newRow("place markers stay literal") << QStringLiteral("%1 of %2") << QByteArray("%1 of %2");
        QTest::newRow("degree sign as one byte") << QStringLiteral("40.5°") << QByteArray("40.5\xb0");
        QTest::newRow("beyond Latin-1") << QStringLiteral("a\u20acb\u4e2dc") << QByteArray("a?b?c");
    }

    // "hh:mm:ss.zzz: message" CR LF in Latin-1, appended to messages.txt in
    // the working directory as it is stored at each call. A line for a
    // missing directory is dropped and the directory not created.
    void logLine()
    {
        QFETCH(QString, message);
        QFETCH(QByteArray, written);
        QTemporaryDir directory;
        const QString missing = directory.filePath(QStringLiteral("missing"));
        SettingsStore::setWorkingDirectory(missing);
        MessageLog::append(QStringLiteral("lost"));
        SettingsStore::setWorkingDirectory(directory.path());
        MessageLog::append(QStringLiteral("first"));
        MessageLog::append(message);

        QVERIFY(!QFile::exists(missing));
        QFile file(directory.filePath(QStringLiteral("messages.txt")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        static const QRegularExpression stamp(QStringLiteral("(?m)^\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d: "));
        const QString log = QString::fromLatin1(file.readAll()).replace(stamp, QStringLiteral("T "));
        QCOMPARE(
            log, QStringLiteral("T first\r\nT ") + QString::fromLatin1(written) + QStringLiteral("\r\n"));
    }

    void startUp_data()
    {
        QTest::addColumn<QString>("area");
        QTest::addColumn<Doubles>("stored");
        QTest::addColumn<Doubles>("rectangle");
        QTest::addColumn<double>("width"); // every area is half as high as it is wide
        QTest::newRow("empty store") << QString() << Doubles() << Doubles { 40.5, 40.5, -105, -105 } << 0.0;
        QTest::newRow("2x1 recentred as 1x0.5")
            << area1 << Doubles { 41, 40, -106, -104 } << Doubles { 40.75, 40.25, -105.5, -104.5 } << 1.0;
        QTest::newRow("2x1 clamped north and west")
            << QStringLiteral("2° (lon) by 1° (lat)") << Doubles { 89.75, 89.75, -179.5, -179.5 }
            << Doubles { 90, 89.25, -180, -178.5 } << 2.0;
        QTest::newRow("text appended, clamped south and east")
            << QStringLiteral("0.5° (lon) by 0.25° (lat) (large)") << Doubles { -89.9, -89.9, 179.8, 179.8 }
            << Doubles { -89.775, -90, 179.55, 180 } << 0.5;
        QTest::newRow("rounded to 5 decimals")
            << area025 << Doubles { 10.123456, 10.123456, 20.987654, 20.987654 }
            << Doubles { 10.18596, 10.06096, 20.86265, 21.11265 } << 0.25;
        QTest::newRow("leading blank names no area")
            << QLatin1Char(' ') + area1 << Doubles { 41, 40, -106, -104 }
            << Doubles { 40.5, 40.5, -105, -105 } << 0.0;
    }

    // The stored rectangle keeps its centre and takes the size of the stored
    // area; the spin boxes clamp and round.
    void startUp()
    {
        QFETCH(QString, area);
        QFETCH(Doubles, stored);
        QFETCH(Doubles, rectangle);
        QFETCH(double, width);
        if (!stored.isEmpty()) {
            SettingsStore::setDownloadRectangle(stored[0], stored[1], stored[2], stored[3]);
            SettingsStore::setDownloadArea(area);
            SettingsStore::setVerbose(true);
        }

        MainDialog dialog;
        QCOMPARE(spinBoxes(dialog, &QDoubleSpinBox::value), rectangle);
        QCOMPARE(
            spinBoxes(dialog, &QDoubleSpinBox::singleStep), (Doubles { width / 2, width / 2, width, width }));
        QVERIFY2(!dialog.isVerbose(), "verbose is read when a run starts, not at start-up");
    }

    // North and West drag South and East along at the stored area's size.
    void arrowKeysMoveRectangleBySize()
    {
        SettingsStore::setDownloadArea(area1);
        MainDialog dialog;
        QTest::keyClick(dialog.doubleSpinBoxNorth, Qt::Key_Up);
        QTest::keyClick(dialog.doubleSpinBoxWest, Qt::Key_Down);
        QCOMPARE(spinBoxes(dialog, &QDoubleSpinBox::value), (Doubles { 41.25, 40.75, -106.5, -105.5 }));
    }

    void settingsFromMainDialog_data() { acceptedOrCancelled(); }

    // Accepted settings resize the rectangle around its centre and read verbose;
    // cancelled ones change neither.
    void settingsFromMainDialog()
    {
        QFETCH(bool, accept);
        SettingsStore::setDownloadArea(area1);
        SettingsStore::setVerbose(true);
        MainDialog dialog;
        QVERIFY(answerModal<SettingsDialog>(
            [&](SettingsDialog* settings) {
                settings->comboBoxDownloadArea->setCurrentText(area025);
                settings->buttonBox->button(accept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)
                    ->click();
            },
            [&] { dialog.pushButtonSettings->click(); }));

        QCOMPARE(dialog.isVerbose(), accept);
        QCOMPARE(spinBoxes(dialog, &QDoubleSpinBox::value),
            (accept ? Doubles { 40.5625, 40.4375, -105.125, -104.875 }
                    : Doubles { 40.75, 40.25, -105.5, -104.5 }));
    }

    void settingsAcceptOrCancel_data() { acceptedOrCancelled(); }

    // Ok writes every field unchecked (minimum above maximum, blanks kept),
    // Cancel writes nothing; a reopened dialog shows what is stored.
    void settingsAcceptOrCancel()
    {
        QFETCH(bool, accept);
        const QVariantList chosen { 3, 1, QStringLiteral(" not/checked "), 900000, -500, true, true };
        SettingsDialog dialog;
        QCOMPARE(shown(dialog), defaults);
        dialog.comboBoxDownloadArea->setCurrentIndex(3);
        dialog.comboBoxElevationDataSource->setCurrentIndex(1);
        dialog.lineEditWorkingDirectory->setText(chosen[2].toString());
        dialog.spinBoxMinimum->setValue(900000);
        dialog.spinBoxMaximum->setValue(-500);
        dialog.checkBoxVerbose->setChecked(true);
        dialog.radioButtonPalette2->setChecked(true);
        dialog.buttonBox->button(accept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)->click();

        QCOMPARE(dialog.result(), int(accept ? QDialog::Accepted : QDialog::Rejected));
        QCOMPARE(QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka")).allKeys().isEmpty(), !accept);
        QCOMPARE(shown(SettingsDialog()), accept ? chosen : defaults);
    }

    // Stored texts must match an entry exactly; any palette but 2 is palette 1.
    void settingsUnmatchedStoredValuesFallBack()
    {
        SettingsStore::setDownloadArea(QStringLiteral("1° (lon)"));
        SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(2).toUpper());
        SettingsStore::setPaletteNumber(3);
        QCOMPARE(shown(SettingsDialog()), defaults);
    }

    void okRule_data()
    {
        QTest::addColumn<int>("storedArea");
        QTest::addColumn<int>("storedSource");
        QTest::addColumn<int>("area");
        QTest::addColumn<int>("source");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("2x1 chosen with NED 1/3") << 2 << 3 << 0 << 3 << false;
        QTest::newRow("NED 1/3 chosen with 2x1") << 0 << 4 << 0 << 3 << false;
        QTest::newRow("2x1 with NED 1") << 0 << 4 << 0 << 2 << true;
        QTest::newRow("1x0.5 with NED 1/3") << 2 << 3 << 1 << 3 << true;
        QTest::newRow("2x1 with NED 1/3 as stored") << 0 << 3 << 0 << 3 << true;
    }

    // Ok is refused for the largest area with the densest data, but only
    // after a combo box has changed: a stored combination still opens with Ok.
    void okRule()
    {
        QFETCH(int, storedArea);
        QFETCH(int, storedSource);
        QFETCH(int, area);
        QFETCH(int, source);
        QFETCH(bool, enabled);
        SettingsStore::setDownloadArea(SettingsStore::downloadAreas().at(storedArea));
        SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(storedSource));
        SettingsDialog dialog;
        QVERIFY(okEnabled(dialog));
        dialog.comboBoxDownloadArea->setCurrentIndex(area);
        dialog.comboBoxElevationDataSource->setCurrentIndex(source);
        QCOMPARE(okEnabled(dialog), enabled);

        dialog.comboBoxDownloadArea->setCurrentIndex(2);
        QVERIFY2(okEnabled(dialog), "another area enables Ok again");
    }

    void browse_data() { acceptedOrCancelled(); }

    // The chooser starts at the stored directory, not at the typed text; only
    // the text changes, and only when a directory is chosen.
    void browse()
    {
        QFETCH(bool, accept);
        QTemporaryDir stored;
        QTemporaryDir chosen;
        SettingsStore::setWorkingDirectory(stored.path());
        SettingsDialog dialog;
        dialog.lineEditWorkingDirectory->setText(QStringLiteral("typed"));
        QString start;
        QVERIFY(answerModal<QFileDialog>(
            [&](QFileDialog* chooser) {
                start = chooser->directory().absolutePath();
                chooser->setDirectory(chosen.path());
                accept ? chooser->QDialog::accept() : chooser->reject();
            },
            [&] { dialog.pushButtonBrowseWorkingDirectory->click(); }));

        QCOMPARE(start, stored.path());
        QCOMPARE(dialog.lineEditWorkingDirectory->text(), accept ? chosen.path() : QStringLiteral("typed"));
        QCOMPARE(SettingsStore::workingDirectory(), stored.path());
    }

    // The boxes of the program as real modal boxes, and the pressed button back.
    void modalMessageBox_data()
    {
        QTest::addColumn<MessageBoxes::Icon>("icon");
        QTest::addColumn<int>("buttons");
        QTest::addColumn<QMessageBox::Icon>("boxIcon");
        QTest::addColumn<int>("boxButtons");
        QTest::addColumn<QMessageBox::StandardButton>("pressed");
        QTest::addColumn<MessageBoxes::Button>("answer");
        QTest::newRow("question answered No")
            << MessageBoxes::Warning << int(MessageBoxes::Yes | MessageBoxes::No) << QMessageBox::Warning
            << int(QMessageBox::Yes | QMessageBox::No) << QMessageBox::No << MessageBoxes::No;
        QTest::newRow("error") << MessageBoxes::Critical << int(MessageBoxes::Ok) << QMessageBox::Critical
                               << int(QMessageBox::Ok) << QMessageBox::Ok << MessageBoxes::Ok;
        QTest::newRow("Ignore or Abort")
            << MessageBoxes::Information << int(MessageBoxes::Ignore | MessageBoxes::Abort)
            << QMessageBox::Information << int(QMessageBox::Ignore | QMessageBox::Abort)
            << QMessageBox::Ignore << MessageBoxes::Ignore;
    }

    void modalMessageBox()
    {
        QFETCH(MessageBoxes::Icon, icon);
        QFETCH(int, buttons);
        QFETCH(QMessageBox::StandardButton, pressed);
        QWidget parent;
        QVariantList shown;
        MessageBoxes::Button answer = MessageBoxes::NoButton;
        QVERIFY(answerModal<QMessageBox>(
            [&](QMessageBox* box) {
                shown = { box->icon(), int(box->standardButtons()), box->windowTitle(), box->text(),
                    box->parentWidget() == &parent };
                box->button(pressed)->click();
            },
            [&] {
                answer = ModalMessageBox::show(icon, &parent, QStringLiteral("Title"), QStringLiteral("Text"),
                    MessageBoxes::Buttons::fromInt(buttons));
            }));
        QFETCH(QMessageBox::Icon, boxIcon);
        QFETCH(int, boxButtons);
        QCOMPARE(shown, (QVariantList { boxIcon, boxButtons, "Title", "Text", true }));
        QTEST(answer, "answer");
    }

    // The window's wiring to its run, against the simulator: a geocoded
    // rectangle, a whole run, the state after it and a cancelled run.
    void windowDrivesTheRun()
    {
        SimProcess sim({ QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(sim.isRunning());
        for (const char* variable : { "RELKA_ELEVATION_SERVER", "RELKA_TILE_SERVER", "RELKA_GEOCODER" })
            qputenv(variable, sim.url(QString()).authority().toLatin1());
        QTemporaryDir work;
        SettingsStore::setWorkingDirectory(work.path());
        SettingsStore::setDownloadArea(area025);
        SettingsStore::setElevationDataSource(SettingsStore::elevationDataSources().at(0));
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

        dialog.lineEditAddress->setText(QStringLiteral("1600 Pennsylvania Avenue, Washington, DC"));
        dialog.pushButtonGeocode->click();
        QVERIFY(!idle());
        QVERIFY(QTest::qWaitFor(idle, 30000));
        QCOMPARE(spinBoxes(dialog, &QDoubleSpinBox::value),
            (Doubles { 38.96020, 38.83520, -77.16150, -76.91150 }));
        QVERIFY(dialog.pushButtonDownload->isDefault());

        dialog.doubleSpinBoxNorth->setValue(40.25);
        dialog.doubleSpinBoxWest->setValue(-106);
        dialog.pushButtonDownload->click();
        QCOMPARE(dialog.labelTextureFile->text(), QStringLiteral("Waiting for texture file..."));
        QVERIFY(!dialog.pushButtonDownload->isEnabled() && dialog.pushButtonCancel->isEnabled());
        QCOMPARE(dialog.progressBarOverall->maximum(), 0);
        QVERIFY(QTest::qWaitFor([&] { return !boxes.isEmpty(); }, 300000));
        QCOMPARE(boxes, QStringList { QStringLiteral("Download and post processing finished!") });
        QVERIFY(idle() && dialog.pushButtonGeocode->isDefault() && dialog.lineEditAddress->hasFocus());
        for (QProgressBar* bar : dialog.findChildren<QProgressBar*>())
            QCOMPARE(bar->value(), bar->maximum());
        QVERIFY(!dialog.labelElevationFile->pixmap().isNull() && !dialog.labelTextureFile->pixmap().isNull());
        QVERIFY(dialog.labelElevationFile->pixmap().width() <= dialog.labelElevationFile->width());

        // relka-run makes the same files.
        QTemporaryDir elsewhere;
        QProcess command;
        command.setStandardOutputFile(QProcess::nullDevice());
        command.start(QStringLiteral(RELKA_BINARY_DIR "/run/relka-run"),
            { "--north", "40.25", "--west", "-106", "--area", "0.25", "--source", "srtm3", "--workdir",
                elsewhere.path() });
        QVERIFY(QTest::qWaitFor([&] { return command.state() == QProcess::NotRunning; }, 300000));
        QCOMPARE(command.exitCode(), 0);
        for (const char* result : { "-el-corr.png", "-el-col-scaled.png" }) {
            const QString name = QStringLiteral("/40.25000N-40.12500S_-106.00000W--105.75000E") + result;
            QFile window(work.path() + name);
            QFile commandLine(elsewhere.path() + name);
            QVERIFY(window.open(QIODevice::ReadOnly) && commandLine.open(QIODevice::ReadOnly));
            QVERIFY2(window.readAll() == commandLine.readAll(), result);
        }

        // A rectangle not yet prepared, cancelled at once: the waiting texts go.
        MainDialog fresh;
        fresh.show();
        fresh.doubleSpinBoxNorth->setValue(41.25);
        fresh.pushButtonDownload->click();
        fresh.pushButtonCancel->click();
        QVERIFY(fresh.labelElevationFile->text().isEmpty() && fresh.labelTextureFile->text().isEmpty());
        QCOMPARE(fresh.progressBarOverall->value(), 1);
        MessageBoxes::setHandler({});
    }
};

QTEST_MAIN(TestApp)
#include "tst_App.moc"
