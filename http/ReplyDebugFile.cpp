#include "http/ReplyDebugFile.h"

#include <QFile>

void ReplyDebugFile::append(const QString& workingDirectory, Source source, const QByteArray& body)
{
    const bool map = source == OpenStreetMap;
    QFile file(workingDirectory
        + (map ? QLatin1String("/debugOpenStreetMap.txt") : QLatin1String("/debugGeocode.txt")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    file.write(map ? "openStreetMapHttpRequestFinished:\r\n" : "geocodeRequestFinished:\r\n");
    file.write(body);
    file.write("\r\n");
}
