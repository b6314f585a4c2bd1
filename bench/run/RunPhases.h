#pragma once

#include <QList>
#include <QString>

#include <optional>

class RunTimeline;

// The phases of one finished run, read from its log lines and from the
// times its files were written. The elevation and texture branches run at
// the same time, so each keeps a timeline of its own; the merge follows
// whichever finished second and ends with the information box, a line of
// its own that starts with "[box]". A phase whose marks are missing (the
// archive reused, say) has no bounds.
class RunPhases {
public:
    struct Phase {
        QString name;
        std::optional<double> from;
        std::optional<double> to;

        bool isKnown() const { return from && to; }
        double seconds() const { return isKnown() ? *to - *from : 0; }
        // How much of [start, end] lies inside the phase.
        double overlap(double start, double end) const;
    };
    struct Branch {
        QString name;
        QList<Phase> phases;
        Phase whole;
    };

    RunPhases(const RunTimeline& timeline, const QString& baseName);

    const QList<Branch>& branches() const { return list; }
    // A map tile's file name, without the folder.
    static bool isTile(const QString& fileName);
    // Per branch, the phase that covers most of [start, end], as
    // "branch: phase"; branches idle then are left out.
    QStringList covering(double start, double end) const;

private:
    QList<Branch> list;
};
