#include "http/HttpClient.h"

#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <atomic>
#include <limits>

namespace {

int nextId()
{
    static std::atomic<int> counter { 0 };
    return ++counter;
}

// Qt turns a status of 400 or more into a reply error once the body has
// arrived in full; such an answer is delivered like any other. Failures of
// the connection itself carry the low error codes.
bool isTransportFailure(const QNetworkReply* reply)
{
    const QNetworkReply::NetworkError error = reply->error();
    if (error == QNetworkReply::NoError)
        return false;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status < 400 || error <= QNetworkReply::UnknownNetworkError;
}

int clampedToInt(qint64 value)
{
    return int(qBound(qint64(0), value, qint64(std::numeric_limits<int>::max())));
}

// What the network thread may read ahead of the body's consumer; a fast
// server is held back instead of filling memory.
constexpr qint64 readBufferSize = 1024 * 1024;

// The network module reads an unparsable chunk size as the last chunk and
// reports the truncated body as complete. The body of an OK answer then
// ends before its first byte: a server with nothing to send says so with
// Content-Length: 0 or another status.
bool isBrokenChunkedBody(const QNetworkReply* reply, qint64 bodyDone)
{
    return bodyDone == 0 && reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200
        && reply->rawHeader("Transfer-Encoding").trimmed().toLower() == "chunked";
}

} // namespace

HttpClient::HttpClient(QObject* parent)
    : QObject(parent)
    , manager(new QNetworkAccessManager(this))
    , lastError(tr("Unknown error"))
{
    qRegisterMetaType<HttpResponseHeader>();
}

HttpClient::~HttpClient() { releaseReply(); }

int HttpClient::setHost(const QString& host, quint16 port)
{
    Operation operation;
    operation.endpoint = ServiceEndpoint(host, port);
    return enqueue(operation);
}

int HttpClient::get(const QString& path, QIODevice* to)
{
    Operation operation;
    operation.path = path;
    operation.device = to;
    return enqueue(operation);
}

void HttpClient::abort()
{
    queue.clear();
    if (current.id == 0)
        return;
    lastError = tr("Request aborted");
    refused = false;
    finishCurrent(true);
}

bool HttpClient::hasPendingRequests() const { return !queue.isEmpty(); }

void HttpClient::clearPendingRequests() { queue.clear(); }

int HttpClient::currentId() const { return current.id; }

QString HttpClient::errorString() const { return lastError; }

bool HttpClient::bodyRefused() const { return refused; }

void HttpClient::setTransferTimeout(int milliseconds) { transferTimeout = milliseconds; }

void HttpClient::ignoreSslErrors()
{
    if (reply)
        reply->ignoreSslErrors();
}

int HttpClient::enqueue(Operation operation)
{
    operation.id = nextId();
    queue.append(operation);
    scheduleNext();
    return operation.id;
}

// Operations start from the event loop, never inside the call that queued
// them, so a caller always has the id before any signal names it.
void HttpClient::scheduleNext()
{
    if (current.id != 0 || startScheduled || queue.isEmpty())
        return;
    startScheduled = true;
    QMetaObject::invokeMethod(this, &HttpClient::startNext, Qt::QueuedConnection);
}

void HttpClient::startNext()
{
    startScheduled = false;
    if (current.id != 0 || queue.isEmpty())
        return;
    current = queue.takeFirst();
    const int id = current.id;
    emit requestStarted(id);
    if (current.id != id)
        return;
    if (current.endpoint) {
        endpoint = *current.endpoint;
        finishCurrent(false);
        return;
    }
    startGet();
}

void HttpClient::startGet()
{
    QString path = current.path;
    if (!path.startsWith(QLatin1Char('/')))
        path.prepend(QLatin1Char('/'));
    QNetworkRequest request(
        QUrl(QStringLiteral("http://") + endpoint.authority() + path, QUrl::TolerantMode));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setHeader(QNetworkRequest::UserAgentHeader, QByteArrayLiteral("relka/" RELKA_VERSION));
    // Bodies are delivered as sent: progress counts the announced bytes and
    // nothing is unpacked behind the caller's back.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setTransferTimeout(transferTimeout);

    headerEmitted = false;
    bodyTotal = 0;
    bodyDone = 0;
    reply = manager->get(request);
    reply->setReadBufferSize(readBufferSize);
    connect(reply, &QNetworkReply::metaDataChanged, this, &HttpClient::emitHeaderOnce);
    connect(reply, &QNetworkReply::readyRead, this, &HttpClient::readBody);
    connect(reply, &QNetworkReply::finished, this, &HttpClient::replyFinished);
    connect(reply, &QNetworkReply::sslErrors, this, &HttpClient::sslErrors);
}

void HttpClient::emitHeaderOnce()
{
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (headerEmitted || !status.isValid())
        return;
    headerEmitted = true;
    const HttpResponseHeader header(status.toInt(),
        QString::fromLatin1(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray()),
        reply->rawHeaderPairs());
    // A negative length is as good as none.
    bodyTotal = qMax<qint64>(0, header.contentLength());
    emit responseHeaderReceived(header);
}

// Each piece goes straight to the device, so a large body is never held in
// full by the client. A device that does not take a piece ends the transfer.
void HttpClient::readBody()
{
    const int id = current.id;
    emitHeaderOnce();
    // A reply that timed out is closed already.
    if (current.id != id || !reply->isOpen())
        return;
    const QByteArray piece = reply->readAll();
    if (piece.isEmpty())
        return;
    if (current.device && current.device->write(piece) != piece.size()) {
        lastError = tr("The body could not be stored");
        refused = true;
        finishCurrent(true);
        return;
    }
    bodyDone += piece.size();
    emit dataReadProgress(clampedToInt(bodyDone), clampedToInt(bodyTotal));
}

void HttpClient::replyFinished()
{
    const int id = current.id;
    readBody();
    if (current.id != id)
        return;
    const bool broken = reply->error() == QNetworkReply::NoError && isBrokenChunkedBody(reply, bodyDone);
    const bool failed = broken || isTransportFailure(reply);
    if (failed) {
        lastError = broken ? tr("Invalid HTTP chunked body") : reply->errorString();
        refused = false;
    }
    finishCurrent(failed);
}

// The next operation is scheduled before the report goes out, so a slot
// that waits in a nested event loop (a message box) does not stall the queue.
void HttpClient::finishCurrent(bool error)
{
    const int id = current.id;
    releaseReply();
    current = Operation();
    if (error)
        queue.clear();
    scheduleNext();
    emit requestFinished(id, error);
}

void HttpClient::releaseReply()
{
    if (!reply)
        return;
    disconnect(reply, nullptr, this, nullptr);
    if (!reply->isFinished())
        reply->abort();
    reply->deleteLater();
    reply = nullptr;
}
