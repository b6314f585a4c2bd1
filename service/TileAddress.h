#pragma once

#include <QString>

#include <optional>

// A map tile as the program asks for it: "/zoom/x/y.png".
struct TileAddress {
    int zoom = 0;
    qint64 x = 0;
    qint64 y = 0;

    // Nothing when the path does not have the shape of a tile address.
    static std::optional<TileAddress> fromPath(const QString& path);
    // Whether the tile lies on its zoom level's grid, up to maximumZoom.
    bool exists(int maximumZoom) const;
};
