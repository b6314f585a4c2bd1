#include "TileAddress.h"

#include <QRegularExpression>

std::optional<TileAddress> TileAddress::fromPath(const QString& path)
{
    static const QRegularExpression pattern(QStringLiteral("^/(\\d{1,3})/(\\d{1,9})/(\\d{1,9})\\.png$"));
    const QRegularExpressionMatch match = pattern.match(path);
    if (!match.hasMatch())
        return std::nullopt;
    return TileAddress { match.captured(1).toInt(), match.captured(2).toLongLong(),
        match.captured(3).toLongLong() };
}

bool TileAddress::exists(int maximumZoom) const
{
    return zoom <= maximumZoom && x < (qint64(1) << zoom) && y < (qint64(1) << zoom);
}
