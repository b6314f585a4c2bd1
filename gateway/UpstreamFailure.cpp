#include "UpstreamFailure.h"

#include "UpstreamClient.h"

QString UpstreamFailure::reason(const QString& source, const UpstreamReply& reply)
{
    if (reply.status == 0)
        return QStringLiteral("%1: %2").arg(source, reply.failure);
    return QStringLiteral("%1: %2 %3")
        .arg(source)
        .arg(reply.status)
        .arg(QString::fromLatin1(reply.reason))
        .trimmed();
}

HttpResponse UpstreamFailure::response(const QString& source, const UpstreamReply& reply)
{
    return HttpResponse::failure(reply.timedOut ? 504 : 502, reason(source, reply));
}
