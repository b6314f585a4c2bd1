#pragma once

#include "ElevationService.h"
#include "FaultSwitches.h"
#include "ServiceProcess.h"

#include <QStringList>

#include <optional>

// Everything the command line sets. parse() prints help or an error itself.
struct SimOptions {
    ServiceProcess::Endpoint endpoint;
    QString cacheDirectory;
    bool archiveWithoutHeader = false;
    ElevationSettings elevation;
    FaultSwitches faults;

    // Exits the process for --help and --version; returns nothing after
    // writing an error to standard error.
    static std::optional<SimOptions> parse(const QStringList& arguments);
};
