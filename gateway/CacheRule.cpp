#include "CacheRule.h"

#include "UpstreamClient.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTimeZone>

namespace {

// The date format of HTTP headers, "Sun, 06 Nov 1994 08:49:37 GMT".
QDateTime httpDate(const QByteArray& text)
{
    const QString date = QString::fromLatin1(text.trimmed());
    if (!date.endsWith(QLatin1String(" GMT")))
        return {};
    QDateTime parsed = QLocale::c().toDateTime(date.chopped(4), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss"));
    parsed.setTimeZone(QTimeZone::utc());
    return parsed;
}

}

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
    const QDateTime expires = httpDate(reply.header("Expires"));
    if (expires.isValid()) {
        // Measured against the server's clock, applied to ours.
        const QDateTime date = httpDate(reply.header("Date"));
        rule.freshUntil = now.addSecs((date.isValid() ? date : now).secsTo(expires));
    }
    return rule;
}
