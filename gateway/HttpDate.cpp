#include "HttpDate.h"

#include <QLocale>
#include <QTimeZone>

QDateTime HttpDate::parse(const QByteArray& text)
{
    const QString date = QString::fromLatin1(text.trimmed());
    if (!date.endsWith(QLatin1String(" GMT")))
        return {};
    QDateTime parsed = QLocale::c().toDateTime(date.chopped(4), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss"));
    parsed.setTimeZone(QTimeZone::utc());
    return parsed;
}
