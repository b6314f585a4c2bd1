#include "DemTileStore.h"

#include "UpstreamClient.h"
#include "UpstreamFailure.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

QString absentMarker(const QString& path) { return path + QStringLiteral(".absent"); }

}

DemTileStore::DemTileStore(const QString& directory, UpstreamClient& upstream)
    : directory(directory)
    , upstream(upstream)
{
}

void DemTileStore::fetch(const DemSeries& series, int south, int west, const Ready& ready)
{
    const QString path = directory + QLatin1Char('/') + series.cacheName(south, west);
    if (QFileInfo::exists(path)) {
        ready({ path, {} });
        return;
    }
    if (QFileInfo::exists(absentMarker(path))) {
        ready({});
        return;
    }
    const bool running = waiting.contains(path);
    waiting[path].append(ready);
    if (running)
        return;
    const QString part = path + QStringLiteral(".part");
    if (!QDir().mkpath(QFileInfo(path).path())) {
        finish(path, { {}, QStringLiteral("cannot write the DEM cache %1").arg(directory) });
        return;
    }
    const QString cell = DemSeries::cellName(south, west);
    upstream.get({ series.url(south, west), {}, part }, [this, path, part, cell](const UpstreamReply& reply) {
        if (reply.status == 200 && QFile::rename(part, path)) {
            finish(path, { path, {} });
        } else if (reply.status == 404) {
            QFile(absentMarker(path)).open(QIODevice::WriteOnly);
            finish(path, {});
        } else {
            QFile::remove(part);
            finish(path, { {}, UpstreamFailure::reason(QStringLiteral("DEM tile %1").arg(cell), reply) });
        }
    });
}

void DemTileStore::finish(const QString& path, const Tile& tile)
{
    for (const Ready& ready : waiting.take(path))
        ready(tile);
}
