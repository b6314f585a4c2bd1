// DownloadRun: unpacking the archive and handing the raster to the import,
// the end of the elevation branch.
#include "run/DownloadRun.h"

#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "bil/BilImport.h"
#include "elevation/ArchiveExtractor.h"

#include <QCoreApplication>
#include <QLockFile>

void DownloadRun::slotCreateBIL()
{
    // A timer of a cancelled run.
    if (seamlessAborted)
        return;
    ArchiveExtractor::removeOldSideFiles(SettingsStore::workingDirectory());
    lockRaster();
    const QString archive = baseFileName + QStringLiteral(".zip");
    // The window stays live while a large raster is unpacked, and Cancel
    // ends the unpacking.
    const bool unpacked = ArchiveExtractor::extract(archive, baseFileName, [this] {
        QCoreApplication::processEvents();
        return !seamlessAborted;
    });
    if (!unpacked)
        return;
    emit stageCompleted(Stage::Extracting);
    QCoreApplication::processEvents();

    if (ArchiveExtractor::rasterExtracted(baseFileName)) {
        BilImport import(baseFileName, elevationPreviewSize);
        connect(&import, &BilImport::progressChanged, this,
            [this](ImportFeedback::Stage stage, int value, int maximum) {
                setStage(stage == ImportFeedback::Stage::Reading     ? Stage::CreatingElevationImage
                        : stage == ImportFeedback::Stage::Correcting ? Stage::CorrectingElevationImage
                                                                     : Stage::ColoringElevation,
                    value, maximum);
            });
        connect(&import, &BilImport::previewReady, this,
            [this](const QImage& preview) { emit previewChanged(Preview::Elevation, preview); });
        connect(&import, &BilImport::savingChanged, this, &DownloadRun::savingChanged);
        import.importBil();
    } else {
        MessageLog::append(
            tr("Seamless error: Could not create BIL file from \"%1\": \"%2\" or/and \"%3\" not found.")
                .arg(archive, baseFileName + QStringLiteral(".bil"), baseFileName + QStringLiteral(".hdr")));
    }
    // Cancelled during the import.
    if (seamlessAborted)
        return;
    emit pageShown(QString());
    seamlessFinished = true;
    joinBranches(QStringLiteral("seamlessHttpRequestFinished"));
}

// Other runs in the working directory keep their hands off the raster files
// while this run needs them; a lock left by a killed run counts for nothing.
void DownloadRun::lockRaster()
{
    rasterLock = std::make_unique<QLockFile>(baseFileName + QStringLiteral(".lock"));
    rasterLock->setStaleLockTime(0);
    rasterLock->tryLock(0);
}
