#include "UpstreamClient.h"

#include "ContentRange.h"
#include "HttpDate.h"

#include <QDateTime>
#include <QFile>
#include <QNetworkReply>
#include <QTimer>

#include <optional>

namespace {

// A few, so a short burst of refusals or a flaky line is ridden out, but a
// server that keeps refusing is left alone.
constexpr int maximumRetries = 3;
constexpr int maximumResumptions = 3;

int statusOf(QNetworkReply* reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// Seconds from a Retry-After of seconds or of a date; nothing without one.
std::optional<qint64> retryAfter(QNetworkReply* reply)
{
    const QByteArray value = reply->rawHeader("Retry-After").trimmed();
    bool isNumber = false;
    const qint64 seconds = value.toLongLong(&isNumber);
    if (isNumber)
        return std::max<qint64>(0, seconds);
    const QDateTime date = HttpDate::parse(value);
    if (!date.isValid())
        return std::nullopt;
    return std::max<qint64>(0, QDateTime::currentDateTimeUtc().secsTo(date));
}

}

struct UpstreamClient::Transfer {
    Call call;
    Done done;
    qint64 started = 0;
    int retries = 0;
    int resumptions = 0;
    QFile file;
    // The answer that began the body in the file; resumptions add to it.
    int status = 0;
    QByteArray reason;
    QList<QPair<QByteArray, QByteArray>> headers;
    // Where the body in the file begins within the whole, and where it
    // ends (empty: at the end of the whole).
    qint64 first = 0;
    QByteArray last;
    // The size the whole body announced; -1 when unknown.
    qint64 size = -1;
    // Per attempt: whether its body has been looked at, and taken.
    bool decided = false;
    bool accepted = false;

    // A connection that closes early does not always report an error.
    bool cutOff(QNetworkReply* reply)
    {
        return accepted && (reply->error() != QNetworkReply::NoError || (size >= 0 && file.size() < size));
    }
};

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
    auto transfer = std::make_shared<Transfer>();
    transfer->call = call;
    transfer->done = done;
    transfer->file.setFileName(call.file);
    queue.enqueue(transfer);
    // From the event loop, so done never runs inside get().
    QTimer::singleShot(0, this, &UpstreamClient::startNext);
}

void UpstreamClient::startNext()
{
    while (active < connections && !queue.isEmpty()) {
        ++active;
        start(queue.dequeue());
    }
}

void UpstreamClient::start(const std::shared_ptr<Transfer>& transfer)
{
    QNetworkRequest request(transfer->call.url);
    request.setHeader(QNetworkRequest::UserAgentHeader, userAgent);
    for (const auto& [name, value] : transfer->call.headers)
        request.setRawHeader(name, value);
    if (transfer->status != 0) {
        // The rest of what the first answer began, and only if it is still the same.
        request.setRawHeader("Range",
            "bytes=" + QByteArray::number(transfer->first + transfer->file.size()) + '-' + transfer->last);
        const UpstreamReply begun { .headers = transfer->headers };
        const QByteArray etag = begun.header("ETag");
        const QByteArray validator = etag.isEmpty() ? begun.header("Last-Modified") : etag;
        if (!validator.isEmpty())
            request.setRawHeader("If-Range", validator);
    }
    request.setTransferTimeout(timeoutSeconds * 1000);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    transfer->started = QDateTime::currentMSecsSinceEpoch();
    transfer->decided = transfer->accepted = false;
    QNetworkReply* reply = network.get(request);
    if (!transfer->call.file.isEmpty())
        connect(
            reply, &QNetworkReply::readyRead, this, [this, reply, transfer] { receive(reply, *transfer); });
    connect(reply, &QNetworkReply::finished, this, [this, reply, transfer] { finish(reply, transfer); });
}

void UpstreamClient::receive(QNetworkReply* reply, Transfer& transfer)
{
    if (!transfer.decided) {
        transfer.decided = true;
        const int status = statusOf(reply);
        const std::optional<ContentRange> range = ContentRange::parse(reply->rawHeader("Content-Range"));
        const bool continues = transfer.status != 0 && status == 206 && range
            && range->first == transfer.first + transfer.file.size();
        transfer.accepted = status == 200 || (status == 206 && range && (transfer.status == 0 || continues));
        if (transfer.accepted && !continues) {
            // A first answer, or a server that sends the whole again.
            transfer.file.close();
            transfer.accepted = transfer.file.open(QIODevice::WriteOnly | QIODevice::Truncate);
            transfer.status = status;
            transfer.reason = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray();
            transfer.headers = reply->rawHeaderPairs();
            transfer.first = status == 206 ? range->first : 0;
            transfer.last = status == 206 ? QByteArray::number(range->last) : QByteArray();
            // A body that arrives encoded is decoded on the way, so its length says nothing.
            bool announced = false;
            const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(&announced);
            const bool plain = reply->rawHeader("Content-Encoding").isEmpty();
            transfer.size = status == 206 ? range->last - range->first + 1 : announced && plain ? length : -1;
        }
    }
    const QByteArray data = reply->readAll();
    if (transfer.accepted && transfer.file.write(data) != data.size())
        transfer.accepted = false;
}

bool UpstreamClient::again(QNetworkReply* reply, const std::shared_ptr<Transfer>& transfer)
{
    const int status = statusOf(reply);
    const std::optional<qint64> wait = retryAfter(reply);
    if ((status == 429 || status == 503) && wait && *wait <= timeoutSeconds
        && transfer->retries < maximumRetries) {
        ++transfer->retries;
        log(*transfer, QStringLiteral("%1, asked again in %2 s").arg(status).arg(*wait));
        QTimer::singleShot(int(*wait) * 1000, this, [this, transfer] { start(transfer); });
        return true;
    }
    if (transfer->cutOff(reply) && transfer->resumptions < maximumResumptions) {
        ++transfer->resumptions;
        log(*transfer, QStringLiteral("cut off after %1 bytes, resumed").arg(transfer->file.size()));
        start(transfer);
        return true;
    }
    return false;
}

void UpstreamClient::finish(QNetworkReply* reply, const std::shared_ptr<Transfer>& transfer)
{
    const bool toFile = !transfer->call.file.isEmpty();
    if (toFile && reply->isOpen())
        receive(reply, *transfer);
    if (again(reply, transfer))
        return;
    --active;
    UpstreamReply answer;
    answer.status = transfer->status ? transfer->status : statusOf(reply);
    answer.reason = transfer->status
        ? transfer->reason
        : reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray();
    answer.headers = transfer->status ? transfer->headers : reply->rawHeaderPairs();
    if (!toFile && reply->isOpen())
        answer.body = reply->readAll();
    answer.rateLimited
        = answer.status == 429 || (answer.status == 503 && !reply->rawHeader("Retry-After").isEmpty());
    const bool timedOut = reply->error() == QNetworkReply::OperationCanceledError;
    const bool bodyWanted = answer.status == 200 || answer.status == 206;
    const bool bodyLost = bodyWanted
        && (reply->error() != QNetworkReply::NoError
            || (toFile && (!transfer->accepted || transfer->cutOff(reply) || !transfer->file.flush())));
    if (answer.status == 0 || bodyLost || timedOut) {
        answer.status = 0;
        answer.timedOut = timedOut;
        answer.failure = timedOut ? QStringLiteral("no answer within %1 s").arg(timeoutSeconds)
            : reply->error() != QNetworkReply::NoError ? reply->errorString()
                                                       : QStringLiteral("the body came incomplete");
    }
    log(*transfer,
        QStringLiteral("%1, %2 bytes")
            .arg(answer.status
                    ? QStringLiteral("%1 %2").arg(answer.status).arg(QString::fromLatin1(answer.reason))
                    : answer.failure)
            .arg(toFile ? transfer->file.size() : answer.body.size()));
    if (toFile) {
        transfer->file.close();
        if (!bodyWanted || answer.status == 0)
            transfer->file.remove();
    }
    transfer->done(answer);
    startNext();
}

void UpstreamClient::log(const Transfer& transfer, const QString& outcome) const
{
    const QByteArray range = UpstreamReply { .headers = transfer.call.headers }.header("Range");
    const double seconds = double(QDateTime::currentMSecsSinceEpoch() - transfer.started) / 1000;
    qInfo().noquote() << QStringLiteral("upstream GET %1%2 -> %3 in %4 s")
                             .arg(transfer.call.url.toDisplayString(QUrl::RemoveQuery),
                                 range.isEmpty() ? QString()
                                                 : QStringLiteral(" (%1)").arg(QLatin1String(range)),
                                 outcome)
                             .arg(seconds, 0, 'f', 3);
}
