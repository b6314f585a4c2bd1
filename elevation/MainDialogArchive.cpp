// MainDialog: unpacking the archive and handing the raster to the import,
// the end of the elevation branch.
#include "app/MainDialog.h"

#include "app/SettingsStore.h"
#include "bil/BilImport.h"
#include "elevation/ArchiveExtractor.h"

void MainDialog::slotCreateBIL()
{
    // A timer of a cancelled run.
    if (seamlessAborted)
        return;
    ArchiveExtractor::removeOldSideFiles(SettingsStore::workingDirectory());
    const QString archive = baseFileName + QStringLiteral(".zip");
    // The window stays live while a large raster is unpacked, and Cancel
    // ends the unpacking.
    const bool unpacked = ArchiveExtractor::extract(archive, baseFileName, [this] {
        QCoreApplication::processEvents();
        return !seamlessAborted;
    });
    if (!unpacked)
        return;
    progressBarExtracting->setValue(progressBarExtracting->maximum());
    QCoreApplication::processEvents();

    if (ArchiveExtractor::rasterExtracted(baseFileName)) {
        BilImport import(baseFileName, progressBarCreatingElevationImage, progressBarCorrectingElevationImage,
            progressBarColoringElevation, labelElevationFile, elevationImage, this);
        import.importBil();
    } else {
        addMessage(
            tr("Seamless error: Could not create BIL file from \"%1\": \"%2\" or/and \"%3\" not found.")
                .arg(archive, baseFileName + QStringLiteral(".bil"), baseFileName + QStringLiteral(".hdr")));
    }
    // Cancelled during the import.
    if (seamlessAborted)
        return;
    labelHTMLMessage->clear();
    seamlessFinished = true;
    if (openStreetMapFinished) {
        if (verbose)
            addMessage(tr("seamlessHttpRequestFinished(): calling mergeFiles()."));
        mergeFiles();
    }
}
