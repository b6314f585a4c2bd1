#pragma once

#include <QPoint>

// Orders points column first, then row (for rows below 1,000,000): the order
// in which a flood fill hands out its border pixels, and so the order in
// which their weights are summed.
inline bool operator<(const QPoint& a, const QPoint& b)
{
    return a.x() + a.y() * 0.000001 < b.x() + b.y() * 0.000001;
}
