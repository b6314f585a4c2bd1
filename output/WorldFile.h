#pragma once

#include <QByteArray>

struct GridGeometry;

// The six lines of a world file (".pgw" beside a PNG): pixel width, two
// rotation terms of 0, the negative pixel height and the centre of the
// upper-left pixel, in the units of the image's coordinate system.
struct WorldFile {
    static WorldFile of(const GridGeometry& geometry);

    QByteArray text() const;

    double pixelWidth = 1;
    double pixelHeight = 1;
    double centreX = 0;
    double centreY = 0;
};
