#include "HttpConnection.h"

#include <QPointer>
#include <QTcpSocket>

namespace {

constexpr qint64 pieceSize = 64 * 1024;
constexpr qint64 socketBacklog = 256 * 1024;
constexpr qsizetype headLimit = 64 * 1024;
constexpr int paceMilliseconds = 100;

}

HttpConnection::HttpConnection(QTcpSocket* socket, Router router, QObject* parent)
    : QObject(parent)
    , socket(socket)
    , router(std::move(router))
{
    socket->setParent(this);
    pace.setInterval(paceMilliseconds);
    connect(socket, &QTcpSocket::readyRead, this, &HttpConnection::readInput);
    connect(socket, &QTcpSocket::bytesWritten, this, &HttpConnection::pump);
    connect(socket, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    connect(&pace, &QTimer::timeout, this, [this] { writePiece(std::max(1, response.bytesPerSecond / 10)); });
}

void HttpConnection::readInput()
{
    input += socket->readAll();
    if (bodyToSkip > 0) {
        const qint64 skipped = std::min<qint64>(bodyToSkip, input.size());
        input.remove(0, skipped);
        bodyToSkip -= skipped;
    }
    if (answering || bodyToSkip > 0)
        return;
    const qsizetype end = input.indexOf("\r\n\r\n");
    if (end < 0) {
        if (input.size() > headLimit) {
            keepAlive = false;
            answering = true;
            requestLine = "(request head too long)";
            respond(
                requestCount, HttpResponse::message(431, QStringLiteral("The request head is too long.")));
        }
        return;
    }
    const QByteArray head = input.left(end);
    input.remove(0, end + 4);
    const qsizetype lineEnd = head.indexOf("\r\n");
    requestLine = lineEnd < 0 ? head : head.left(lineEnd);
    answering = true;
    const quint64 number = ++requestCount;
    const std::optional<HttpRequest> request = HttpRequest::fromHead(head);
    if (!request) {
        keepAlive = false;
        respond(number, HttpResponse::message(400, QStringLiteral("The request could not be read.")));
        return;
    }
    keepAlive = request->wantsKeepAlive();
    bodyToSkip = request->contentLength();
    HttpRequest addressed = *request;
    const QByteArray host = request->header("host");
    addressed.origin = QStringLiteral("http://%1")
                           .arg(host.isEmpty() ? QStringLiteral("%1:%2")
                                                     .arg(socket->localAddress().toString())
                                                     .arg(socket->localPort())
                                               : QString::fromLatin1(host));
    QPointer<HttpConnection> self(this);
    router(addressed, [self, number](HttpResponse answer) {
        if (self)
            self->respond(number, std::move(answer));
    });
}

void HttpConnection::respond(quint64 requestNumber, HttpResponse answer)
{
    if (requestNumber != requestCount || socket->state() != QAbstractSocket::ConnectedState)
        return;
    response = std::move(answer);
    sent = 0;
    bodySize = response.body.size();
    if (!response.bodyFile.isEmpty()) {
        file.setFileName(response.bodyFile);
        if (!file.open(QIODevice::ReadOnly)) {
            response = HttpResponse::message(500, QStringLiteral("The archive could not be read."));
            bodySize = response.body.size();
        } else {
            bodySize = file.size();
        }
    }
    qInfo().noquote() << QStringLiteral("%1 \"%2\" %3 %4 bytes%5")
                             .arg(socket->peerAddress().toString(), QString::fromLatin1(requestLine))
                             .arg(response.status)
                             .arg(bodySize)
                             .arg(response.chunked ? QStringLiteral(" chunked") : QString());
    socket->write(response.head(bodySize, keepAlive));
    if (response.bytesPerSecond > 0)
        pace.start();
    pump();
}

qint64 HttpConnection::bodyLimit() const
{
    return response.dropMidBody ? bodySize / 2 : bodySize;
}

void HttpConnection::pump()
{
    if (!answering || pace.isActive())
        return;
    while (sent < bodyLimit() && socket->bytesToWrite() < socketBacklog)
        writePiece(pieceSize);
    if (sent == bodyLimit())
        endResponse();
}

void HttpConnection::writePiece(qint64 size)
{
    const qint64 length = std::min(size, bodyLimit() - sent);
    if (length > 0) {
        const QByteArray piece = file.isOpen() ? file.read(length) : response.body.mid(sent, length);
        if (response.chunked)
            socket->write(QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n");
        else
            socket->write(piece);
        sent += piece.size();
        if (piece.size() < length)
            sent = bodyLimit();
    }
    if (pace.isActive() && sent == bodyLimit()) {
        pace.stop();
        endResponse();
    }
}

void HttpConnection::endResponse()
{
    // Only what has reached the network counts as sent; abort() would
    // throw away what is still buffered.
    if (response.dropMidBody && socket->bytesToWrite() > 0)
        return;
    answering = false;
    file.close();
    if (response.dropMidBody) {
        qInfo().noquote()
            << QStringLiteral("dropped the connection after %1 of %2 body bytes").arg(sent).arg(bodySize);
        socket->abort();
        deleteLater();
        return;
    }
    if (response.chunked)
        socket->write("0\r\n\r\n");
    response = HttpResponse();
    if (!keepAlive) {
        socket->disconnectFromHost();
        return;
    }
    if (!input.isEmpty())
        readInput();
}
