#include "DemTileStore.h"

#include "ContentRange.h"
#include "UpstreamClient.h"
#include "UpstreamFailure.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <memory>

namespace {

// Enough for the header of a cloud-optimised tile: its directories and the
// places of all its blocks.
constexpr qint64 headerBytes = 64 * 1024;

QString absentMarker(const QString& path) { return path + QStringLiteral(".absent"); }

QByteArray rangeField(const ByteRange& range)
{
    return "bytes=" + QByteArray::number(range.offset) + '-' + QByteArray::number(range.end() - 1);
}

// A 200 answer to a range request: the whole tile, which replaces the pieces.
bool keepWhole(const QString& part, const QString& path)
{
    const bool kept = QFile::rename(part, path) || QFileInfo::exists(path);
    if (kept)
        PartialFile(path).remove();
    return kept;
}

}

DemTileStore::DemTileStore(const QString& directory, UpstreamClient& upstream)
    : directory(directory)
    , upstream(upstream)
{
}

QString DemTileStore::pathOf(const DemSeries& series, int south, int west) const
{
    return directory + QLatin1Char('/') + series.cacheName(south, west);
}

void DemTileStore::fetch(const DemSeries& series, int south, int west, const Ready& ready)
{
    const QString path = pathOf(series, south, west);
    if (QFileInfo::exists(path)) {
        ready({ path });
        return;
    }
    if (QFileInfo::exists(absentMarker(path))) {
        ready({});
        return;
    }
    if (PartialFile(path).exists()) {
        ready({ path, true });
        return;
    }
    const bool running = waiting.contains(path);
    waiting[path].append(ready);
    if (running)
        return;
    const QString part = path + QStringLiteral(".part");
    if (!QDir().mkpath(QFileInfo(path).path())) {
        finish(path,
            { {}, false,
                TerrainFailure { 500, QStringLiteral("cannot write the DEM cache %1").arg(directory) } });
        return;
    }
    const QString cell = DemSeries::cellName(south, west);
    UpstreamClient::Call call { series.url(south, west), {}, part };
    if (series.format == DemSeries::Format::GeoTiff)
        call.headers.append({ "Range", rangeField({ 0, headerBytes }) });
    upstream.get(call, [this, path, part, cell](const UpstreamReply& reply) {
        const std::optional<ContentRange> range = ContentRange::parse(reply.header("Content-Range"));
        PartialFile partial(path);
        if (reply.status == 200 && keepWhole(part, path)) {
            finish(path, { path });
        } else if (reply.status == 206 && range && range->first == 0 && partial.create(range->size)
            && partial.store(0, part)) {
            QFile::remove(part);
            finish(path, { path, true });
        } else if (reply.status == 404) {
            QFile(absentMarker(path)).open(QIODevice::WriteOnly);
            finish(path, {});
        } else {
            QFile::remove(part);
            partial.remove();
            finish(path,
                { {}, false, UpstreamFailure::terrain(QStringLiteral("DEM tile %1").arg(cell), reply) });
        }
    });
}

void DemTileStore::fetchRanges(
    const DemSeries& series, int south, int west, const QList<ByteRange>& ranges, const Ready& ready)
{
    struct Batch {
        int outstanding;
        Tile tile;
    };
    const QString path = pathOf(series, south, west);
    auto batch = std::make_shared<Batch>(Batch { int(ranges.size()), { path, true } });
    const QString source = QStringLiteral("DEM tile %1").arg(DemSeries::cellName(south, west));
    for (const ByteRange& range : ranges) {
        const QString part = path + QStringLiteral(".%1.part").arg(range.offset);
        upstream.get({ series.url(south, west), { { "Range", rangeField(range) } }, part },
            [path, part, range, batch, ready, source](const UpstreamReply& reply) {
                const std::optional<ContentRange> answered
                    = ContentRange::parse(reply.header("Content-Range"));
                if (reply.status == 200 && keepWhole(part, path)) {
                    batch->tile.partial = false;
                } else if (!batch->tile.partial && QFileInfo::exists(path)) {
                    // Whole already: the pieces are of no use.
                } else if (reply.status != 206) {
                    batch->tile.failure = UpstreamFailure::terrain(source, reply);
                } else if (!answered || answered->first != range.offset) {
                    batch->tile.failure = TerrainFailure { 502,
                        QStringLiteral("%1: the server sent other bytes than asked for").arg(source) };
                } else if (!PartialFile(path).store(range.offset, part)) {
                    batch->tile.failure
                        = TerrainFailure { 500, QStringLiteral("cannot write the DEM cache") };
                }
                QFile::remove(part);
                if (--batch->outstanding == 0)
                    ready(batch->tile);
            });
    }
}

void DemTileStore::finish(const QString& path, const Tile& tile)
{
    for (const Ready& ready : waiting.take(path))
        ready(tile);
}
