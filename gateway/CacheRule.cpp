#include "CacheRule.h"

#include "HttpDate.h"
#include "UpstreamClient.h"

#include <QRegularExpression>

CacheRule CacheRule::of(const UpstreamReply& reply, const QDateTime& now)
{
    CacheRule rule;
    rule.etag = reply.header("ETag");
    rule.lastModified = reply.header("Last-Modified");
    const QByteArray control = reply.header("Cache-Control").toLower();
    if (control.contains("no-store")) {
        rule.storable = false;
        return rule;
    }
    if (control.contains("no-cache"))
        return rule;
    // The gateway is one user's private cache: s-maxage is not for it.
    static const QRegularExpression maxAge(QStringLiteral("(?:^|[ ,])max-age\\s*=\\s*\"?(\\d+)"));
    const QRegularExpressionMatch age = maxAge.match(QString::fromLatin1(control));
    if (age.hasMatch()) {
        rule.freshUntil = now.addSecs(age.captured(1).toLongLong());
        return rule;
    }
    const QDateTime expires = HttpDate::parse(reply.header("Expires"));
    if (expires.isValid()) {
        // Measured against the server's clock, applied to ours.
        const QDateTime date = HttpDate::parse(reply.header("Date"));
        rule.freshUntil = now.addSecs((date.isValid() ? date : now).secsTo(expires));
    }
    return rule;
}
