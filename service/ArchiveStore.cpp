#include "ArchiveStore.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QPointer>
#include <QTimer>
#include <QtConcurrent>

namespace {

constexpr qint64 failureMemory = 60'000;

}

ArchiveStore::ArchiveStore(
    const QString& directory, bool withHeader, TerrainProvider& terrain, QObject* parent)
    : QObject(parent)
    , temporary(directory.isEmpty() ? std::make_unique<QTemporaryDir>() : nullptr)
    , directory(temporary ? temporary->path() : directory)
    , withHeader(withHeader)
    , terrain(terrain)
{
    builders.setMaxThreadCount(1);
}

ArchiveStore::~ArchiveStore()
{
    stop = true;
    builders.waitForDone();
}

bool ArchiveStore::isUsable() const { return !directory.isEmpty() && QDir().mkpath(directory); }

QString ArchiveStore::pathFor(const ElevationProduct& product, const ExtractArea& area) const
{
    const RasterGrid grid = gridFor(product, area);
    return QStringLiteral("%1/%2_%3_%4_%5x%6%7%8.zip")
        .arg(directory, QLatin1String(product.code))
        .arg(grid.topRow)
        .arg(grid.leftColumn)
        .arg(grid.rows)
        .arg(grid.columns)
        .arg(grid.cellCentred ? QStringLiteral("_cells") : QString(),
            withHeader ? QString() : QStringLiteral("_nohdr"));
}

void ArchiveStore::prepare(const ElevationProduct& product, const ExtractArea& area)
{
    const QString path = pathFor(product, area);
    if (QFileInfo::exists(path) || waiting.contains(path)
        || unreported.value(path).until > QDateTime::currentMSecsSinceEpoch())
        return;
    waiting.insert(path, {});
    const ArchiveBuilder builder(product, area, gridFor(product, area), withHeader);
    qInfo().noquote() << QStringLiteral("building %1: %2 x %3 samples of %4")
                             .arg(QFileInfo(path).fileName())
                             .arg(builder.rasterGrid().columns)
                             .arg(builder.rasterGrid().rows)
                             .arg(QLatin1String(product.code));
    terrain.load(product, builder.rasterGrid(),
        [store = QPointer<ArchiveStore>(this), builder, path](
            std::shared_ptr<const TerrainRows> rows, const TerrainFailure& failure) {
            if (!store)
                return;
            if (rows)
                store->build(builder, path, std::move(rows));
            else
                store->finish(path, false, failure);
        });
}

void ArchiveStore::build(
    const ArchiveBuilder& builder, const QString& path, std::shared_ptr<const TerrainRows> rows)
{
    auto* watcher = new QFutureWatcher<bool>(this);
    connect(watcher, &QFutureWatcher<bool>::finished, this, [this, watcher, path] {
        watcher->deleteLater();
        finish(path, watcher->result());
    });
    watcher->setFuture(QtConcurrent::run(&builders, [this, builder, path, rows] {
        QElapsedTimer clock;
        clock.start();
        const QString part = path + QStringLiteral(".part");
        const bool built = builder.write(part, *rows, stop) && QFile::rename(part, path);
        if (built)
            qInfo().noquote() << QStringLiteral("built %1 in %2 s, %3 bytes")
                                     .arg(QFileInfo(path).fileName())
                                     .arg(double(clock.elapsed()) / 1000, 0, 'f', 2)
                                     .arg(QFileInfo(path).size());
        else
            QFile::remove(part);
        return built;
    }));
}

void ArchiveStore::fetch(const ElevationProduct& product, const ExtractArea& area, const ReadyHandler& ready)
{
    const QString path = pathFor(product, area);
    if (QFileInfo::exists(path)) {
        QTimer::singleShot(0, this, [ready, path] { ready(path, {}); });
        return;
    }
    if (const std::optional<TerrainFailure> failure = takeUnreported(path)) {
        QTimer::singleShot(0, this, [ready, failure] { ready({}, *failure); });
        return;
    }
    prepare(product, area);
    waiting[path].append(ready);
}

std::optional<TerrainFailure> ArchiveStore::takeUnreported(const QString& path)
{
    const Unreported kept = unreported.take(path);
    if (kept.until <= QDateTime::currentMSecsSinceEpoch())
        return std::nullopt;
    return kept.failure;
}

void ArchiveStore::finish(const QString& path, bool built, const TerrainFailure& failure)
{
    const QList<ReadyHandler> handlers = waiting.take(path);
    if (!built)
        qWarning().noquote() << QStringLiteral("could not build %1 %2").arg(path, failure.reason);
    if (!built && handlers.isEmpty())
        unreported.insert(path, { failure, QDateTime::currentMSecsSinceEpoch() + failureMemory });
    for (const ReadyHandler& ready : handlers)
        ready(built ? path : QString(), failure);
}
