#include "SettingsDialog.h"

#include "app/SettingsStore.h"
#include "output/OutputChoice.h"

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
    const QStringList outputs = SettingsStore::additionalOutputs();
    for (int index = 0; index < OutputChoice::names().size(); ++index)
        outputCheckBoxes().at(index)->setChecked(outputs.contains(OutputChoice::names().at(index)));
    comboBoxEngine->addItems(EnginePreset::displayNames());
    comboBoxEngine->setCurrentIndex(
        std::max<int>(int(EnginePreset::names().indexOf(SettingsStore::heightmapEngine())), 0));
    comboBoxEngine->setEnabled(checkBoxHeightmap->isChecked());
    connect(checkBoxHeightmap, &QCheckBox::toggled, comboBoxEngine, &QComboBox::setEnabled);

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
    QStringList outputs;
    for (int index = 0; index < OutputChoice::names().size(); ++index)
        if (outputCheckBoxes().at(index)->isChecked())
            outputs << OutputChoice::names().at(index);
    SettingsStore::setAdditionalOutputs(outputs);
    SettingsStore::setHeightmapEngine(EnginePreset::names().at(comboBoxEngine->currentIndex()));
    QDialog::accept();
}

QList<QCheckBox*> SettingsDialog::outputCheckBoxes() const
{
    return { checkBoxGeoTiff, checkBoxWorldFiles, checkBoxHeightmap, checkBoxHillshade, checkBoxNormalMap };
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
