#pragma once

#include <QByteArray>
#include <QString>

// Copies of reply bodies in the working directory, for looking into answers
// that went wrong: each copy is the handler's name and a colon, the body
// and a line end, appended to the file of its source.
class ReplyDebugFile {
public:
    enum Source {
        // "debugOpenStreetMap.txt", "openStreetMapHttpRequestFinished:"
        OpenStreetMap,
        // "debugGeocode.txt", "geocodeRequestFinished:"
        Geocode
    };

    // Skipped without a report when the file cannot be opened.
    static void append(const QString& workingDirectory, Source source, const QByteArray& body);
};
