// MainDialog: the conversation with the elevation extract service, from the
// request-summary page to the saved archive.
#include "app/MainDialog.h"

#include "app/SettingsStore.h"
#include "elevation/RefreshHeader.h"
#include "elevation/RequestForm.h"
#include "elevation/RequestSummaryUrl.h"
#include "elevation/ServicePage.h"
#include "http/HttpClient.h"

#include <QBuffer>
#include <QFile>
#include <QTimer>
#include <QUrl>

#include <climits>

void MainDialog::downloadSeamless()
{
    const QString archive = baseFileName + QStringLiteral(".zip");
    if (QFile::exists(archive)) {
        addMessage(tr("Seamless: Reusing file %1.").arg(archive));
        progressBarDownloadingZipFile->setValue(progressBarDownloadingZipFile->maximum());
        QTimer::singleShot(1000, this, &MainDialog::slotCreateBIL);
        return;
    }
    const QString url = RequestSummaryUrl::build(ServiceEndpoint::elevationServer().authority(),
        SettingsStore::elevationDataSource(), doubleSpinBoxNorth->value(), doubleSpinBoxSouth->value(),
        doubleSpinBoxEast->value(), doubleSpinBoxWest->value());
    if (!url.isEmpty())
        seamlessUrl = url;
    seamlessAborted = false;
    seamlessRefresh();
}

void MainDialog::seamlessRefresh()
{
    if (seamlessUrl.isEmpty()) {
        addMessage(tr("Seamless error: refresh called with empty url."));
        return;
    }
    addMessage(tr("Seamless: Downloading %1").arg(seamlessUrl));
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
        addMessage(tr("seamlessRefresh(): requestId = %1, host = %3, path = %4")
                       .arg(QString::number(id), url.host(), path));
}

void MainDialog::seamlessHttpReadResponseHeader(const HttpResponseHeader& responseHeader)
{
    const QString refreshValue = responseHeader.value(QStringLiteral("Refresh"));
    if (refreshValue.isEmpty()) {
        const QString location = responseHeader.value(QStringLiteral("Location"));
        if (!location.isEmpty()) {
            seamlessUrl = location;
            if (verbose)
                addMessage(tr("Seamless: Redirected, waiting to download: %1").arg(seamlessUrl));
            QTimer::singleShot(1000, this, &MainDialog::seamlessRefresh);
        }
    } else {
        const RefreshHeader refresh = RefreshHeader::parse(refreshValue);
        seamlessUrl = refresh.url;
        if (refresh.undecodable)
            addMessage(tr("Seamless error: Could not decode refresh header %1.").arg(refreshValue));
        addMessage(tr("Seamless: Waiting %1 second(s) for refresh.").arg(refresh.seconds));
        if (verbose)
            addMessage(tr("Seamless: Waiting to download: %1").arg(seamlessUrl));
        // A negative wait counts as none; the longest one a timer can hold
        // is about 24 days.
        QTimer::singleShot(
            qBound(0, refresh.seconds, INT_MAX / 1000) * 1000, this, &MainDialog::seamlessRefresh);
    }

    if (isAcceptedStatus(responseHeader.statusCode()))
        return;
    const QString message = tr("Seamless error: Download failed: %1.").arg(responseHeader.reasonPhrase());
    addMessage(message);
    showError(message);
    seamlessAborted = true;
    seamlessHttp->abort();
}

void MainDialog::seamlessHttpUpdateDataReadProgress(int bytesRead, int totalBytes)
{
    if (seamlessAborted)
        return;
    progressBarDownloadingZipFile->setMaximum(totalBytes);
    progressBarDownloadingZipFile->setValue(bytesRead);
}

void MainDialog::seamlessHttpSslErrors(const QList<QSslError>& errors)
{
    if (sslErrorsIgnored(errors))
        seamlessHttp->ignoreSslErrors();
}

void MainDialog::seamlessHttpRequestFinished(int requestId, bool error)
{
    const RequestRegistry::Record request
        = requests.accept(RequestRegistry::Handler::Seamless, requestId, error, verbose);
    if (!request)
        return;
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
        QTimer::singleShot(1000, this, &MainDialog::slotCreateBIL);
        return;
    }
    request->buffer->close();
    const QByteArray body = request->buffer->data();
    request->releaseBuffer();
    progressBarDownloadingZipFile->setValue(0);
    handleSeamlessPage(body);
}

// The body is in the archive's file already; committing it gives the file
// its name, so a half-received archive never stands under it.
void MainDialog::saveArchive(Request& request)
{
    const QString path = baseFileName + QStringLiteral(".zip");
    const bool opened = request.file && request.file->isOpen();
    if (!opened)
        addMessage(tr("Seamless error: Could not open file %1.").arg(path));
    if (!opened || !request.file->commit())
        addMessage(tr("Seamless error: Could not save file %1.").arg(path));
    else if (verbose)
        addMessage(tr("Seamless: File %1 saved.").arg(path));
}

void MainDialog::handleSeamlessPage(const QByteArray& body)
{
    if (!ServicePage::isRequestSummary(body)) {
        labelHTMLMessage->setText(ServicePage::richText(ServicePage::withoutErrorPassage(body)));
        return;
    }
    switch (ServicePage::downloadButtons(body)) {
    case ServicePage::DownloadButtons::None:
        addMessage(tr("Seamless error: No \"Download\" button found in the request form."));
        addMessage(tr("Seamless: Download aborted."));
        labelHTMLMessage->setText(ServicePage::richText(body));
        return;
    case ServicePage::DownloadButtons::Several:
        addMessage(tr("Seamless error: More than one \"Download\" button found in the request form."));
        addMessage(tr("Seamless: Download aborted."));
        return;
    case ServicePage::DownloadButtons::One:
        break;
    }
    const RequestForm::Result form = RequestForm::downloadUrl(body);
    switch (form.outcome) {
    case RequestForm::Outcome::Malformed:
        addMessage(tr("Seamless error: Malformed request form."));
        addMessage(tr("Seamless: Download aborted."));
        return;
    case RequestForm::Outcome::NoTarget:
        return;
    case RequestForm::Outcome::Url:
        seamlessUrl = form.url;
        seamlessRefresh();
        return;
    }
}
