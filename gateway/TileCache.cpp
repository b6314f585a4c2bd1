#include "TileCache.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

QString rulePath(const QString& tile) { return tile + QStringLiteral(".json"); }

bool writeWhole(const QString& path, const QByteArray& data)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
}

}

TileCache::TileCache(const QString& directory)
    : directory(directory)
{
}

QString TileCache::tilePath(int zoom, int x, int y) const
{
    return QStringLiteral("%1/%2/%3/%4.png").arg(directory).arg(zoom).arg(x).arg(y);
}

std::optional<TileCache::Entry> TileCache::find(int zoom, int x, int y) const
{
    const QString tile = tilePath(zoom, x, y);
    QFile body(tile);
    QFile rule(rulePath(tile));
    if (!body.open(QIODevice::ReadOnly) || !rule.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonObject fields = QJsonDocument::fromJson(rule.readAll()).object();
    Entry entry { body.readAll(), {} };
    entry.rule.etag = fields.value(QLatin1String("etag")).toString().toLatin1();
    entry.rule.lastModified = fields.value(QLatin1String("lastModified")).toString().toLatin1();
    entry.rule.freshUntil
        = QDateTime::fromString(fields.value(QLatin1String("freshUntil")).toString(), Qt::ISODate);
    return entry;
}

bool TileCache::store(int zoom, int x, int y, const Entry& entry) const
{
    const QString tile = tilePath(zoom, x, y);
    return QDir().mkpath(QFileInfo(tile).path()) && writeWhole(tile, entry.body)
        && writeRule(tile, entry.rule);
}

bool TileCache::renew(int zoom, int x, int y, const CacheRule& rule) const
{
    std::optional<Entry> entry = find(zoom, x, y);
    if (!entry)
        return false;
    CacheRule renewed = rule;
    if (renewed.etag.isEmpty())
        renewed.etag = entry->rule.etag;
    if (renewed.lastModified.isEmpty())
        renewed.lastModified = entry->rule.lastModified;
    return writeRule(tilePath(zoom, x, y), renewed);
}

bool TileCache::writeRule(const QString& tile, const CacheRule& rule) const
{
    const QJsonObject fields { { QStringLiteral("etag"), QString::fromLatin1(rule.etag) },
        { QStringLiteral("lastModified"), QString::fromLatin1(rule.lastModified) },
        { QStringLiteral("freshUntil"), rule.freshUntil.toUTC().toString(Qt::ISODate) } };
    return writeWhole(rulePath(tile), QJsonDocument(fields).toJson(QJsonDocument::Compact));
}
