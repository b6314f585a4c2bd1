#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QTimer>

// Every stretch in which the GUI thread processed no events for longer than
// a threshold, with its start and end in seconds since restart(). A 1 ms
// timer fires on the first pass of the event loop after each millisecond,
// which measures a stretch to a millisecond and still lets an idle loop
// sleep: a 0 ms timer would keep a processor busy for the whole run.
class EventStretchLog {
public:
    struct Stretch {
        double start;
        double end;
        double milliseconds() const { return (end - start) * 1e3; }
    };

    explicit EventStretchLog(double thresholdMilliseconds);

    // Forgets what was recorded; the clock and the next stretch start now.
    void restart();
    // In time order; a stretch still open counts up to now.
    QList<Stretch> stretches() const;
    // The longest stretch, short ones included.
    Stretch longest() const;

private:
    Stretch openStretch() const;

    double threshold;
    QTimer timer;
    QElapsedTimer clock;
    double lastPass = 0;
    QList<Stretch> recorded;
    Stretch longestClosed { 0, 0 };
};
