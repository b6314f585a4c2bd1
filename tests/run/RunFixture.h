#pragma once

#include "SimProcess.h"
#include "app/MainDialog.h"

#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>

// A main dialog, offscreen, pointed at a simulator of its own, with a
// working directory in a temporary folder (the settings store is the test's
// isolated one, cleared by start()). Message boxes are answered
// (Ok, or Ignore for questions) and recorded; the message log is captured
// with the request ids replaced by '#'.
class RunFixture {
public:
    struct Settings {
        QString area;
        QString source;
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
    // Stores the settings and builds a fresh dialog on them.
    MainDialog& start(const Settings& settings);
    MainDialog& dialog() { return *window; }
    QString workingDirectory() const;
    // The base name the run uses for the dialog's rectangle.
    QString baseFileName() const;

    QStringList log() const { return lines; }
    // The log without the texture branch's lines.
    QStringList elevationLog() const;
    // Tile requests then fail at once, which leaves the texture branch
    // waiting for Cancel and the log to the elevation branch.
    void makeTileServerUnreachable();
    QStringList boxes() const { return boxTexts; }
    void clearLog() { lines.clear(); }
    // Waits until the log holds the line (compared after the id rewrite).
    bool waitForLine(const QString& line, int milliseconds = 60000) const;
    bool isIdle() const;
    // Runs action from the event loop as soon as the line is logged, also
    // in the middle of a long step that processes events.
    void onLine(const QString& line, std::function<void()> action);

private:
    QTemporaryDir work;
    std::unique_ptr<SimProcess> sim;
    std::unique_ptr<MainDialog> window;
    QString workDirectory;
    QStringList lines;
    QStringList boxTexts;
    QByteArray requestLog;
    QString triggerLine;
    std::function<void()> triggerAction;
};
