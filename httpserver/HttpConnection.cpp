#include "HttpConnection.h"

#include "HttpServerLog.h"

#include <QPointer>
#include <QTcpSocket>
#include <QUrl>

HttpConnection::HttpConnection(
    QTcpSocket* socket, const Handler& handler, const HttpServerLimits& limits, QObject* parent)
    : QObject(parent)
    , socket(socket)
    , handler(handler)
    , limits(limits)
    , writer(socket)
{
    socket->setParent(this);
    socket->setReadBufferSize(limits.readAheadBytes);
    idle.setSingleShot(true);
    idle.setInterval(limits.idleTimeoutMs);
    connect(&idle, &QTimer::timeout, this, &HttpConnection::closeIdle);
    connect(socket, &QTcpSocket::readyRead, this, &HttpConnection::readInput);
    connect(socket, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    // The client takes in the answer: a deadline for a stalled reader only.
    connect(socket, &QTcpSocket::bytesWritten, this, [this] {
        if (idle.isActive())
            idle.start();
    });
    connect(&writer, &HttpResponseWriter::finished, this, &HttpConnection::answerFinished);
    idle.start();
    // A socket that waited in the server's queue may hold a request already,
    // or be closed.
    if (socket->state() != QAbstractSocket::ConnectedState)
        deleteLater();
    else if (socket->bytesAvailable() > 0)
        QMetaObject::invokeMethod(this, &HttpConnection::readInput, Qt::QueuedConnection);
}

void HttpConnection::readInput()
{
    while (!answering && socket->state() == QAbstractSocket::ConnectedState && skipBody()) {
        input += socket->read(limits.headBytes + 1 - input.size());
        const qsizetype end = HttpRequest::headEnd(input, searched);
        if (end >= 0) {
            dispatch(end);
            continue;
        }
        searched = std::max<qsizetype>(0, input.size() - 2);
        if (input.size() > limits.headBytes) {
            answering = true;
            keepAlive = false;
            requestLine = QStringLiteral("(request head too long)");
            awaited = ++requestCount;
            respond(awaited, HttpResponse::message(431, QStringLiteral("The request head is too long.")));
        }
        return;
    }
}

// True once the previous request's body has been read past; part of it may
// have been read along with its head.
bool HttpConnection::skipBody()
{
    if (bodyToSkip > 0 && !input.isEmpty()) {
        const qsizetype inInput = qsizetype(std::min<qint64>(bodyToSkip, input.size()));
        input.remove(0, inInput);
        bodyToSkip -= inInput;
        searched = 0;
    }
    while (bodyToSkip > 0) {
        const qint64 skipped = socket->skip(bodyToSkip);
        if (skipped <= 0)
            return false;
        bodyToSkip -= skipped;
    }
    return true;
}

void HttpConnection::dispatch(qsizetype headEnd)
{
    const QByteArray head = input.left(headEnd);
    input.remove(0, headEnd);
    searched = 0;
    idle.stop();
    answering = true;
    awaited = ++requestCount;
    std::optional<HttpRequest> request = HttpRequest::fromHead(head);
    const std::optional<qint64> bodyLength = request ? request->bodyLength() : std::nullopt;
    if (!bodyLength) {
        keepAlive = false;
        requestLine = QStringLiteral("(unreadable request)");
        respond(awaited, HttpResponse::message(400, QStringLiteral("The request could not be read.")));
        return;
    }
    requestLine = QString::fromLatin1(request->method + ' ' + request->target + ' ' + request->version);
    keepAlive = request->wantsKeepAlive();
    bodyToSkip = *bodyLength;
    request->origin = origin(*request);
    QPointer<HttpConnection> self(this);
    handler(*request, [self, number = awaited](HttpResponse response) {
        if (self)
            self->respond(number, std::move(response));
    });
}

void HttpConnection::respond(quint64 requestNumber, HttpResponse response)
{
    if (requestNumber != awaited || socket->state() != QAbstractSocket::ConnectedState)
        return;
    awaited = 0;
    writer.setResponse(std::move(response));
    const HttpResponse& answer = writer.response();
    const QString peer = socket->peerAddress().toString();
    if (answer.silent) {
        qCInfo(httpServerLog).noquote() << QStringLiteral("%1 \"%2\" left unanswered").arg(peer, requestLine);
    } else {
        const QString framing = answer.framing == HttpResponse::Framing::Chunked ? QStringLiteral(" chunked")
            : answer.framing == HttpResponse::Framing::CloseDelimited ? QStringLiteral(" close-delimited")
                                                                      : QString();
        qCInfo(httpServerLog).noquote() << QStringLiteral("%1 \"%2\" %3 %4 bytes%5")
                                               .arg(peer, requestLine, QString::number(answer.status),
                                                   QString::number(writer.bodySize()), framing);
    }
    if (!answer.silent)
        idle.start();
    writer.start(keepAlive);
}

void HttpConnection::answerFinished(bool reusable)
{
    answering = false;
    idle.stop();
    if (!reusable || !keepAlive) {
        socket->disconnectFromHost();
        return;
    }
    idle.start();
    // Requests that came while this one was answered; queued, so a client
    // that sends many at once does not deepen the stack.
    QMetaObject::invokeMethod(this, &HttpConnection::readInput, Qt::QueuedConnection);
}

void HttpConnection::closeIdle()
{
    // Between the pieces of a paced answer the server is the one waiting.
    if (answering && socket->bytesToWrite() == 0) {
        idle.start();
        return;
    }
    qCInfo(httpServerLog).noquote() << QStringLiteral("%1: nothing moved for %2 ms, closing")
                                           .arg(socket->peerAddress().toString(),
                                               QString::number(limits.idleTimeoutMs));
    socket->abort();
    deleteLater();
}

QString HttpConnection::origin(const HttpRequest& request) const
{
    const QByteArray host = request.header("host");
    if (!host.isEmpty())
        return QStringLiteral("http://") + QString::fromLatin1(host);
    QUrl url;
    url.setScheme(QStringLiteral("http"));
    url.setHost(socket->localAddress().toString());
    url.setPort(socket->localPort());
    return url.toString();
}
