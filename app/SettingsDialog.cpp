#include "SettingsDialog.h"

#include "app/SettingsStore.h"

#include <QFileDialog>
#include <QPushButton>

namespace {

// A stored text that matches no entry leaves the first entry selected.
void selectText(QComboBox* comboBox, const QString& text)
{
    if (text.isEmpty())
        return;
    const int index = comboBox->findData(text, Qt::DisplayRole, Qt::MatchCaseSensitive);
    if (index >= 0)
        comboBox->setCurrentIndex(index);
}

} // namespace

SettingsDialog::SettingsDialog(QWidget* parent)
    : QDialog(parent)
{
    setupUi(this);
    comboBoxDownloadArea->addItems(SettingsStore::downloadAreas());
    comboBoxElevationDataSource->addItems(SettingsStore::elevationDataSources());

    selectText(comboBoxDownloadArea, SettingsStore::downloadArea());
    selectText(comboBoxElevationDataSource, SettingsStore::elevationDataSource());
    lineEditWorkingDirectory->setText(SettingsStore::workingDirectory());
    spinBoxMinimum->setValue(SettingsStore::paletteMinimum());
    spinBoxMaximum->setValue(SettingsStore::paletteMaximum());
    checkBoxVerbose->setChecked(SettingsStore::verbose());
    (SettingsStore::paletteNumber() == 2 ? radioButtonPalette2 : radioButtonPalette1)->setChecked(true);

    // Connected only now, so a stored forbidden combination still opens with
    // Ok enabled.
    connect(pushButtonBrowseWorkingDirectory, &QPushButton::clicked, this,
        &SettingsDialog::browseWorkingDirectory);
    connect(
        comboBoxDownloadArea, &QComboBox::currentIndexChanged, this, &SettingsDialog::currentIndexChanged);
    connect(comboBoxElevationDataSource, &QComboBox::currentIndexChanged, this,
        &SettingsDialog::currentIndexChanged);
}

void SettingsDialog::accept()
{
    SettingsStore::setDownloadArea(comboBoxDownloadArea->currentText());
    SettingsStore::setElevationDataSource(comboBoxElevationDataSource->currentText());
    SettingsStore::setWorkingDirectory(lineEditWorkingDirectory->text());
    SettingsStore::setVerbose(checkBoxVerbose->isChecked());
    SettingsStore::setPaletteNumber(radioButtonPalette2->isChecked() ? 2 : 1);
    SettingsStore::setPaletteMinimum(spinBoxMinimum->value());
    SettingsStore::setPaletteMaximum(spinBoxMaximum->value());
    QDialog::accept();
}

void SettingsDialog::browseWorkingDirectory()
{
    const QString directory = QFileDialog::getExistingDirectory(this, tr("Open Directory"),
        SettingsStore::workingDirectory(), QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    if (!directory.isEmpty())
        lineEditWorkingDirectory->setText(directory);
}

void SettingsDialog::currentIndexChanged()
{
    const bool forbidden = comboBoxDownloadArea->currentText().contains(SettingsStore::downloadAreas().at(0))
        && comboBoxElevationDataSource->currentText().startsWith(SettingsStore::elevationDataSources().at(3));
    buttonBox->button(QDialogButtonBox::Ok)->setEnabled(!forbidden);
}
