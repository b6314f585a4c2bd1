#pragma once

#include "PartialFile.h"

// GDAL's way into a PartialFile: while the mount lives, GDAL opens the file
// (read-only) under the mount's path. Bytes that have not been fetched yet
// read as zeros and are noted, so the reader knows what to fetch before it
// tries again. A mount may be used from any thread, by one at a time.
class PartialFileMount {
public:
    // The file as it is now; bytes stored later stay unseen.
    explicit PartialFileMount(const PartialFile& file);
    ~PartialFileMount();
    PartialFileMount(const PartialFileMount&) = delete;
    PartialFileMount& operator=(const PartialFileMount&) = delete;

    QString path() const;
    // The chunks read that were not there.
    QList<ByteRange> misses() const;

private:
    int id;
};
