#pragma once

#include <QList>
#include <QTimer>

class RunTimeline;

// Every stretch in which the GUI thread passed no point of a kind in its
// event loop for longer than a threshold, on a run's timeline, with the
// processor time the GUI thread spent in it: about the whole stretch for a
// long computation of its own, less when it waited for a processor, for the
// disk or for the worker threads of a call (Qt scales large images on
// several).
//
// A 1 ms timer fires on the first pass after each millisecond and still
// lets an idle loop sleep (a 0 ms timer would keep a processor busy for the
// whole run). The event dispatcher's own signals can mark each
// processEvents() call and each wait of the loop as well, so a pass counts
// whether or not a timer was due in it.
class EventStretchLog {
public:
    struct Stretch {
        double start = 0;
        double end = 0;
        double guiProcessor = 0;
        double milliseconds() const { return (end - start) * 1e3; }
    };

    enum class Passes {
        // Only the timer firing counts.
        Timer,
        // Any processEvents() call or wait of the loop counts too.
        LoopOrTimer,
    };

    EventStretchLog(const RunTimeline& timeline, double thresholdMilliseconds, Passes passes);

    // Forgets what was recorded; the next stretch starts now.
    void restart();
    // In time order; a stretch still open counts up to now.
    QList<Stretch> stretches() const;
    // The longest stretch, short ones included.
    Stretch longest() const;

private:
    void pass();
    void markPass();
    Stretch openStretch() const;

    const RunTimeline& timeline;
    double threshold;
    QTimer timer;
    Stretch lastPass;
    QList<Stretch> recorded;
    Stretch longestClosed;
};
