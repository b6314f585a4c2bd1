// DownloadRun: the texture branch's tile list and tile download.
#include "run/DownloadRun.h"

#include "app/DownloadArea.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "http/HttpClient.h"
#include "http/ReplyDebugFile.h"
#include "texture/TileImage.h"
#include "texture/TileList.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QSaveFile>
#include <QTimer>

#include <algorithm>

bool DownloadRun::createOpenStreetMapTileList()
{
    const int zoom = TileList::zoomForAreaWidth(DownloadArea::width(SettingsStore::downloadArea()));
    tiles = TileList::covering(area.west, area.east, area.north, area.south, zoom);
    return true;
}

void DownloadRun::downloadOpenStreetMap()
{
    createOpenStreetMapTileList();
    const ServiceEndpoint server = ServiceEndpoint::tileServer();
    int found = 0;
    // Replies to earlier tiles are handled while the later ones are checked.
    for (int i = 0; i < tiles.size() && !openStreetMapAborted; ++i) {
        const QString fileName = TileList::fileName(SettingsStore::workingDirectory(), tiles[i]);
        if (verbose)
            MessageLog::append(tr("OpenStreetMap: Checking %2").arg(fileName));
        if (!QImage(fileName).isNull()) {
            ++found;
            tiles[i].done = true;
        } else {
            const QString path = TileList::requestPath(tiles[i]);
            const QString url = QStringLiteral("http://") + server.authority() + path;
            openStreetMapAborted = false;
            MessageLog::append(tr("OpenStreetMap: Downloading %1").arg(url));
            openStreetMapHttp->setHost(server.host(), server.port());
            tiles[i].requestId = requests.issue(*openStreetMapHttp, path, url);
        }
        QCoreApplication::processEvents();
    }
    if (openStreetMapAborted) {
        openStreetMapFinished = true;
        cancelDownload();
        return;
    }
    if (found != tiles.size())
        return;
    openStreetMapFinished = true;
    slotTileOpenStreetMapFiles();
    joinBranches(QStringLiteral("downloadOpenStreetMap"));
}

void DownloadRun::openStreetMapHttpReadResponseHeader(const HttpResponseHeader& responseHeader)
{
    if (isAcceptedStatus(responseHeader.statusCode()))
        return;
    const QString message
        = tr("OpenStreetMap error: Download failed: %1.").arg(responseHeader.reasonPhrase());
    MessageLog::append(message);
    emit errorShown(message);
    openStreetMapAborted = true;
    openStreetMapHttp->abort();
}

void DownloadRun::openStreetMapHttpRequestFinished(int requestId, bool error)
{
    const RequestRegistry::Record request
        = requests.accept(RequestRegistry::Handler::OpenStreetMap, requestId, error, verbose);
    if (!request)
        return;
    if (!isReplyForRunningBranch(*request, *openStreetMapHttp, RequestRegistry::Handler::OpenStreetMap,
            requestId, error, openStreetMapAborted, openStreetMapFinished))
        return;
    const auto tile = std::find_if(
        tiles.cbegin(), tiles.cend(), [requestId](const Tile& tile) { return tile.requestId == requestId; });
    if (tile == tiles.cend()) {
        request->releaseBuffer();
        return;
    }
    if (openStreetMapAborted) {
        endAbortedBranch(openStreetMapFinished);
        return;
    }
    request->buffer->close();
    const QByteArray body = request->buffer->data();
    request->releaseBuffer();
    saveTile(int(tile - tiles.cbegin()), body);
}

void DownloadRun::saveTile(int index, const QByteArray& body)
{
    const QString workingDirectory = SettingsStore::workingDirectory();
    const QString fileName = TileList::fileName(workingDirectory, tiles[index]);
    if (body.contains("Error"))
        ReplyDebugFile::append(workingDirectory, ReplyDebugFile::OpenStreetMap, body);
    const bool decoded = !TileImage::decode(body).isNull();
    if (!decoded)
        MessageLog::append(tr("OpenStreetMap error: Could not load image from buffer."));
    setStage(Stage::DownloadingSingleTiles, index + 1, int(tiles.size()));
    QCoreApplication::processEvents();
    // A body that decodes is a PNG already: it is stored as it came, which
    // keeps every pixel without encoding the tile again. The tile takes its
    // name only once it is written in full.
    QSaveFile file(fileName);
    if (!decoded || !file.open(QIODevice::WriteOnly) || file.write(body) != body.size() || !file.commit()) {
        MessageLog::append(tr("OpenStreetMap error: Could not save image %1.").arg(fileName));
    } else if (verbose) {
        MessageLog::append(tr("OpenStreetMap: Image %1 saved.").arg(fileName));
    }
    // A cancel and a new run inside the event processing above may have
    // replaced the list.
    if (index >= tiles.size())
        return;
    tiles[index].done = true;
    if (std::all_of(tiles.cbegin(), tiles.cend(), [](const Tile& tile) { return tile.done; }))
        QTimer::singleShot(1000, this, &DownloadRun::slotTileOpenStreetMapFiles);
}

void DownloadRun::openStreetMapHttpSslErrors(const QList<QSslError>& errors)
{
    if (sslErrorsIgnored(errors))
        openStreetMapHttp->ignoreSslErrors();
}
