// MainDialog: centring the rectangle on a U.S. address.
#include "app/MainDialog.h"

#include "app/SettingsStore.h"
#include "geocode/GeocodePage.h"
#include "geocode/GeocodeQuery.h"
#include "http/HttpClient.h"
#include "http/ReplyDebugFile.h"

#include <QBuffer>

void MainDialog::slotGeocode()
{
    setControlsRunning(true);
    geocodeAborted = false;
    geocodeFinished = false;
    const GeocodeQuery query(ServiceEndpoint::geocoder(), lineEditAddress->text());
    addMessage(tr("Geocode: Downloading %1").arg(query.path()));
    geocodeHttp->setHost(query.host(), query.port());
    requests.issue(*geocodeHttp, query.path(), query.url());
}

void MainDialog::geocodeRequestFinished(int requestId, bool error)
{
    const RequestRegistry::Record request
        = requests.accept(RequestRegistry::Handler::Geocode, requestId, error, verbose);
    if (!request)
        return;
    if (error) {
        qDebug() << geocodeHttp->errorString();
        const bool oversized = isOversized(RequestRegistry::Handler::Geocode, *request);
        request->releaseBuffer();
        if (oversized)
            endAbortedBranch(geocodeFinished);
        return;
    }
    if (geocodeAborted) {
        endAbortedBranch(geocodeFinished);
        return;
    }
    setControlsRunning(false);
    pushButtonDownload->setDefault(true);
    pushButtonGeocode->setDefault(false);
    slotDoubleSpinBoxNorthValueChanged(0.0);
    slotDoubleSpinBoxWestValueChanged(0.0);

    const QString workingDirectory = SettingsStore::workingDirectory();
    const QByteArray body = request->buffer->data();
    ReplyDebugFile::append(workingDirectory, ReplyDebugFile::Geocode, body);
    const QString area = SettingsStore::downloadArea();
    const double width = downloadAreaWidth(area);
    const double height = downloadAreaHeight(area);
    const GeocodePage page(body);
    if (const std::optional<double> latitude = page.latitude()) {
        doubleSpinBoxNorth->setValue(*latitude + height * 0.5);
        doubleSpinBoxSouth->setValue(*latitude + height * -0.5);
    }
    if (const std::optional<double> longitude = page.longitude()) {
        doubleSpinBoxWest->setValue(*longitude + width * -0.5);
        doubleSpinBoxEast->setValue(*longitude + width * 0.5);
    }
    if (const QString missing = page.missingMessage(); !missing.isEmpty()) {
        addMessage(missing);
        showError(missing);
    }
    request->buffer->close();
    // Pages that report an error are kept twice, to stand out in the file.
    if (body.contains("Error"))
        ReplyDebugFile::append(workingDirectory, ReplyDebugFile::Geocode, body);
    request->releaseBuffer();
}
