#pragma once

#include "run/DownloadRun.h"

#include <QString>
#include <QStringList>

#include <optional>

// What relka-run is asked to do, read from its command line. Choices it
// leaves out come from the stored settings, as in the window.
class RunArguments {
public:
    enum class Mode { Run, Plan };

    // The area text for "2", "1", "0.5", "0.25" or an area text itself;
    // empty when it names none.
    static QString areaText(const QString& value);
    // The source text for its short name or the text itself; empty when it
    // names none.
    static QString sourceText(const QString& value);

    // Reads the arguments (without the program name). On a usage error the
    // result is empty and error tells why.
    static std::optional<RunArguments> parse(const QStringList& arguments, QString* error);
    static QString usage();

    // Makes the choices this process's settings without storing them.
    void applyToSettings() const;

    Mode mode = Mode::Run;
    // Set together, or not at all.
    std::optional<double> north;
    std::optional<double> west;
    QString address;
    QString area;
    QString source;
    QString workingDirectory;
    bool verbose = false;
    // The additional outputs by name (none is a choice too) and the
    // heightmap's engine.
    std::optional<QStringList> outputs;
    QString engine;
    // --plan: north, south, west, east.
    DownloadRun::Rectangle region;
};
