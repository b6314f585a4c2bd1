// MainDialog: starting, cancelling and finishing a download run.
#include "app/MainDialog.h"

#include "app/MessageBoxes.h"
#include "app/SettingsStore.h"
#include "http/HttpClient.h"
#include "run/WorkFileName.h"

#include <QTimer>

#include <cmath>

namespace {

QString significant(double value) { return QString::number(value, 'g', 6); }

} // namespace

void MainDialog::downloadFiles()
{
    const QString source = SettingsStore::elevationDataSource();
    const QString area = SettingsStore::downloadArea();
    const double north = doubleSpinBoxNorth->value();
    const double south = doubleSpinBoxSouth->value();
    const double west = doubleSpinBoxWest->value();
    const double east = doubleSpinBoxEast->value();
    SettingsStore::setDownloadRectangle(north, south, west, east);
    addMessage(tr("Begin download: %1").arg(source));
    addMessage(tr("                %1").arg(area));
    addMessage(tr("                %1, %2, %3, %4")
                   .arg(significant(north), significant(south), significant(west), significant(east)));

    progressBarOverall->setMaximum(0);
    setStageBarsToZero();
    baseFileName = WorkFileName::baseFileName(SettingsStore::workingDirectory(), north, south, west, east);
    labelElevationFile->setText(tr("Waiting for elevation file..."));
    labelTextureFile->setText(tr("Waiting for texture file..."));
    QCoreApplication::processEvents();

    const QImage elevationResult(baseFileName + QStringLiteral("-el-corr.png"));
    if (!elevationResult.isNull()) {
        // Degrees of longitude are shorter than degrees of latitude by cos(φ).
        const double latitude = (north + south) * 0.5;
        const int width = int(elevationResult.width() * std::cos(latitude / 180.0 * M_PI));
        showPreview(labelElevationFile,
            elevationResult.scaled(
                width, elevationResult.height(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation),
            elevationImage);
        const QImage textureResult(baseFileName + QStringLiteral("-el-col-scaled.png"));
        if (!textureResult.isNull()) {
            showPreview(labelTextureFile, textureResult, texturePreview);
            success();
            return;
        }
    }

    seamlessUrl.clear();
    seamlessFinished = false;
    openStreetMapFinished = false;
    seamlessAborted = false;
    openStreetMapAborted = false;
    setControlsRunning(true);
    verbose = SettingsStore::verbose();
    requests.clear();
    downloadOpenStreetMap();
    downloadSeamless();
}

bool MainDialog::isAcceptedStatus(int status)
{
    return status == 200 || status == 301 || status == 302 || status == 303 || status == 307;
}

// Idempotent: it runs again from the handlers of the clients it aborts.
void MainDialog::cancelDownload()
{
    progressBarOverall->setMaximum(1);
    progressBarOverall->setValue(1);
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
    setControlsRunning(false);
    setStageBarsToZero();
    // A waiting text goes, a preview stays.
    for (QLabel* label : { labelElevationFile, labelTextureFile }) {
        if (label->pixmap().isNull())
            label->clear();
    }
}

void MainDialog::endAbortedBranch(bool& branchFinished)
{
    branchFinished = true;
    cancelDownload();
    requests.clear();
}

bool MainDialog::isReplyForRunningBranch(Request& request, const HttpClient& client,
    RequestRegistry::Handler handler, int requestId, bool error, bool branchAborted, bool& branchFinished)
{
    if (error) {
        qDebug() << client.errorString();
        const bool oversized = isOversized(handler, request);
        request.releaseBuffer();
        if (branchAborted || oversized)
            endAbortedBranch(branchFinished);
        return false;
    }
    if (seamlessFinished && openStreetMapFinished) {
        if (verbose)
            addMessage(RequestRegistry::handlerName(handler)
                + tr("(%1, %2): Seamless and OpenStreetMap download already finished.")
                      .arg(requestId)
                      .arg(0));
        request.releaseBuffer();
        return false;
    }
    return true;
}

bool MainDialog::isArchiveUrl(const QString& url)
{
    return url.right(4).compare(QLatin1String(".zip"), Qt::CaseInsensitive) == 0;
}

bool MainDialog::isOversized(RequestRegistry::Handler handler, const Request& request)
{
    if (!request.overflowed())
        return false;
    QString source = QStringLiteral("geocode");
    if (handler == RequestRegistry::Handler::Seamless)
        source = QStringLiteral("Seamless");
    else if (handler == RequestRegistry::Handler::OpenStreetMap)
        source = QStringLiteral("OpenStreetMap");
    addMessage(tr("%1 error: The answer to %2 is larger than %3 bytes; download aborted.")
                   .arg(source, request.url, QString::number(Request::bodyLimit)));
    return true;
}

void MainDialog::success()
{
    addMessage(tr("         ********* SUCCESS *********"));
    addMessage(
        tr("Elevation file %1 successfully created.").arg(baseFileName + QStringLiteral("-el-corr.png")));
    addMessage(
        tr("Texture file %1 successfully created.").arg(baseFileName + QStringLiteral("-el-col-scaled.png")));
    setControlsRunning(false);
    pushButtonGeocode->setDefault(true);
    pushButtonDownload->setDefault(false);
    lineEditAddress->setFocus(Qt::OtherFocusReason);
    progressBarOverall->setMaximum(1);
    progressBarOverall->setValue(1);
    for (QProgressBar* bar : stageBars())
        bar->setValue(bar->maximum());
    MessageBoxes::show(
        MessageBoxes::Information, this, tr("relka"), tr("Download and post processing finished!"));
}

void MainDialog::setControlsRunning(bool running)
{
    for (QWidget* control : { static_cast<QWidget*>(pushButtonDeleteFiles),
             static_cast<QWidget*>(pushButtonDownload), static_cast<QWidget*>(pushButtonGeocode),
             static_cast<QWidget*>(pushButtonSettings), static_cast<QWidget*>(doubleSpinBoxNorth),
             static_cast<QWidget*>(doubleSpinBoxWest), static_cast<QWidget*>(lineEditAddress) })
        control->setEnabled(!running);
    pushButtonCancel->setEnabled(running);
}

QList<QProgressBar*> MainDialog::stageBars() const
{
    return { progressBarDownloadingSingleTiles, progressBarTiling, progressBarPostProcessing,
        progressBarDownloadingZipFile, progressBarExtracting, progressBarCreatingElevationImage,
        progressBarCorrectingElevationImage, progressBarColoringElevation, progressBarScalingElevation,
        progressBarMerging };
}

void MainDialog::setStageBarsToZero()
{
    for (QProgressBar* bar : stageBars())
        bar->setValue(0);
}

void MainDialog::showPreview(QLabel* label, const QImage& image, QImage& preview)
{
    preview = image.scaled(label->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
    label->setPixmap(QPixmap::fromImage(preview));
}

// The text stays for ten seconds.
void MainDialog::showError(const QString& message)
{
    labelHTMLMessage->setText(message);
    QTimer::singleShot(10000, this, &MainDialog::slotClearLabel);
}

bool MainDialog::sslErrorsIgnored(const QList<QSslError>& errors)
{
    QStringList texts;
    for (const QSslError& error : errors)
        texts.append(error.errorString());
    return MessageBoxes::show(MessageBoxes::Warning, this, tr("HTTP Example"),
               tr("One or more SSL errors has occurred: %1").arg(texts.join(QStringLiteral(", "))),
               MessageBoxes::Ignore | MessageBoxes::Abort)
        == MessageBoxes::Ignore;
}
