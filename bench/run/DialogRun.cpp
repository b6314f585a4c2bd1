#include "DialogRun.h"

#include "RunPhases.h"
#include "app/MainDialog.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "run/WorkFileName.h"

#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>

namespace {

long peakMegabytes()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

} // namespace

DialogRun::DialogRun()
    : loopStretches(timeline, reportedStretchMs, EventStretchLog::Passes::LoopOrTimer)
    , timerStretches(timeline, reportedStretchMs, EventStretchLog::Passes::Timer)
    , trace(timeline)
{
}

DialogRun::Outcome DialogRun::run(const Settings& settings)
{
    SettingsStore::setDownloadArea(settings.area);
    SettingsStore::setElevationDataSource(settings.source);
    SettingsStore::setWorkingDirectory(settings.workingDirectory);
    MainDialog dialog;
    dialog.doubleSpinBoxNorth->setValue(settings.north);
    dialog.doubleSpinBoxWest->setValue(settings.west);
    dialog.show();
    QCoreApplication::processEvents();

    Outcome outcome;
    outcome.baseName = WorkFileName::baseFileName(settings.workingDirectory,
        dialog.doubleSpinBoxNorth->value(), dialog.doubleSpinBoxSouth->value(),
        dialog.doubleSpinBoxWest->value(), dialog.doubleSpinBoxEast->value());
    QEventLoop wait;
    MessageLog::setEcho([this](const QString& line) { timeline.add(line); });
    MessageBoxes::setHandler([this, &outcome, &wait](MessageBoxes::Icon, QWidget*, const QString& title,
                                 const QString& text, MessageBoxes::Buttons buttons) {
        timeline.add(QStringLiteral("[box] ") + title + QLatin1String(": ") + text);
        outcome.finished = text == QLatin1String("Download and post processing finished!");
        if (outcome.finished)
            QMetaObject::invokeMethod(&wait, &QEventLoop::quit, Qt::QueuedConnection);
        return buttons.testFlag(MessageBoxes::Ignore) ? MessageBoxes::Ignore : MessageBoxes::Ok;
    });
    QTimer::singleShot(timeoutMs, &wait, &QEventLoop::quit);

    const Times start = now();
    timeline.start();
    loopStretches.restart();
    timerStretches.restart();
    trace.restart();
    dialog.pushButtonDownload->click();
    // The whole run may have happened inside the click's own event processing.
    if (!outcome.finished)
        wait.exec();
    outcome.times = now() - start;
    trace.sample();
    MessageLog::setEcho({});
    MessageBoxes::setHandler({});

    outcome.guiProcessor = trace.between(0, timeline.elapsed()).gui;
    outcome.stretches = loopStretches.stretches();
    outcome.longest = loopStretches.longest();
    outcome.longestTimerWait = timerStretches.longest();
    outcome.peakMegabytes = peakMegabytes();
    outcome.timeline = timeline;
    outcome.rows = rows(outcome.baseName);
    outcome.finished = outcome.finished && QFile::exists(outcome.baseName + QStringLiteral("-el-corr.png"))
        && QFile::exists(outcome.baseName + QStringLiteral("-el-col-scaled.png"));
    return outcome;
}

QList<DialogRun::Row> DialogRun::rows(const QString& baseName) const
{
    const QList<EventStretchLog::Stretch> stretches = loopStretches.stretches();
    const RunPhases phases(timeline, baseName);
    QList<Row> list;
    for (const RunPhases::Branch& branch : phases.branches()) {
        for (const RunPhases::Phase& phase : branch.phases + QList { branch.whole }) {
            Row row { branch.name + QLatin1String(": ") + phase.name, phase.from, phase.to, {}, {}, 0 };
            if (phase.isKnown()) {
                row.wall = phase.seconds();
                row.processor = trace.between(*phase.from, *phase.to);
            }
            for (const EventStretchLog::Stretch& stretch : stretches)
                row.longestMs = std::max(row.longestMs, phase.overlap(stretch.start, stretch.end) * 1e3);
            list.append(row);
        }
    }
    return list;
}
