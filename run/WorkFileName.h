#pragma once

#include <QString>

// Names of a run's files, all derived from the rectangle.
class WorkFileName {
public:
    // "dir/<north>N-<south>S_<west>W-<east>E", every border with exactly five
    // decimals and a leading '-' when negative; every work and result file
    // of a run is this name plus a suffix.
    static QString baseFileName(
        const QString& workingDirectory, double north, double south, double west, double east);
};
