// DownloadRun: starting, cancelling, joining and finishing a download run.
#include "run/DownloadRun.h"

#include "app/DownloadArea.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "http/HttpClient.h"
#include "output/AdditionalOutputs.h"
#include "run/IntermediateFiles.h"
#include "run/WorkFileName.h"
#include "util/BackgroundWork.h"

#include <QCoreApplication>
#include <QFile>
#include <QLockFile>
#include <QTimer>

#include <cmath>

namespace {

QString significant(double value) { return QString::number(value, 'g', 6); }

} // namespace

DownloadRun::DownloadRun(QObject* parent)
    : QObject(parent)
    , openStreetMapHttp(new HttpClient(this))
    , seamlessHttp(new HttpClient(this))
    , geocodeHttp(new HttpClient(this))
{
    connect(openStreetMapHttp, &HttpClient::requestFinished, this,
        &DownloadRun::openStreetMapHttpRequestFinished);
    connect(seamlessHttp, &HttpClient::requestFinished, this, &DownloadRun::seamlessHttpRequestFinished);
    connect(geocodeHttp, &HttpClient::requestFinished, this, &DownloadRun::geocodeRequestFinished);
    connect(
        seamlessHttp, &HttpClient::dataReadProgress, this, &DownloadRun::seamlessHttpUpdateDataReadProgress);
    connect(seamlessHttp, &HttpClient::responseHeaderReceived, this,
        &DownloadRun::seamlessHttpReadResponseHeader);
    connect(openStreetMapHttp, &HttpClient::responseHeaderReceived, this,
        &DownloadRun::openStreetMapHttpReadResponseHeader);
    connect(openStreetMapHttp, &HttpClient::sslErrors, this, &DownloadRun::openStreetMapHttpSslErrors);
    connect(seamlessHttp, &HttpClient::sslErrors, this, &DownloadRun::seamlessHttpSslErrors);
}

DownloadRun::~DownloadRun() = default;

void DownloadRun::setPreviewSizes(const QSize& elevation, const QSize& texture)
{
    elevationPreviewSize = elevation;
    texturePreviewSize = texture;
}

void DownloadRun::setTransferTimeout(int milliseconds)
{
    for (HttpClient* client : { openStreetMapHttp, seamlessHttp, geocodeHttp })
        client->setTransferTimeout(milliseconds);
}

void DownloadRun::downloadFiles()
{
    const QString source = SettingsStore::elevationDataSource();
    const QString areaText = SettingsStore::downloadArea();
    const auto [north, south, west, east] = area;
    SettingsStore::setDownloadRectangle(north, south, west, east);
    MessageLog::append(tr("Begin download: %1").arg(source));
    MessageLog::append(tr("                %1").arg(areaText));
    MessageLog::append(
        tr("                %1, %2, %3, %4")
            .arg(significant(north), significant(south), significant(west), significant(east)));

    emit busyChanged(true);
    setStageBarsToZero();
    rasterLock.reset();
    baseFileName = WorkFileName::baseFileName(SettingsStore::workingDirectory(), north, south, west, east);
    emit resultsAwaited();
    QCoreApplication::processEvents();

    const QImage elevationResult(baseFileName + QStringLiteral("-el-corr.png"));
    if (!elevationResult.isNull()) {
        // Degrees of longitude are shorter than degrees of latitude by cos(φ).
        const double latitude = (north + south) * 0.5;
        const int width = int(elevationResult.width() * std::cos(latitude / 180.0 * M_PI));
        showPreview(Preview::Elevation,
            elevationResult.scaled(
                width, elevationResult.height(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        const QImage textureResult(baseFileName + QStringLiteral("-el-col-scaled.png"));
        if (!textureResult.isNull()) {
            showPreview(Preview::Texture, textureResult);
            success();
            return;
        }
    }

    seamlessUrl.clear();
    seamlessFinished = false;
    openStreetMapFinished = false;
    seamlessAborted = false;
    openStreetMapAborted = false;
    emit controlsLocked(true);
    verbose = SettingsStore::verbose();
    requests.clear();
    downloadOpenStreetMap();
    downloadSeamless();
}

bool DownloadRun::isAcceptedStatus(int status)
{
    return status == 200 || status == 301 || status == 302 || status == 303 || status == 307;
}

// Idempotent: it runs again from the handlers of the clients it aborts.
void DownloadRun::cancelDownload()
{
    emit busyChanged(false);
    // Each flag is set before the abort: the aborted request's handler runs
    // inside abort() and must see it.
    openStreetMapAborted = true;
    openStreetMapHttp->abort();
    seamlessAborted = true;
    seamlessHttp->abort();
    geocodeAborted = true;
    geocodeHttp->abort();
    seamlessFinished = true;
    openStreetMapFinished = true;
    geocodeFinished = true;
    emit controlsLocked(false);
    setStageBarsToZero();
    rasterLock.reset();
    emit cancelled();
}

void DownloadRun::endAbortedBranch(bool& branchFinished)
{
    branchFinished = true;
    cancelDownload();
    requests.clear();
}

bool DownloadRun::isReplyForRunningBranch(Request& request, const HttpClient& client,
    RequestRegistry::Handler handler, int requestId, bool error, bool branchAborted, bool& branchFinished)
{
    if (error) {
        qDebug() << client.errorString();
        const bool oversized = isOversized(handler, request);
        request.releaseBuffer();
        if (branchAborted || oversized)
            endAbortedBranch(branchFinished);
        else
            emit stalled();
        return false;
    }
    if (seamlessFinished && openStreetMapFinished) {
        if (verbose)
            MessageLog::append(RequestRegistry::handlerName(handler)
                + tr("(%1, %2): Seamless and OpenStreetMap download already finished.")
                      .arg(requestId)
                      .arg(0));
        request.releaseBuffer();
        return false;
    }
    return true;
}

bool DownloadRun::isArchiveUrl(const QString& url)
{
    return url.right(4).compare(QLatin1String(".zip"), Qt::CaseInsensitive) == 0;
}

bool DownloadRun::isOversized(RequestRegistry::Handler handler, const Request& request)
{
    if (!request.overflowed())
        return false;
    QString source = QStringLiteral("geocode");
    if (handler == RequestRegistry::Handler::Seamless)
        source = QStringLiteral("Seamless");
    else if (handler == RequestRegistry::Handler::OpenStreetMap)
        source = QStringLiteral("OpenStreetMap");
    MessageLog::append(tr("%1 error: The answer to %2 is larger than %3 bytes; download aborted.")
                           .arg(source, request.url, QString::number(Request::bodyLimit)));
    return true;
}

void DownloadRun::joinBranches(const QString& caller)
{
    if (!seamlessFinished || !openStreetMapFinished)
        return;
    if (verbose)
        MessageLog::append(tr("%1(): calling mergeFiles().").arg(caller));
    if (!mergeFiles() && !seamlessAborted && !openStreetMapAborted)
        emit stalled();
}

void DownloadRun::success()
{
    MessageLog::append(tr("         ********* SUCCESS *********"));
    MessageLog::append(
        tr("Elevation file %1 successfully created.").arg(baseFileName + QStringLiteral("-el-corr.png")));
    MessageLog::append(
        tr("Texture file %1 successfully created.").arg(baseFileName + QStringLiteral("-el-col-scaled.png")));
    emit controlsLocked(false);
    rasterLock.reset();
    emit busyChanged(false);
    for (int stage = 0; stage < stageCount; ++stage)
        emit stageCompleted(Stage(stage));
    emit succeeded();
    MessageBoxes::show(
        MessageBoxes::Information, nullptr, tr("relka"), tr("Download and post processing finished!"));
}

bool DownloadRun::writeAdditionalOutputs()
{
    const OutputChoice choice = OutputChoice::stored();
    if (!choice.outputs)
        return true;
    const auto cancelled = [this] { return seamlessAborted || openStreetMapAborted; };
    AdditionalOutputs outputs(baseFileName, choice);
    outputs.setTextureTiles(tiles);
    emit savingChanged(true);
    outputs.write([&cancelled] { return !cancelled(); });
    emit savingChanged(false);
    return !cancelled();
}

void DownloadRun::deleteFiles()
{
    createOpenStreetMapTileList();
    const QString workingDirectory = SettingsStore::workingDirectory();
    const QString baseName
        = WorkFileName::baseFileName(workingDirectory, area.north, area.south, area.west, area.east);
    for (const QString& file : IntermediateFiles::of(workingDirectory, baseName, tiles))
        QFile::remove(file);
}

void DownloadRun::setStageBarsToZero()
{
    for (int stage = 0; stage < stageCount; ++stage)
        emit stageValueChanged(Stage(stage), 0);
}

void DownloadRun::setStage(Stage stage, int value, int maximum)
{
    emit stageRangeChanged(stage, maximum);
    emit stageValueChanged(stage, value);
}

void DownloadRun::showPreview(Preview which, const QImage& image)
{
    const QSize size = which == Preview::Elevation ? elevationPreviewSize : texturePreviewSize;
    if (size.isEmpty())
        return;
    // A full-size texture takes a while to scale: beside the event loop.
    emit previewChanged(which, BackgroundWork::run([&image, size] {
        return image.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }));
}

bool DownloadRun::sslErrorsIgnored(const QList<QSslError>& errors)
{
    QStringList texts;
    for (const QSslError& error : errors)
        texts.append(error.errorString());
    return MessageBoxes::show(MessageBoxes::Warning, nullptr, tr("HTTP Example"),
               tr("One or more SSL errors has occurred: %1").arg(texts.join(QStringLiteral(", "))),
               MessageBoxes::Ignore | MessageBoxes::Abort)
        == MessageBoxes::Ignore;
}
