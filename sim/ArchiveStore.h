#pragma once

#include "ElevationProduct.h"
#include "ExtractArea.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QTemporaryDir>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>

// Finished archives on disk, keyed by product and raster grid, and the
// builds under way. A build runs on a worker thread; everyone who asks for
// the same archive meanwhile is answered when it is done.
class ArchiveStore : public QObject {
    Q_OBJECT

public:
    using ReadyHandler = std::function<void(const QString& path)>;

    // With an empty directory the archives live in a private temporary
    // folder that is removed with the store.
    ArchiveStore(const QString& directory, bool withHeader, QObject* parent = nullptr);
    // Stops running builds at their next block of rows and waits for them.
    ~ArchiveStore() override;

    bool isUsable() const;
    // Starts a build unless the archive exists or is being built.
    void prepare(const ElevationProduct& product, const ExtractArea& area);
    // Calls ready on this thread with the archive's path, or with an empty
    // path when it could not be built.
    void fetch(const ElevationProduct& product, const ExtractArea& area, const ReadyHandler& ready);

private:
    QString pathFor(const ElevationProduct& product, const ExtractArea& area) const;
    void finish(const QString& path, bool built);

    std::unique_ptr<QTemporaryDir> temporary;
    QString directory;
    bool withHeader;
    std::atomic_bool stop { false };
    QThreadPool builders;
    QHash<QString, QList<ReadyHandler>> waiting;
};
