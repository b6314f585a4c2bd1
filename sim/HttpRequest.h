#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrlQuery>

#include <optional>

// One parsed request head. Only what the simulated services look at is
// kept: the method, the target split into path and query, and the headers.
struct HttpRequest {
    QByteArray method;
    QByteArray target;
    QByteArray version;
    QString path;
    QUrlQuery query;
    QList<std::pair<QByteArray, QByteArray>> headers;
    // "http://host:port" of this server as the client addressed it, for
    // the absolute addresses in Refresh, Location and form targets.
    QString origin;

    // The head is everything before the empty line, without it.
    static std::optional<HttpRequest> fromHead(const QByteArray& head);

    QByteArray header(const QByteArray& name) const;
    qint64 contentLength() const;
    bool wantsKeepAlive() const;
};
