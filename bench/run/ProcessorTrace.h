#pragma once

#include <QList>
#include <QTimer>

class RunTimeline;

// Processor time on a run's timeline, sampled every 10 ms while the event
// loop runs: the process's (all threads) and the GUI thread's. Between two
// samples the figures are interpolated, so a phase that starts or ends in a
// long stretch without events gets a share of it by time.
class ProcessorTrace {
public:
    struct Sample {
        double at = 0;
        double process = 0;
        double gui = 0;
    };

    explicit ProcessorTrace(const RunTimeline& timeline);

    // Forgets the samples and takes the first.
    void restart();
    // Takes a sample now, as the last of a run.
    void sample();
    // The processor seconds spent between two moments.
    Sample between(double from, double to) const;

private:
    Sample now() const;
    Sample at(double moment) const;

    const RunTimeline& timeline;
    QTimer timer;
    QList<Sample> samples;
};
