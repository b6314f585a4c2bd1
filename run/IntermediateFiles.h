#pragma once

#include "texture/Tile.h"

#include <QList>
#include <QString>
#include <QStringList>

// The files a run leaves behind on its way to the two results, which are
// never among them: the elevation result baseName-el-corr.png and the merged
// texture baseName-el-col-scaled.png.
class IntermediateFiles {
public:
    // In the order of removal: the tiles in list order (named in
    // workingDirectory), the stitched texture and the colour file with their
    // world files, the archive and the files extracted from it, the
    // intermediate elevation images.
    static QStringList of(const QString& workingDirectory, const QString& baseName, const QList<Tile>& tiles);
};
