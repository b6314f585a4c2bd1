#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>

// One answer: status, extra headers and a body held in memory or read from
// a file while it is sent. The delivery fields are set by the fault
// switches, not by the services.
struct HttpResponse {
    int status = 200;
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;
    // When set, the body is this file's content instead of body.
    QString bodyFile;
    // Sent with chunked transfer coding instead of a Content-Length.
    bool chunked = false;
    // Delivery faults: close the connection after half the body; send at
    // most this many body bytes per second (0: as fast as possible).
    bool dropMidBody = false;
    int bytesPerSecond = 0;

    static HttpResponse page(int status, const QString& html);
    static HttpResponse message(int status, const QString& text);
    static HttpResponse redirect(const QString& location);
    static QByteArray reasonPhrase(int status);

    void setHeader(const QByteArray& name, const QByteArray& value);
    QByteArray head(qint64 bodySize, bool keepAlive) const;
};

using Responder = std::function<void(HttpResponse response)>;
