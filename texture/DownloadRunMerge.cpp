// DownloadRun: merging the elevation colours into the texture, the end of a
// run.
#include "run/DownloadRun.h"

#include "app/MessageLog.h"
#include "http/HttpClient.h"
#include "texture/TextureMerge.h"
#include "util/BackgroundWork.h"

#include <QSaveFile>

bool DownloadRun::mergeFiles()
{
    if (verbose)
        MessageLog::append(tr("mergeFiles(): Merging color file and OpenStreetMap file."));
    const QString colourFile = baseFileName + QStringLiteral("-el-col.png");
    const QString textureFile = baseFileName + QStringLiteral(".png");
    // The large loads and the save run beside the event loop; a cancel in
    // the meantime ends the merge.
    const auto cancelled = [this] { return seamlessAborted || openStreetMapAborted; };
    const QImage colours = BackgroundWork::run([&colourFile] { return QImage(colourFile); });
    if (cancelled())
        return false;
    if (colours.isNull()) {
        MessageLog::append(tr("Seamless error: Could not open file %1").arg(colourFile));
        return false;
    }
    const QImage texture = BackgroundWork::run([&textureFile] { return QImage(textureFile); });
    if (cancelled())
        return false;
    if (texture.isNull()) {
        MessageLog::append(tr("Seamless error: Could not open file %1").arg(textureFile));
        return false;
    }

    // The scaling and the rows run beside the event loop as well. The bars
    // were only ever painted at their ends, as no events ran in between.
    const QImage merged = BackgroundWork::run([&colours, &texture] {
        TextureMerge merge(colours, texture);
        for (int y = 0; y < merge.height(); ++y)
            merge.mergeRow(y);
        return merge.result();
    });
    if (cancelled())
        return false;
    emit stageCompleted(Stage::ScalingElevation);
    setStage(Stage::Merging, merged.height(), merged.height());

    const QString combinedFile = baseFileName + QStringLiteral("-el-col-scaled.png");
    MessageLog::append(tr("Seamless: Saving file %1.").arg(combinedFile));
    emit savingChanged(true);
    // Qt's writer keeps this file smallest; a save file keeps it whole or absent.
    const bool saved = BackgroundWork::run([&merged, &combinedFile] {
        QSaveFile file(combinedFile);
        return file.open(QIODevice::WriteOnly) && merged.save(&file, "PNG") && file.commit();
    });
    emit savingChanged(false);
    if (!saved) {
        MessageLog::append(tr("Seamless: Could not save file %1.").arg(combinedFile));
        return false;
    }
    if (cancelled())
        return false;
    showPreview(Preview::Texture, merged);
    if (!writeAdditionalOutputs())
        return false;
    if (openStreetMapHttp->hasPendingRequests())
        openStreetMapHttp->clearPendingRequests();
    if (seamlessHttp->hasPendingRequests())
        seamlessHttp->clearPendingRequests();
    success();
    return true;
}
