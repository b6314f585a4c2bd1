#include "EventStretchLog.h"

EventStretchLog::EventStretchLog(double thresholdMilliseconds)
    : threshold(thresholdMilliseconds)
{
    clock.start();
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [this] {
        const Stretch stretch = openStretch();
        if (stretch.milliseconds() > threshold)
            recorded.append(stretch);
        if (stretch.milliseconds() > longestClosed.milliseconds())
            longestClosed = stretch;
        lastPass = stretch.end;
    });
    timer.start(1);
}

void EventStretchLog::restart()
{
    recorded.clear();
    longestClosed = { 0, 0 };
    clock.start();
    lastPass = 0;
}

QList<EventStretchLog::Stretch> EventStretchLog::stretches() const
{
    QList<Stretch> all = recorded;
    if (openStretch().milliseconds() > threshold)
        all.append(openStretch());
    return all;
}

EventStretchLog::Stretch EventStretchLog::longest() const
{
    const Stretch open = openStretch();
    return open.milliseconds() > longestClosed.milliseconds() ? open : longestClosed;
}

EventStretchLog::Stretch EventStretchLog::openStretch() const
{
    return { lastPass, clock.nsecsElapsed() / 1e9 };
}
