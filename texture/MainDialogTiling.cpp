// MainDialog: stitching the tiles into the texture and re-colouring it.
#include "app/MainDialog.h"

#include "app/SettingsStore.h"
#include "image/PngWriter.h"
#include "texture/TextureRecolouring.h"
#include "texture/TileList.h"
#include "texture/TileMosaic.h"
#include "util/BackgroundWork.h"

void MainDialog::slotTileOpenStreetMapFiles()
{
    // A timer of a cancelled run.
    if (openStreetMapAborted)
        return;
    progressBarDownloadingSingleTiles->setMaximum(int(tiles.size()));
    progressBarDownloadingSingleTiles->setValue(int(tiles.size()));
    QCoreApplication::processEvents();

    const std::optional<QRect> bounds = TileMosaic::bounds(tiles);
    if (!bounds) {
        addMessage(tr("OpenStreetMap error: The rectangle covers no tile, so there is no texture."));
    } else {
        addMessage(tr("OpenStreetMap: Tiling, total file size = %1 x %2 pixels")
                       .arg(bounds->width())
                       .arg(bounds->height()));
        TileMosaic mosaic(*bounds);
        // Events run between the tiles; the list they work on stays this one.
        const QList<Tile> stitched = tiles;
        progressBarTiling->setMaximum(int(stitched.size()));
        for (int k = 0; k < stitched.size(); ++k) {
            progressBarTiling->setValue(k + 1);
            const QString fileName = TileList::fileName(SettingsStore::workingDirectory(), stitched[k]);
            const QImage tile(fileName);
            if (tile.isNull())
                addMessage(tr("OpenStreetMap error: Could not load %1 for tiling.").arg(fileName));
            else
                mosaic.paste(stitched[k], tile);
            QCoreApplication::processEvents();
            if (openStreetMapAborted)
                return;
        }
        QCoreApplication::processEvents();
        if (!postProcessOpenStreetMapImage(mosaic.image()))
            return;

        const QString textureFile = baseFileName + QStringLiteral(".png");
        addMessage(tr("OpenStreetMap: Saving %1.").arg(textureFile));
        const QImage& texture = mosaic.image();
        // The full-size texture is scaled beside the event loop; showPreview
        // then finds an image that already fits the label and keeps it.
        const QSize labelSize = labelTextureFile->size();
        const QImage fitted = BackgroundWork::run([&texture, labelSize] {
            return texture.scaled(labelSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        });
        showPreview(labelTextureFile, fitted, texturePreview);
        QCoreApplication::processEvents();
        setCursor(Qt::WaitCursor);
        if (!BackgroundWork::run([&texture, &textureFile] {
                return PngWriter::save(texture, textureFile, PngWriter::Content::Picture);
            }))
            addMessage(tr("OpenStreetMap error: Could not save %1.").arg(textureFile));
        setCursor(Qt::ArrowCursor);
        if (openStreetMapAborted)
            return;
    }
    openStreetMapFinished = true;
    if (seamlessFinished) {
        if (verbose)
            addMessage(tr("openStreetMapHttpRequestFinished(): calling mergeFiles()."));
        mergeFiles();
    }
}

// False when the run was cancelled in the middle.
bool MainDialog::postProcessOpenStreetMapImage(QImage& image)
{
    image.convertTo(QImage::Format_RGB888);
    addMessage(tr("OpenStreetMap: Post processing downloaded image."));
    progressBarPostProcessing->setMaximum(image.height());
    for (int y = 0; y < image.height(); ++y) {
        progressBarPostProcessing->setValue(y + 1);
        TextureRecolouring::recolourRow(image, y);
        QCoreApplication::processEvents();
        if (openStreetMapAborted)
            return false;
    }
    return true;
}
