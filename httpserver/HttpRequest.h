#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrlQuery>

#include <optional>

// One request head as a client sent it. The header fields keep their letter
// case and order; header() finds them regardless of case.
struct HttpRequest {
    QByteArray method;
    // As on the request line: the path with its query, still encoded.
    QByteArray target;
    QByteArray version;
    QList<QPair<QByteArray, QByteArray>> headers;
    // The target's path, decoded, and its query.
    QString path;
    QUrlQuery query;
    // "http://host:port" of the server as the client addressed it, for the
    // absolute addresses an answer may carry.
    QString origin;

    // The index just past the empty line that ends the head at the start of
    // input, or -1 while it is incomplete. Lines end in CR LF or a bare LF.
    // The search starts at from, so a growing input is not searched again.
    static qsizetype headEnd(const QByteArray& input, qsizetype from = 0);
    // The head is input up to headEnd(). Empty lines before the request
    // line are passed over. Refuses a request line that is not
    // "METHOD /target HTTP/1.x", a header line without a name, folded
    // lines and control characters (a CR anywhere but before LF included).
    static std::optional<HttpRequest> fromHead(const QByteArray& head);

    // First value of the field named name, ignoring case; empty when absent.
    QByteArray header(const QByteArray& name) const;
    // The length of the body after the head; nothing when it cannot be
    // known (a Transfer-Encoding, or a Content-Length that is no number).
    std::optional<qint64> bodyLength() const;
    bool wantsKeepAlive() const;
};
