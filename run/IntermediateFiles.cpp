#include "run/IntermediateFiles.h"

#include "texture/TileList.h"

QStringList IntermediateFiles::of(
    const QString& workingDirectory, const QString& baseName, const QList<Tile>& tiles)
{
    QStringList files;
    files.reserve(tiles.size() + 9);
    for (const Tile& tile : tiles)
        files << TileList::fileName(workingDirectory, tile);
    for (const char* suffix :
        { ".png", "-el-col.png", ".zip", ".bil", ".hdr", ".blw", ".stx", "-el-uncorr.png", "-el-m.png" })
        files << baseName + QLatin1String(suffix);
    return files;
}
