#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <algorithm>

// Records the longest time between two passes of the event loop: a zero
// timer fires once per processEvents() call.
class EventGapMeter {
public:
    EventGapMeter()
    {
        QObject::connect(&timer, &QTimer::timeout, [this] {
            longest = std::max(longest, sinceLast.restart());
            ++passes;
        });
        timer.start(0);
    }

    void restart()
    {
        longest = 0;
        passes = 0;
        sinceLast.start();
    }

    // The stretch still open at the end counts too.
    qint64 longestMs() const { return std::max(longest, sinceLast.elapsed()); }
    qint64 passCount() const { return passes; }

private:
    QTimer timer;
    QElapsedTimer sinceLast;
    qint64 longest = 0;
    qint64 passes = 0;
};
