#pragma once

#include "texture/Tile.h"

#include <QTest>

Q_DECLARE_METATYPE(Tile)

// A tile with its crop bounds, all inclusive pixel indices.
inline Tile croppedTile(int zoom, int x, int y, int top, int bottom, int left, int right)
{
    Tile t;
    t.zoom = zoom;
    t.x = x;
    t.y = y;
    t.top = top;
    t.bottom = bottom;
    t.left = left;
    t.right = right;
    return t;
}

inline char* toString(const Tile& t)
{
    return qstrdup(QString::asprintf("Tile(zoom %d, x %d, y %d, top %d, bottom %d, left %d, right %d)",
        t.zoom, t.x, t.y, t.top, t.bottom, t.left, t.right)
                       .toLatin1()
                       .constData());
}
