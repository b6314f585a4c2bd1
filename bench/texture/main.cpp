// Times the texture branch on generated map tiles of the largest area, 2° x
// 1° at zoom 12 (384 tiles, a texture of about 5800 x 3800 pixels): the
// stitching, the re-colouring and the saving together against what they
// cannot avoid, decoding the tiles and encoding the texture, measured in
// the same process on the same files. The merge with an elevation colour
// image of the SRTM 1 arc-second size follows as a figure of its own.
//
// The slots process events between tiles and rows; the longest tile and
// row steps are the longest stretches those parts can go without.

#include "bench/Times.h"
#include "image/PngWriter.h"
#include "texture/TextureMerge.h"
#include "texture/TextureRecolouring.h"
#include "texture/TileList.h"
#include "texture/TileMosaic.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>

namespace {

// Map tones: some the re-colouring turns into marker colours (background,
// greens, reddish areas), some it leaves alone (water, buildings, roads).
const QRgb mapTones[] = { qRgb(173, 208, 160), qRgb(205, 235, 176), qRgb(200, 250, 204), qRgb(242, 218, 215),
    qRgb(249, 192, 190), qRgb(170, 211, 223), qRgb(217, 208, 201), qRgb(224, 223, 223), qRgb(238, 240, 213) };
const QRgb background = qRgb(241, 238, 232);
const QRgb roadTones[] = { qRgb(255, 255, 255), qRgb(247, 250, 191), qRgb(252, 214, 164) };

// Areas, buildings and roads without antialiasing, so the tile keeps few
// colours and is written with a palette, as map tiles usually are.
QImage mapTile(QRandomGenerator& random)
{
    QImage image(TileList::tileSize, TileList::tileSize, QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 12; ++i) {
        painter.setBrush(QColor(mapTones[random.bounded(int(std::size(mapTones)))]));
        QPolygon area;
        const QPoint centre(random.bounded(256), random.bounded(256));
        for (int corner = 0; corner < 6; ++corner)
            area << centre + QPoint(random.bounded(-60, 60), random.bounded(-60, 60));
        painter.drawPolygon(area);
    }
    painter.setBrush(QColor(qRgb(217, 208, 201)));
    for (int i = 0; i < 60; ++i)
        painter.drawRect(
            random.bounded(256), random.bounded(256), random.bounded(3, 12), random.bounded(3, 12));
    for (int i = 0; i < 8; ++i) {
        painter.setPen(
            QPen(QColor(roadTones[random.bounded(int(std::size(roadTones)))]), random.bounded(2, 7)));
        painter.drawLine(random.bounded(256), random.bounded(256), random.bounded(256), random.bounded(256));
    }
    painter.end();
    return image.convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither | Qt::AvoidDither);
}

qint64 writeTiles(const QString& directory, const QList<Tile>& tiles)
{
    QRandomGenerator random(20240612);
    qint64 bytes = 0;
    for (const Tile& tile : tiles) {
        const QString name = TileList::fileName(directory, tile);
        if (!mapTile(random).save(name))
            qFatal("cannot write %s", qPrintable(name));
        bytes += QFileInfo(name).size();
    }
    return bytes;
}

long peakMegabytes()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

Times timeDecoding(const QString& directory, const QList<Tile>& tiles)
{
    const Times start = now();
    for (const Tile& tile : tiles) {
        if (QImage(TileList::fileName(directory, tile)).isNull())
            qFatal("cannot load a tile");
    }
    return now() - start;
}

// Saved as the program saves it.
Times timeEncoding(const QImage& image, const QString& fileName)
{
    const Times start = now();
    if (!PngWriter::save(image, fileName, PngWriter::Content::Picture))
        qFatal("cannot save %s", qPrintable(fileName));
    return now() - start;
}

// The same image through Qt's writer: times and sizes of both.
void compareWithQtWriter(const QImage& image, const QString& fileName)
{
    const QString qtFile = fileName + QStringLiteral("-qt.png");
    const Times start = now();
    if (!image.save(qtFile))
        qFatal("cannot save %s", qPrintable(qtFile));
    const Times qt = now() - start;
    const Times ours = timeEncoding(image, fileName);
    const qint64 qtBytes = QFileInfo(qtFile).size();
    const qint64 bytes = QFileInfo(fileName).size();
    std::printf("  %-42s Qt %6.2f s %10lld bytes, PngWriter %6.2f s %10lld bytes (%+.2f %%)\n",
        qPrintable(QFileInfo(fileName).fileName()), qt.cpu, static_cast<long long>(qtBytes), ours.cpu,
        static_cast<long long>(bytes), 100.0 * (bytes - qtBytes) / qtBytes);
    QFile::remove(qtFile);
}

// The longest of a series of steps.
struct Longest {
    double seconds = 0;
    void add(const Times& step) { seconds = std::max(seconds, step.wall); }
};

} // namespace

int main()
{
    QTemporaryDir directory;
    if (!directory.isValid())
        qFatal("no temporary directory");
    const QString work = directory.path();
    const QList<Tile> tiles = TileList::covering(-106.0, -104.0, 41.0, 40.0, TileList::zoomForAreaWidth(2.0));
    const qint64 tileBytes = writeTiles(work, tiles);
    std::printf("%lld tiles at zoom %d, %.1f MB of PNG\n\n%-68s %9s %9s\n",
        static_cast<long long>(tiles.size()), tiles.first().zoom, tileBytes / 1e6, "", "wall", "processor");

    std::printf("Decoding and encoding alone:\n");
    const Times decoding = timeDecoding(work, tiles);
    printRow(QStringLiteral("decode the tiles"), decoding);

    std::printf("Stitch, re-colour and save:\n");
    const Times start = now();
    TileMosaic mosaic(*TileMosaic::bounds(tiles));
    Longest tileStep;
    for (const Tile& tile : tiles) {
        const Times stepStart = now();
        const QImage tileImage(TileList::fileName(work, tile));
        if (tileImage.isNull())
            qFatal("cannot load a tile");
        mosaic.paste(tile, tileImage);
        tileStep.add(now() - stepStart);
    }
    const Times stitched = now();
    printRow(QStringLiteral("load and stitch %1 x %2 pixels")
                 .arg(mosaic.image().width())
                 .arg(mosaic.image().height()),
        stitched - start);
    Longest rowStep;
    for (int y = 0; y < mosaic.image().height(); ++y) {
        const Times stepStart = now();
        TextureRecolouring::recolourRow(mosaic.image(), y);
        rowStep.add(now() - stepStart);
    }
    const Times recoloured = now();
    printRow(QStringLiteral("re-colour"), recoloured - stitched);
    const QString textureFile = work + QStringLiteral("/texture.png");
    const Times saving = timeEncoding(mosaic.image(), textureFile);
    printRow(QStringLiteral("save"), saving);
    const Times whole = now() - start;
    const long texturePeak = peakMegabytes();

    const Times encoding = timeEncoding(mosaic.image(), work + QStringLiteral("/texture-again.png"));
    std::printf("Decoding and encoding alone (continued):\n");
    printRow(QStringLiteral("encode the texture"), encoding);
    Times alone = decoding;
    alone += encoding;

    std::printf("Merge with SRTM 1\" elevation colours, 7201 x 3601:\n");
    QImage elevationColours(7201, 3601, QImage::Format_RGB32);
    for (int y = 0; y < elevationColours.height(); ++y) {
        QRgb* line = reinterpret_cast<QRgb*>(elevationColours.scanLine(y));
        for (int x = 0; x < elevationColours.width(); ++x)
            line[x] = qRgb(x * 255 / 7200, y * 255 / 3600, (x + y) % 256);
    }
    const Times mergeStart = now();
    const QImage texture(textureFile);
    const Times loaded = now();
    printRow(QStringLiteral("load the texture"), loaded - mergeStart);
    TextureMerge merge(elevationColours, texture);
    const Times scaled = now();
    printRow(QStringLiteral("scale the elevation colours"), scaled - loaded);
    for (int y = 0; y < merge.height(); ++y)
        merge.mergeRow(y);
    const Times mergedRows = now();
    printRow(QStringLiteral("merge"), mergedRows - scaled);
    printRow(QStringLiteral("save"), timeEncoding(merge.result(), work + QStringLiteral("/merged.png")));

    std::printf("Encoding, processor seconds:\n");
    compareWithQtWriter(mosaic.image(), work + QStringLiteral("/texture-compared.png"));
    compareWithQtWriter(merge.result(), work + QStringLiteral("/merged-compared.png"));

    std::printf("\n");
    printRow(QStringLiteral("stitch + re-colour + save"), whole);
    printRow(QStringLiteral("decode tiles + encode texture alone"), alone);
    std::printf("  %-66s %7.2f   %7.2f   (target at most 1.5)\n", "ratio", whole.wall / alone.wall,
        whole.cpu / alone.cpu);
    std::printf("  %-66s %7.1f ms\n", "longest tile step (load and paste one tile)", tileStep.seconds * 1e3);
    std::printf("  %-66s %7.2f ms\n", "longest re-colouring step (one row)", rowStep.seconds * 1e3);
    std::printf("  %-66s %7ld MB\n", "peak memory (ru_maxrss) after the texture", texturePeak);
    std::printf("  %-66s %7ld MB\n", "peak memory (ru_maxrss) after the merge", peakMegabytes());
    return 0;
}
