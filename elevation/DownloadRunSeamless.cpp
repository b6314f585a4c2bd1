// DownloadRun: the conversation with the elevation extract service, from the
// request-summary page to the saved archive.
#include "run/DownloadRun.h"

#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "elevation/RefreshHeader.h"
#include "elevation/RequestForm.h"
#include "elevation/RequestSummaryUrl.h"
#include "elevation/ServicePage.h"
#include "http/HttpClient.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QTimer>
#include <QUrl>

#include <climits>

void DownloadRun::downloadSeamless()
{
    const QString archive = baseFileName + QStringLiteral(".zip");
    if (QFile::exists(archive)) {
        MessageLog::append(tr("Seamless: Reusing file %1.").arg(archive));
        emit stageCompleted(Stage::DownloadingZipFile);
        QTimer::singleShot(1000, this, &DownloadRun::slotCreateBIL);
        return;
    }
    const QString url = RequestSummaryUrl::build(ServiceEndpoint::elevationServer().authority(),
        SettingsStore::elevationDataSource(), area.north, area.south, area.east, area.west);
    if (!url.isEmpty())
        seamlessUrl = url;
    seamlessAborted = false;
    seamlessRefresh();
}

void DownloadRun::seamlessRefresh()
{
    if (seamlessUrl.isEmpty()) {
        MessageLog::append(tr("Seamless error: refresh called with empty url."));
        emit stalled();
        return;
    }
    MessageLog::append(tr("Seamless: Downloading %1").arg(seamlessUrl));
    seamlessAborted = false;
    // The service's own addresses may name another port; the configured
    // endpoint's port is the one that reaches it.
    const QUrl url(seamlessUrl);
    seamlessHttp->setHost(url.host(), ServiceEndpoint::elevationServer().port());
    const QString path = url.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
    // The archive goes straight to disk as it arrives.
    const QString archive = isArchiveUrl(url.toString()) ? baseFileName + QStringLiteral(".zip") : QString();
    const int id = requests.issue(*seamlessHttp, path, url.toString(), archive);
    if (verbose)
        MessageLog::append(tr("seamlessRefresh(): requestId = %1, host = %3, path = %4")
                               .arg(QString::number(id), url.host(), path));
}

void DownloadRun::seamlessHttpReadResponseHeader(const HttpResponseHeader& responseHeader)
{
    const QString refreshValue = responseHeader.value(QStringLiteral("Refresh"));
    seamlessFollowUp = !refreshValue.isEmpty();
    if (refreshValue.isEmpty()) {
        const QString location = responseHeader.value(QStringLiteral("Location"));
        if (!location.isEmpty()) {
            seamlessFollowUp = true;
            seamlessUrl = location;
            if (verbose)
                MessageLog::append(tr("Seamless: Redirected, waiting to download: %1").arg(seamlessUrl));
            QTimer::singleShot(1000, this, &DownloadRun::seamlessRefresh);
        }
    } else {
        const RefreshHeader refresh = RefreshHeader::parse(refreshValue);
        seamlessUrl = refresh.url;
        if (refresh.undecodable)
            MessageLog::append(tr("Seamless error: Could not decode refresh header %1.").arg(refreshValue));
        MessageLog::append(tr("Seamless: Waiting %1 second(s) for refresh.").arg(refresh.seconds));
        if (verbose)
            MessageLog::append(tr("Seamless: Waiting to download: %1").arg(seamlessUrl));
        // A negative wait counts as none; the longest one a timer can hold
        // is about 24 days.
        QTimer::singleShot(
            qBound(0, refresh.seconds, INT_MAX / 1000) * 1000, this, &DownloadRun::seamlessRefresh);
    }

    if (isAcceptedStatus(responseHeader.statusCode()))
        return;
    const QString message = tr("Seamless error: Download failed: %1.").arg(responseHeader.reasonPhrase());
    MessageLog::append(message);
    emit errorShown(message);
    seamlessAborted = true;
    seamlessHttp->abort();
}

void DownloadRun::seamlessHttpUpdateDataReadProgress(int bytesRead, int totalBytes)
{
    if (seamlessAborted)
        return;
    setStage(Stage::DownloadingZipFile, bytesRead, totalBytes);
}

void DownloadRun::seamlessHttpSslErrors(const QList<QSslError>& errors)
{
    if (sslErrorsIgnored(errors))
        seamlessHttp->ignoreSslErrors();
}

void DownloadRun::seamlessHttpRequestFinished(int requestId, bool error)
{
    const RequestRegistry::Record request
        = requests.accept(RequestRegistry::Handler::Seamless, requestId, error, verbose);
    if (!request)
        return;
    if (error && !seamlessAborted && request->file && seamlessHttp->bodyRefused()) {
        reportUnsavedArchive();
        request->releaseBuffer();
        QTimer::singleShot(1000, this, &DownloadRun::slotCreateBIL);
        return;
    }
    if (!isReplyForRunningBranch(*request, *seamlessHttp, RequestRegistry::Handler::Seamless, requestId,
            error, seamlessAborted, seamlessFinished))
        return;
    if (seamlessAborted) {
        endAbortedBranch(seamlessFinished);
        return;
    }

    if (isArchiveUrl(request->url)) {
        saveArchive(*request);
        request->releaseBuffer();
        QTimer::singleShot(1000, this, &DownloadRun::slotCreateBIL);
        return;
    }
    request->buffer->close();
    const QByteArray body = request->buffer->data();
    request->releaseBuffer();
    emit stageValueChanged(Stage::DownloadingZipFile, 0);
    handleSeamlessPage(body);
}

// The body is in the archive's file already; committing it gives the file
// its name, so a half-received archive never stands under it.
void DownloadRun::saveArchive(Request& request)
{
    const QString path = baseFileName + QStringLiteral(".zip");
    const bool opened = request.file && request.file->isOpen();
    if (!opened)
        MessageLog::append(tr("Seamless error: Could not open file %1.").arg(path));
    if (!opened || !request.file->commit())
        reportUnsavedArchive();
    else if (verbose)
        MessageLog::append(tr("Seamless: File %1 saved.").arg(path));
    emit stageCompleted(Stage::DownloadingZipFile);
}

// The unpacking still runs and reports what it finds of the archive.
void DownloadRun::reportUnsavedArchive()
{
    MessageLog::append(
        tr("Seamless error: Could not save file %1.").arg(baseFileName + QStringLiteral(".zip")));
}

void DownloadRun::handleSeamlessPage(const QByteArray& body)
{
    if (!ServicePage::isRequestSummary(body)) {
        emit pageShown(ServicePage::richText(ServicePage::withoutErrorPassage(body)));
        // Only a refresh or a redirect announced with it carries on.
        if (!seamlessFollowUp)
            emit stalled();
        return;
    }
    switch (ServicePage::downloadButtons(body)) {
    case ServicePage::DownloadButtons::None:
        MessageLog::append(tr("Seamless error: No \"Download\" button found in the request form."));
        MessageLog::append(tr("Seamless: Download aborted."));
        emit pageShown(ServicePage::richText(body));
        emit stalled();
        return;
    case ServicePage::DownloadButtons::Several:
        MessageLog::append(
            tr("Seamless error: More than one \"Download\" button found in the request form."));
        MessageLog::append(tr("Seamless: Download aborted."));
        emit stalled();
        return;
    case ServicePage::DownloadButtons::One:
        break;
    }
    const RequestForm::Result form = RequestForm::downloadUrl(body);
    switch (form.outcome) {
    case RequestForm::Outcome::Malformed:
        MessageLog::append(tr("Seamless error: Malformed request form."));
        MessageLog::append(tr("Seamless: Download aborted."));
        emit stalled();
        return;
    case RequestForm::Outcome::NoTarget:
        emit stalled();
        return;
    case RequestForm::Outcome::Url:
        seamlessUrl = form.url;
        seamlessRefresh();
        return;
    }
}
