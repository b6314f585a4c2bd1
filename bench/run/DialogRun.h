#pragma once

#include "EventStretchLog.h"
#include "ProcessorTrace.h"
#include "RunTimeline.h"
#include "bench/Times.h"

#include <QList>
#include <QString>

#include <optional>

// Runs the real main dialog from "&Download" to the information box on the
// settings given, and keeps what the run's log lines, files, event loop and
// processor time tell. The program's settings store and the services'
// addresses must be set up already. Message boxes are answered (Ok, or
// Ignore for questions) and noted among the log lines as "[box] title:
// text"; the log echo is taken for the run's duration.
class DialogRun {
public:
    struct Settings {
        QString area;
        QString source;
        QString workingDirectory;
        double north = 0;
        double west = 0;
    };

    // One phase: its bounds, the processor seconds spent meanwhile and the
    // longest stretch without event processing that lies in it.
    struct Row {
        QString label;
        std::optional<double> from;
        std::optional<double> to;
        std::optional<double> wall;
        ProcessorTrace::Sample processor;
        double longestMs = 0;
    };

    struct Outcome {
        // The success box came and both results are on disk.
        bool finished = false;
        Times times;
        double guiProcessor = 0;
        RunTimeline timeline;
        QString baseName;
        QList<Row> rows;
        // Without a pass of the event loop.
        QList<EventStretchLog::Stretch> stretches;
        EventStretchLog::Stretch longest;
        // Without a timer firing.
        EventStretchLog::Stretch longestTimerWait;
        long peakMegabytes = 0;
    };

    static constexpr double reportedStretchMs = 100;
    static constexpr int timeoutMs = 900000;

    DialogRun();

    Outcome run(const Settings& settings);

private:
    QList<Row> rows(const QString& baseName) const;

    // The recorders share the timeline's clock, restarted by the press.
    RunTimeline timeline;
    EventStretchLog loopStretches;
    EventStretchLog timerStretches;
    ProcessorTrace trace;
};
