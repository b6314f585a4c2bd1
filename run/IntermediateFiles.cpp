#include "run/IntermediateFiles.h"

#include "texture/TileList.h"

QStringList IntermediateFiles::of(
    const QString& workingDirectory, const QString& baseName, const QList<Tile>& tiles)
{
    QStringList files;
    files.reserve(tiles.size() + 13);
    for (const Tile& tile : tiles)
        files << TileList::fileName(workingDirectory, tile);
    // A picture's world file and projection go with it.
    for (const char* suffix : { ".png", ".pgw", ".prj", "-el-col.png", "-el-col.pgw", "-el-col.prj", ".zip",
             ".bil", ".hdr", ".blw", ".stx", "-el-uncorr.png", "-el-m.png" })
        files << baseName + QLatin1String(suffix);
    return files;
}
