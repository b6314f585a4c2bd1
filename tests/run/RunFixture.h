#pragma once

#include "SimProcess.h"
#include "run/DownloadRun.h"

#include <QElapsedTimer>
#include <QImage>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>

// A download run without a window, pointed at a simulator of its own, with
// a working directory in a temporary folder (the settings store is the
// test's isolated one, cleared by start()). It records what the window
// would show: controls, previews, the message label. Message boxes are
// answered (Ok, or Ignore for questions) and recorded; the message log is
// captured with the request ids replaced by '#'.
// Its waits are limited by SimProcess::patience().
class RunFixture {
public:
    // The rectangle most runs take: 24 x 16 tiles at zoom 15, an archive of
    // SRTM 3 samples.
    static inline const QString area = QStringLiteral("0.25° (lon) by 0.125° (lat)");
    static inline const QString srtm3
        = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");
    // In the working directory.
    static inline const QString baseName = QStringLiteral("/40.25000N-40.12500S_-106.00000W--105.75000E");
    static constexpr int tileCount = 24 * 16;
    static inline const QString success = QStringLiteral("         ********* SUCCESS *********");

    struct Settings {
        QString area = RunFixture::area;
        QString source = srtm3;
        bool verbose = false;
        double north = 40.25;
        double west = -106.0;
        // Empty: the fixture's temporary folder.
        QString workingDirectory;
    };
    // program: the server to start, relka-sim unless named.
    explicit RunFixture(
        const QStringList& simOptions = {}, const QString& program = SimProcess::executable());
    ~RunFixture();

    bool isReady() const;
    // The request lines the simulator has logged so far.
    QByteArray simulatorLog();
    QString authority() const;
    // Stores the settings and makes a fresh run for the rectangle with the
    // corner given and the area's size.
    DownloadRun& start(const Settings& settings);
    DownloadRun& run() { return *downloadRun; }
    // What "&Download" does.
    void download();
    QString workingDirectory() const;
    QString baseFileName() const;

    QStringList log() const { return lines; }
    // The log without the texture branch's lines.
    QStringList elevationLog() const;
    // Milliseconds from the first line equal to from to the first line
    // after it that starts with to; -1 when there is none.
    qint64 millisecondsBetween(const QString& from, const QString& to) const;
    QStringList boxes() const { return boxTexts; }
    void clearLog();
    static bool waitFor(const std::function<bool()>& condition);
    // Starts relka-run on the rectangle with the given west border.
    static void startRelkaRun(
        QProcess& child, const QString& directory, double west = -106, const QStringList& more = {});
    // Waits until the log holds the line (compared after the id rewrite).
    bool waitForLine(const QString& line, int milliseconds = SimProcess::patience()) const;
    // Runs action from the event loop as soon as the line is logged, also
    // in the middle of a long step that processes events.
    void onLine(const QString& line, std::function<void()> action);

    // What the window would show.
    bool isIdle() const { return !locked && !busy; }
    bool controlsLocked() const { return locked; }
    QImage preview(DownloadRun::Preview which) const { return previews[int(which)]; }
    // The message label's text.
    QString message() const { return label; }
    bool hasStalled() const { return stalls > 0; }

private:
    void record(DownloadRun& run);

    QTemporaryDir work;
    std::unique_ptr<SimProcess> sim;
    std::unique_ptr<DownloadRun> downloadRun;
    QString workDirectory;
    QStringList lines;
    QList<qint64> times;
    QElapsedTimer clock;
    QStringList boxTexts;
    QByteArray requestLog;
    QString triggerLine;
    std::function<void()> triggerAction;
    bool locked = false;
    bool busy = false;
    QImage previews[2];
    QString label;
    int stalls = 0;
};
