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
    static std::atomic<int> counter{0};
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
    return int(qMin<qint64>(value, std::numeric_limits<int>::max()));
}

} // namespace

HttpClient::HttpClient(QObject* parent)
    : QObject(parent)
    , m_manager(new QNetworkAccessManager(this))
    , m_errorString(tr("Unknown error"))
{
    qRegisterMetaType<HttpResponseHeader>();
}

HttpClient::~HttpClient()
{
    releaseReply();
}

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
    m_queue.clear();
    if (m_current.id == 0)
        return;
    m_errorString = tr("Request aborted");
    finishCurrent(true);
}

bool HttpClient::hasPendingRequests() const
{
    return !m_queue.isEmpty();
}

void HttpClient::clearPendingRequests()
{
    m_queue.clear();
}

int HttpClient::currentId() const
{
    return m_current.id;
}

QString HttpClient::errorString() const
{
    return m_errorString;
}

void HttpClient::setTransferTimeout(int milliseconds)
{
    m_transferTimeout = milliseconds;
}

void HttpClient::ignoreSslErrors()
{
    if (m_reply)
        m_reply->ignoreSslErrors();
}

int HttpClient::enqueue(Operation operation)
{
    operation.id = nextId();
    m_queue.append(operation);
    scheduleNext();
    return operation.id;
}

// Operations start from the event loop, never inside the call that queued
// them, so a caller always has the id before any signal names it.
void HttpClient::scheduleNext()
{
    if (m_current.id != 0 || m_startScheduled || m_queue.isEmpty())
        return;
    m_startScheduled = true;
    QMetaObject::invokeMethod(this, &HttpClient::startNext, Qt::QueuedConnection);
}

void HttpClient::startNext()
{
    m_startScheduled = false;
    if (m_current.id != 0 || m_queue.isEmpty())
        return;
    m_current = m_queue.takeFirst();
    const int id = m_current.id;
    emit requestStarted(id);
    if (m_current.id != id)
        return;
    if (m_current.endpoint) {
        m_endpoint = *m_current.endpoint;
        finishCurrent(false);
        return;
    }
    startGet();
}

void HttpClient::startGet()
{
    QString path = m_current.path;
    if (!path.startsWith(QLatin1Char('/')))
        path.prepend(QLatin1Char('/'));
    QNetworkRequest request(QUrl(QStringLiteral("http://") + m_endpoint.authority() + path, QUrl::TolerantMode));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setHeader(QNetworkRequest::UserAgentHeader, QByteArrayLiteral("relka/" RELKA_VERSION));
    // Bodies are delivered as sent: progress counts the announced bytes and
    // nothing is unpacked behind the caller's back.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setTransferTimeout(m_transferTimeout);

    m_headerEmitted = false;
    m_bodyTotal = 0;
    m_bodyDone = 0;
    m_reply = m_manager->get(request);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &HttpClient::emitHeaderOnce);
    connect(m_reply, &QNetworkReply::readyRead, this, &HttpClient::readBody);
    connect(m_reply, &QNetworkReply::finished, this, &HttpClient::replyFinished);
    connect(m_reply, &QNetworkReply::sslErrors, this, &HttpClient::sslErrors);
}

void HttpClient::emitHeaderOnce()
{
    const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (m_headerEmitted || !status.isValid())
        return;
    m_headerEmitted = true;
    const HttpResponseHeader header(
        status.toInt(),
        QString::fromLatin1(m_reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray()),
        m_reply->rawHeaderPairs());
    m_bodyTotal = header.contentLength();
    emit responseHeaderReceived(header);
}

// Each piece goes straight to the device, so a large body is never held in
// full by the client.
void HttpClient::readBody()
{
    const int id = m_current.id;
    emitHeaderOnce();
    // A reply that timed out is closed already.
    if (m_current.id != id || !m_reply->isOpen())
        return;
    const QByteArray piece = m_reply->readAll();
    if (piece.isEmpty())
        return;
    if (m_current.device)
        m_current.device->write(piece);
    m_bodyDone += piece.size();
    emit dataReadProgress(clampedToInt(m_bodyDone), clampedToInt(m_bodyTotal));
}

void HttpClient::replyFinished()
{
    const int id = m_current.id;
    readBody();
    if (m_current.id != id)
        return;
    const bool failed = isTransportFailure(m_reply);
    if (failed)
        m_errorString = m_reply->errorString();
    finishCurrent(failed);
}

// The next operation is scheduled before the report goes out, so a slot
// that waits in a nested event loop (a message box) does not stall the queue.
void HttpClient::finishCurrent(bool error)
{
    const int id = m_current.id;
    releaseReply();
    m_current = Operation();
    if (error)
        m_queue.clear();
    scheduleNext();
    emit requestFinished(id, error);
}

void HttpClient::releaseReply()
{
    if (!m_reply)
        return;
    disconnect(m_reply, nullptr, this, nullptr);
    if (!m_reply->isFinished())
        m_reply->abort();
    m_reply->deleteLater();
    m_reply = nullptr;
}
