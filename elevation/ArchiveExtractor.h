#pragma once

#include <QCoreApplication>
#include <QString>

#include <functional>

// Unpacks the elevation archive of a run into the run's own file names:
// the raster (an entry ending in ".bil" or ".flt") as baseName.bil and the
// ".hdr", ".blw" and ".stx" entries under their endings, compared without
// regard to case. Folders in entry names count for nothing, other entries
// are skipped, and a later entry replaces an earlier one of the same target.
// Since only these four names are ever written, no entry name can reach
// outside them. Each target appears whole or not at all. Every step is
// logged; no failure stops the unpacking except an entry larger than the
// disk has room for (or than any raster can be), which ends it with a log
// line before that entry is written.
class ArchiveExtractor {
    Q_DECLARE_TR_FUNCTIONS(ArchiveExtractor)

public:
    // Removes from directory the raster and side files earlier archives
    // left there, of any rectangle (plain files only, hidden ones kept),
    // naming each on the debug output. Archives and images stay, and so do
    // the files of a rectangle another live run holds locked and the
    // ".prj" files of pictures' world files (a ".pgw" of the same name).
    static void removeOldSideFiles(const QString& directory);

    // Called after every chunk; false stops the unpacking at once.
    using Continue = std::function<bool()>;

    // Unpacks archivePath, copying entries through one 100000-byte buffer;
    // the last log line is "Seamless: Unzip finished.". Returns false when
    // keepGoing stopped it: the entry in progress is dropped and nothing
    // more is logged.
    static bool extract(const QString& archivePath, const QString& baseName, const Continue& keepGoing = {});

    // Both baseName.bil and baseName.hdr exist, so the import can start.
    static bool rasterExtracted(const QString& baseName);

private:
    static QStringList rectanglesInUse(const QString& directory);
};
