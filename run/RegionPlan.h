#pragma once

#include "run/DownloadRun.h"

#include <QStringList>

// Cuts a region into rectangles of one download area, for many relka-run
// processes (GNU parallel, a job array) to prepare one each.
class RegionPlan {
public:
    // One line of relka-run arguments ("--north N --west W --area A") per
    // rectangle, row by row from the north-west; the last row and column
    // reach past the region where it is not a whole number of areas.
    static QStringList lines(const DownloadRun::Rectangle& region, const QString& areaText);
};
