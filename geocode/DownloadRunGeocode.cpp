// DownloadRun: centring the rectangle on a U.S. address.
#include "run/DownloadRun.h"

#include "app/DownloadArea.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "geocode/GeocodePage.h"
#include "geocode/GeocodeQuery.h"
#include "http/HttpClient.h"
#include "http/ReplyDebugFile.h"

#include <QBuffer>

void DownloadRun::geocode(const QString& address)
{
    emit controlsLocked(true);
    geocodeAborted = false;
    geocodeFinished = false;
    const GeocodeQuery query(ServiceEndpoint::geocoder(), address);
    MessageLog::append(tr("Geocode: Downloading %1").arg(query.path()));
    geocodeHttp->setHost(query.host(), query.port());
    requests.issue(*geocodeHttp, query.path(), query.url());
}

void DownloadRun::geocodeRequestFinished(int requestId, bool error)
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
        else
            emit stalled();
        return;
    }
    if (geocodeAborted) {
        endAbortedBranch(geocodeFinished);
        return;
    }
    emit controlsLocked(false);

    const QString workingDirectory = SettingsStore::workingDirectory();
    const QByteArray body = request->buffer->data();
    ReplyDebugFile::append(workingDirectory, ReplyDebugFile::Geocode, body);
    const QString areaText = SettingsStore::downloadArea();
    const double width = DownloadArea::width(areaText);
    const double height = DownloadArea::height(areaText);
    // South and East follow North and West with the stored area first, as
    // the window's fields do, then the address moves what it gives.
    area.south = area.north - height;
    area.east = area.west + width;
    const GeocodePage page(body);
    const std::optional<double> latitude = page.latitude();
    const std::optional<double> longitude = page.longitude();
    if (latitude) {
        area.north = *latitude + height * 0.5;
        area.south = *latitude + height * -0.5;
    }
    if (longitude) {
        area.west = *longitude + width * -0.5;
        area.east = *longitude + width * 0.5;
    }
    emit rectangleChanged(area);
    if (const QString missing = page.missingMessage(); !missing.isEmpty()) {
        MessageLog::append(missing);
        emit errorShown(missing);
    }
    request->buffer->close();
    // Pages that report an error are kept twice, to stand out in the file.
    if (body.contains("Error"))
        ReplyDebugFile::append(workingDirectory, ReplyDebugFile::Geocode, body);
    request->releaseBuffer();
    emit geocodeAnswered(latitude && longitude);
}
