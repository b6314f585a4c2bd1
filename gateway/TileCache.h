#pragma once

#include "CacheRule.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Map tiles on disk, "z/x/y.png" under the folder, each with a small JSON
// file beside it that keeps its validators and how long it is fresh.
class TileCache {
public:
    struct Entry {
        QByteArray body;
        CacheRule rule;
    };

    explicit TileCache(const QString& directory);

    std::optional<Entry> find(int zoom, int x, int y) const;
    // Replaces the tile; false when it cannot be written.
    bool store(int zoom, int x, int y, const Entry& entry) const;
    // A revalidated tile: new freshness, and new validators where given.
    bool renew(int zoom, int x, int y, const CacheRule& rule) const;

private:
    QString tilePath(int zoom, int x, int y) const;
    bool writeRule(const QString& tile, const CacheRule& rule) const;

    QString directory;
};
