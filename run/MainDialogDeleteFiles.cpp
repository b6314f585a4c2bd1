// MainDialog: removing the intermediate files of the rectangle on show.
#include "app/MainDialog.h"

#include "app/SettingsStore.h"
#include "run/IntermediateFiles.h"
#include "run/WorkFileName.h"

#include <QFile>

void MainDialog::slotDeleteFiles()
{
    const QList<QWidget*> controls { pushButtonDeleteFiles, pushButtonDownload, pushButtonGeocode,
        pushButtonSettings, doubleSpinBoxNorth, doubleSpinBoxSouth, doubleSpinBoxEast, doubleSpinBoxWest,
        lineEditAddress };
    for (QWidget* control : controls)
        control->setEnabled(false);
    pushButtonCancel->setEnabled(false);

    createOpenStreetMapTileList();
    const QString workingDirectory = SettingsStore::workingDirectory();
    const QString baseName = WorkFileName::baseFileName(workingDirectory, doubleSpinBoxNorth->value(),
        doubleSpinBoxSouth->value(), doubleSpinBoxWest->value(), doubleSpinBoxEast->value());
    for (const QString& file : IntermediateFiles::of(workingDirectory, baseName, tiles))
        QFile::remove(file);

    // South and East stay editable until the next deletion or run.
    for (QWidget* control : controls)
        control->setEnabled(true);
}
