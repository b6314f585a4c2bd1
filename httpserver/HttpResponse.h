#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <functional>

// One answer and the way it travels. Status, reason, headers and body are
// what a service says; the framing and delivery fields let a test or the
// simulator play a server or network that misbehaves.
//
//     HttpResponse tile { .body = png };
//     HttpResponse gone { .status = 404, .reason = "Kachel nicht gefunden" };
//     HttpResponse slow { .body = big, .pieceSize = 4096, .pieceDelayMs = 20 };
//     HttpResponse cut { .body = big, .dropAfter = 1000 };
//     HttpResponse flood { .body = piece, .framing = Framing::CloseDelimited, .endless = true };
struct HttpResponse {
    enum class Framing {
        ContentLength, // "Content-Length" is added to the headers
        Chunked, // "Transfer-Encoding: chunked", one chunk per piece
        CloseDelimited // no length; the connection is closed after the body
    };

    int status = 200;
    // Empty: the usual phrase for the status.
    QByteArray reason = {};
    // Sent as given, letter case and order included, before the framing field.
    QList<QPair<QByteArray, QByteArray>> headers = {};
    QByteArray body = {};
    // When set, the body is this file's content, read while it is sent.
    QString bodyFile = {};
    Framing framing = Framing::ContentLength;
    // The body goes out in pieces of this size (0: 64 KiB), pieceDelayMs
    // apart (0: as fast as the client reads); the head goes out at once.
    qint64 pieceSize = 0;
    int pieceDelayMs = 0;
    // Close the connection after this many body bytes (-1: never).
    qint64 dropAfter = -1;
    // Read the request and never answer it; the connection stays open.
    bool silent = false;
    // Send the body over and over without end, as the socket drains (meant
    // for close-delimited framing; an empty body is sent once as usual).
    bool endless = false;

    // A page in ISO-8859-1.
    static HttpResponse page(int status, const QString& html);
    // A small page that states the status and the text (HTML-escaped).
    static HttpResponse message(int status, const QString& text);
    // A message whose reason phrase is the text itself, for clients that
    // show only the status line. The text should be Latin-1.
    static HttpResponse failure(int status, const QString& text);
    static HttpResponse redirect(const QString& location);
    // 405 for a server that serves GET alone.
    static HttpResponse onlyGet();
    static QByteArray standardReason(int status);

    void setHeader(const QByteArray& name, const QByteArray& value);
    // Paces the body at about this rate: a tenth of it every 100 ms.
    void setByteRate(int bytesPerSecond);
    // The body's size; the file's when the body comes from a file.
    qint64 bodySize() const;
    // The status line, the header fields and the empty line. Every CR or LF
    // in the reason, a name or a value becomes a blank, so text taken from a
    // request can never start a header line of its own.
    QByteArray head(qint64 bodySize, bool keepAlive) const;
};

// Called once with the answer to one request; later calls are ignored.
using HttpResponder = std::function<void(HttpResponse response)>;
