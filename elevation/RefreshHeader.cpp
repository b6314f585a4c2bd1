#include "elevation/RefreshHeader.h"

RefreshHeader RefreshHeader::parse(const QString& value)
{
    RefreshHeader refresh;
    const qsizetype semicolon = value.indexOf(QLatin1Char(';'));
    refresh.seconds = value.left(semicolon).toInt();
    if (semicolon < 0)
        return refresh;
    const QLatin1String marker(" URL=");
    const qsizetype start = value.indexOf(marker, 0, Qt::CaseInsensitive);
    if (start < 0)
        refresh.undecodable = true;
    else
        refresh.url = value.mid(start + marker.size());
    return refresh;
}
