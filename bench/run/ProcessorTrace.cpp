#include "ProcessorTrace.h"

#include "RunTimeline.h"

#include <time.h>

#include <algorithm>

namespace {

double seconds(clockid_t clock)
{
    timespec time {};
    clock_gettime(clock, &time);
    return time.tv_sec + time.tv_nsec / 1e9;
}

} // namespace

ProcessorTrace::ProcessorTrace(const RunTimeline& timeline)
    : timeline(timeline)
{
    QObject::connect(&timer, &QTimer::timeout, [this] { sample(); });
    timer.start(10);
}

void ProcessorTrace::restart()
{
    samples.clear();
    sample();
}

void ProcessorTrace::sample() { samples.append(now()); }

ProcessorTrace::Sample ProcessorTrace::between(double from, double to) const
{
    const Sample start = at(from);
    const Sample end = at(to);
    return { to - from, end.process - start.process, end.gui - start.gui };
}

ProcessorTrace::Sample ProcessorTrace::now() const
{
    return { timeline.elapsed(), seconds(CLOCK_PROCESS_CPUTIME_ID), seconds(CLOCK_THREAD_CPUTIME_ID) };
}

ProcessorTrace::Sample ProcessorTrace::at(double moment) const
{
    const auto after = std::lower_bound(samples.cbegin(), samples.cend(), moment,
        [](const Sample& sample, double moment) { return sample.at < moment; });
    if (after == samples.cbegin())
        return samples.isEmpty() ? Sample {} : samples.first();
    if (after == samples.cend())
        return samples.last();
    const Sample& before = *std::prev(after);
    const double share = (moment - before.at) / (after->at - before.at);
    return { moment, before.process + share * (after->process - before.process),
        before.gui + share * (after->gui - before.gui) };
}
