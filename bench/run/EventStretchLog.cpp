#include "EventStretchLog.h"

#include "RunTimeline.h"

#include <QAbstractEventDispatcher>

#include <time.h>

namespace {

double threadProcessorSeconds()
{
    timespec time {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec + time.tv_nsec / 1e9;
}

} // namespace

EventStretchLog::EventStretchLog(const RunTimeline& timeline, double thresholdMilliseconds, Passes passes)
    : timeline(timeline)
    , threshold(thresholdMilliseconds)
{
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [this] { pass(); });
    if (passes == Passes::LoopOrTimer) {
        const QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &timer, [this] { pass(); });
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &timer, [this] { pass(); });
    }
    restart();
    timer.start(1);
}

void EventStretchLog::pass()
{
    const Stretch stretch = openStretch();
    if (stretch.milliseconds() > threshold)
        recorded.append(stretch);
    if (stretch.milliseconds() > longestClosed.milliseconds())
        longestClosed = stretch;
    markPass();
}

void EventStretchLog::restart()
{
    recorded.clear();
    longestClosed = {};
    markPass();
}

// The start of the next stretch, kept with the thread's processor time then.
void EventStretchLog::markPass() { lastPass = { timeline.elapsed(), 0, threadProcessorSeconds() }; }

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
    return { lastPass.start, timeline.elapsed(), threadProcessorSeconds() - lastPass.guiProcessor };
}
