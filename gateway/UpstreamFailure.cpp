#include "UpstreamFailure.h"

#include "UpstreamClient.h"

QString UpstreamFailure::reason(const QString& source, const UpstreamReply& reply)
{
    if (reply.status == 0)
        return QStringLiteral("%1: %2").arg(source, reply.failure);
    const QString answer
        = QStringLiteral("%1 %2").arg(reply.status).arg(QString::fromLatin1(reply.reason)).trimmed();
    if (reply.rateLimited)
        return QStringLiteral("%1: rate limited (%2)").arg(source, answer);
    return QStringLiteral("%1: %2").arg(source, answer);
}

int UpstreamFailure::status(const UpstreamReply& reply)
{
    if (reply.timedOut)
        return 504;
    return reply.rateLimited ? 503 : 502;
}

HttpResponse UpstreamFailure::response(const QString& source, const UpstreamReply& reply)
{
    return HttpResponse::failure(status(reply), reason(source, reply));
}

TerrainFailure UpstreamFailure::terrain(const QString& source, const UpstreamReply& reply)
{
    return { status(reply), reason(source, reply) };
}
