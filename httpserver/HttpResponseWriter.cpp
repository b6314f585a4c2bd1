#include "HttpResponseWriter.h"

#include "HttpServerLog.h"

#include <QTcpSocket>

namespace {

constexpr qint64 defaultPieceSize = 64 * 1024;
// What may wait in the socket's write buffer before the next piece is read.
constexpr qint64 socketBacklog = 256 * 1024;

}

HttpResponseWriter::HttpResponseWriter(QTcpSocket* socket, QObject* parent)
    : QObject(parent)
    , socket(socket)
{
    connect(socket, &QTcpSocket::bytesWritten, this, &HttpResponseWriter::pump);
    connect(&pace, &QTimer::timeout, this, &HttpResponseWriter::tick);
}

void HttpResponseWriter::setResponse(HttpResponse response)
{
    answer = std::move(response);
    if (!answer.bodyFile.isEmpty()) {
        file.setFileName(answer.bodyFile);
        if (!file.open(QIODevice::ReadOnly))
            answer = HttpResponse::message(500, QStringLiteral("The body could not be read."));
    }
    size = file.isOpen() ? file.size() : answer.body.size();
}

void HttpResponseWriter::start(bool keepAlive)
{
    if (answer.silent)
        return;
    this->keepAlive = keepAlive;
    sent = 0;
    writing = true;
    socket->write(answer.head(size, keepAlive));
    if (answer.pieceDelayMs > 0) {
        pace.start(answer.pieceDelayMs);
        writePiece();
    } else {
        pump();
    }
}

qint64 HttpResponseWriter::limit() const
{
    return answer.dropAfter >= 0 ? std::min(answer.dropAfter, size) : size;
}

void HttpResponseWriter::pump()
{
    while (writing && !pace.isActive() && socket->bytesToWrite() < socketBacklog)
        writePiece();
}

// A paced body still waits for a client that does not read. Each piece
// leaves at its tick, so only a stalled client leaves bytes in the buffer.
void HttpResponseWriter::tick()
{
    if (socket->bytesToWrite() < socketBacklog)
        writePiece();
    socket->flush();
}

void HttpResponseWriter::writePiece()
{
    if (answer.endless && !answer.body.isEmpty()) {
        socket->write(answer.body);
        sent += answer.body.size();
        return;
    }
    const qint64 length
        = std::min(answer.pieceSize > 0 ? answer.pieceSize : defaultPieceSize, limit() - sent);
    const QByteArray piece = file.isOpen() ? file.read(length) : answer.body.mid(sent, length);
    if (!piece.isEmpty() && answer.framing == HttpResponse::Framing::Chunked)
        socket->write(QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n");
    else if (!piece.isEmpty())
        socket->write(piece);
    sent += piece.size();
    // A file that shrank while it was sent ends the body early.
    if (sent >= limit() || piece.size() < length)
        finish();
}

void HttpResponseWriter::finish()
{
    writing = false;
    pace.stop();
    file.close();
    const bool dropped = answer.dropAfter >= 0 || sent < size;
    if (dropped)
        qCInfo(httpServerLog).noquote() << QStringLiteral("dropped the connection after %1 of %2 body bytes")
                                               .arg(QString::number(sent), QString::number(size));
    else if (answer.framing == HttpResponse::Framing::Chunked)
        socket->write("0\r\n\r\n");
    // What is written goes out now, before a close from the client (a
    // half-closed connection) can take the socket down.
    socket->flush();
    const bool reusable = !dropped && keepAlive && answer.framing != HttpResponse::Framing::CloseDelimited;
    answer = HttpResponse();
    emit finished(reusable);
}
