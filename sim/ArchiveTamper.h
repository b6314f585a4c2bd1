#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Rewrites a finished archive the way a hostile service might send it. Only
// header fields change, in place: entry names keep their length, so every
// offset in the archive stays right and a reader still walks it.
class ArchiveTamper {
public:
    enum class Fault {
        ClimbingNames, // every name starts with "../"
        AbsoluteNames, // every name starts with "/"
        ClaimsGigabytes, // the raster entry claims almost 4 GiB
    };

    // The fault for a name on the command line.
    static std::optional<Fault> parse(const QString& name);
    static QString names();
    // The archive unchanged when it cannot be walked.
    static QByteArray apply(QByteArray zip, Fault fault);
};
