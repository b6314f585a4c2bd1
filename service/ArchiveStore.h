#pragma once

#include "ElevationProduct.h"
#include "ExtractArea.h"
#include "TerrainProvider.h"

#include "ArchiveBuilder.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QTemporaryDir>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

// Finished archives on disk, keyed by product and raster grid, and the
// builds under way. A build first loads its terrain from the provider, then
// writes the archive on a worker thread; everyone who asks for the same
// archive meanwhile is answered when it is done.
class ArchiveStore : public QObject {
    Q_OBJECT

public:
    // The archive's path, or an empty path and, when the terrain could not
    // be had, the provider's failure (an empty reason otherwise).
    using ReadyHandler = std::function<void(const QString& path, const TerrainFailure& failure)>;

    // With an empty directory the archives live in a private temporary
    // folder that is removed with the store. The provider must outlive the
    // store.
    ArchiveStore(
        const QString& directory, bool withHeader, TerrainProvider& terrain, QObject* parent = nullptr);
    // Stops running builds at their next block of rows and waits for them.
    ~ArchiveStore() override;

    bool isUsable() const;
    // Empty when archives of the product can be had, otherwise why not.
    QString refusal(const ElevationProduct& product) const { return terrain.refusal(product); }
    RasterGrid gridFor(const ElevationProduct& product, const ExtractArea& area) const
    {
        return terrain.gridFor(product, area);
    }
    // Starts a build unless the archive exists or is being built. A build
    // that fails while nobody waits for it keeps its failure for the next
    // fetch (for a minute at most), so the cause is reported instead of
    // being run into a second time.
    void prepare(const ElevationProduct& product, const ExtractArea& area);
    // Calls ready on this thread, at once or when the build is over.
    void fetch(const ElevationProduct& product, const ExtractArea& area, const ReadyHandler& ready);

private:
    QString pathFor(const ElevationProduct& product, const ExtractArea& area) const;
    void build(const ArchiveBuilder& builder, const QString& path, std::shared_ptr<const TerrainRows> rows);
    void finish(const QString& path, bool built, const TerrainFailure& failure = { 500, {} });
    std::optional<TerrainFailure> takeUnreported(const QString& path);

    std::unique_ptr<QTemporaryDir> temporary;
    QString directory;
    bool withHeader;
    TerrainProvider& terrain;
    std::atomic_bool stop { false };
    QThreadPool builders;
    QHash<QString, QList<ReadyHandler>> waiting;
    struct Unreported {
        TerrainFailure failure;
        qint64 until;
    };
    QHash<QString, Unreported> unreported;
};
