#include "UpstreamClient.h"

#include <QDateTime>
#include <QFile>
#include <QNetworkReply>
#include <QTimer>

#include <memory>

QByteArray UpstreamReply::header(const QByteArray& name) const
{
    for (const auto& [field, value] : headers) {
        if (field.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

UpstreamClient::UpstreamClient(
    const QByteArray& userAgent, int timeoutSeconds, int connections, QObject* parent)
    : QObject(parent)
    , userAgent(userAgent)
    , timeoutSeconds(timeoutSeconds)
    , connections(connections)
{
    network.setAutoDeleteReplies(true);
}

UpstreamClient::~UpstreamClient()
{
    for (QNetworkReply* reply : network.findChildren<QNetworkReply*>()) {
        reply->disconnect(this);
        reply->abort();
    }
}

void UpstreamClient::get(const Call& call, const Done& done)
{
    queue.enqueue({ call, done });
    // From the event loop, so done never runs inside get().
    QTimer::singleShot(0, this, &UpstreamClient::startNext);
}

void UpstreamClient::startNext()
{
    while (active < connections && !queue.isEmpty())
        start(queue.dequeue());
}

void UpstreamClient::start(const Pending& pending)
{
    ++active;
    QNetworkRequest request(pending.call.url);
    request.setHeader(QNetworkRequest::UserAgentHeader, userAgent);
    for (const auto& [name, value] : pending.call.headers)
        request.setRawHeader(name, value);
    request.setTransferTimeout(timeoutSeconds * 1000);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    QNetworkReply* reply = network.get(request);
    std::shared_ptr<QFile> file;
    if (!pending.call.file.isEmpty()) {
        file = std::make_shared<QFile>(pending.call.file);
        connect(reply, &QNetworkReply::readyRead, this, [reply, file] {
            if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 200)
                return;
            if (!file->isOpen() && !file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
                reply->abort();
                return;
            }
            file->write(reply->readAll());
        });
    }
    const qint64 started = QDateTime::currentMSecsSinceEpoch();
    connect(reply, &QNetworkReply::finished, this, [this, reply, pending, started, file] {
        if (file) {
            const bool complete = reply->error() == QNetworkReply::NoError && file->isOpen()
                && reply->isOpen() && file->write(reply->readAll()) >= 0 && file->flush();
            file->close();
            if (!complete)
                file->remove();
        }
        finish(reply, pending, started);
    });
}

void UpstreamClient::finish(QNetworkReply* reply, const Pending& pending, qint64 started)
{
    --active;
    UpstreamReply answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer.reason = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray();
    answer.headers = reply->rawHeaderPairs();
    if (pending.call.file.isEmpty() && reply->isOpen())
        answer.body = reply->readAll();
    const bool timedOut = reply->error() == QNetworkReply::OperationCanceledError;
    const bool bodyLost = answer.status == 200 && reply->error() != QNetworkReply::NoError;
    if (answer.status == 0 || bodyLost || timedOut) {
        answer.status = 0;
        answer.timedOut = timedOut;
        answer.failure
            = timedOut ? QStringLiteral("no answer within %1 s").arg(timeoutSeconds) : reply->errorString();
    }
    const double seconds = double(QDateTime::currentMSecsSinceEpoch() - started) / 1000;
    qInfo().noquote()
        << QStringLiteral("upstream GET %1 -> %2, %3 bytes in %4 s")
               .arg(pending.call.url.toDisplayString(QUrl::RemoveQuery),
                   answer.status
                       ? QStringLiteral("%1 %2").arg(answer.status).arg(QString::fromLatin1(answer.reason))
                       : answer.failure)
               .arg(pending.call.file.isEmpty() ? answer.body.size() : QFile(pending.call.file).size())
               .arg(seconds, 0, 'f', 3);
    pending.done(answer);
    startNext();
}
