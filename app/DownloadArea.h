#pragma once

#include <QString>

// The size in degrees of a download area, given by the display text stored
// for it. A text that names no known area has size 0 × 0.
class DownloadArea {
public:
    static double width(const QString& area);
    static double height(const QString& area);
};
