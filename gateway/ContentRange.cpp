#include "ContentRange.h"

#include <QRegularExpression>

std::optional<ContentRange> ContentRange::parse(const QByteArray& value)
{
    static const QRegularExpression pattern(QStringLiteral("^bytes (\\d+)-(\\d+)/(\\d+|\\*)$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(value.trimmed()));
    if (!match.hasMatch())
        return std::nullopt;
    const ContentRange range { match.captured(1).toLongLong(), match.captured(2).toLongLong(),
        match.captured(3) == QLatin1String("*") ? -1 : match.captured(3).toLongLong() };
    if (range.last < range.first || (range.size >= 0 && range.last >= range.size))
        return std::nullopt;
    return range;
}
