// DownloadRun: stitching the tiles into the texture and re-colouring it.
#include "run/DownloadRun.h"

#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "image/PngWriter.h"
#include "texture/TextureRecolouring.h"
#include "texture/TileList.h"
#include "texture/TileMosaic.h"
#include "util/BackgroundWork.h"

#include <QCoreApplication>

void DownloadRun::slotTileOpenStreetMapFiles()
{
    // A timer of a cancelled run.
    if (openStreetMapAborted)
        return;
    setStage(Stage::DownloadingSingleTiles, int(tiles.size()), int(tiles.size()));
    QCoreApplication::processEvents();

    const std::optional<QRect> bounds = TileMosaic::bounds(tiles);
    if (!bounds) {
        MessageLog::append(tr("OpenStreetMap error: The rectangle covers no tile, so there is no texture."));
    } else {
        MessageLog::append(tr("OpenStreetMap: Tiling, total file size = %1 x %2 pixels")
                               .arg(bounds->width())
                               .arg(bounds->height()));
        // Filling a canvas of a few hundred megapixels takes a while.
        TileMosaic mosaic = BackgroundWork::run([&bounds] { return TileMosaic(*bounds); });
        // Events run between the tiles; the list they work on stays this one.
        const QList<Tile> stitched = tiles;
        for (int k = 0; k < stitched.size(); ++k) {
            setStage(Stage::Tiling, k + 1, int(stitched.size()));
            const QString fileName = TileList::fileName(SettingsStore::workingDirectory(), stitched[k]);
            const QImage tile(fileName);
            if (tile.isNull())
                MessageLog::append(tr("OpenStreetMap error: Could not load %1 for tiling.").arg(fileName));
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
        MessageLog::append(tr("OpenStreetMap: Saving %1.").arg(textureFile));
        const QImage& texture = mosaic.image();
        showPreview(Preview::Texture, texture);
        QCoreApplication::processEvents();
        emit savingChanged(true);
        if (!BackgroundWork::run([&texture, &textureFile] {
                return PngWriter::save(texture, textureFile, PngWriter::Content::Picture);
            }))
            MessageLog::append(tr("OpenStreetMap error: Could not save %1.").arg(textureFile));
        emit savingChanged(false);
        if (openStreetMapAborted)
            return;
    }
    openStreetMapFinished = true;
    joinBranches(QStringLiteral("openStreetMapHttpRequestFinished"));
}

// False when the run was cancelled in the middle.
bool DownloadRun::postProcessOpenStreetMapImage(QImage& image)
{
    image.convertTo(QImage::Format_RGB888);
    MessageLog::append(tr("OpenStreetMap: Post processing downloaded image."));
    for (int y = 0; y < image.height(); ++y) {
        setStage(Stage::PostProcessing, y + 1, image.height());
        TextureRecolouring::recolourRow(image, y);
        QCoreApplication::processEvents();
        if (openStreetMapAborted)
            return false;
    }
    return true;
}
