#include "AdditionalOutputs.h"

#include "app/MessageLog.h"
#include "bil/BilHeaderFile.h"
#include "image/PngReader.h"
#include "image/PngWriter.h"
#include "output/CoordinateSystem.h"
#include "output/ElevationGrid.h"
#include "output/GeoTiffWriter.h"
#include "output/Heightmap16.h"
#include "output/TerrainShading.h"
#include "output/TexturePlacement.h"
#include "output/WorldFile.h"
#include "util/BackgroundWork.h"

#include <QImageReader>

#include <optional>

AdditionalOutputs::AdditionalOutputs(const QString& baseName, const OutputChoice& choice)
    : baseName(baseName)
    , choice(choice)
{
}

bool AdditionalOutputs::write(const Continue& keepGoing)
{
    if (!choice.outputs)
        return true;
    const QString correctedFile = baseName + QStringLiteral("-el-corr.png");
    QImage image = BackgroundWork::run([&correctedFile] {
        const QSize size = QImageReader(correctedFile).size();
        PngReader::allowLoading(size);
        return PngReader::read(correctedFile);
    });
    if (image.isNull()) {
        MessageLog::append(tr("Output error: Could not read %1.").arg(correctedFile));
        return false;
    }
    return write(std::move(image), keepGoing);
}

bool AdditionalOutputs::write(QImage correctedImage, const Continue& keepGoing)
{
    if (!choice.outputs)
        return true;
    BilHeaderFile header(baseName + QStringLiteral(".hdr"));
    if (!header.open(QIODevice::ReadOnly | QIODevice::Text)) {
        MessageLog::append(tr("Output error: Could not read %1.").arg(header.fileName()));
        return false;
    }
    header.close();
    // The image is dropped as soon as it is decoded; handing the grid's
    // memory back takes a while, too.
    std::optional<ElevationGrid> grid = BackgroundWork::run([&] {
        std::optional<ElevationGrid> decoded(std::in_place, correctedImage, GridGeometry::of(header));
        correctedImage = QImage();
        return decoded;
    });
    const bool written = writeFrom(*grid, keepGoing);
    BackgroundWork::run([&grid] { grid.reset(); });
    return written;
}

bool AdditionalOutputs::writeFrom(const ElevationGrid& grid, const Continue& keepGoing)
{
    const auto goOn = [&keepGoing] { return !keepGoing || keepGoing(); };
    // GDAL's first look at its projection database takes a while.
    const CoordinateSystem system = BackgroundWork::run(
        [this] { return CoordinateSystem::ofArchive(baseName + QStringLiteral(".zip")); });
    bool written = true;
    if (choice.outputs.testFlag(OutputChoice::GeoTiff) && goOn())
        written = writeGeoTiff(grid, system) && written;
    if (choice.outputs.testFlag(OutputChoice::Heightmap) && goOn())
        written = writeHeightmap(grid) && written;
    if (choice.outputs & (OutputChoice::Hillshade | OutputChoice::NormalMap) && goOn())
        written = writeShading(grid, goOn) && written;
    if (choice.outputs.testFlag(OutputChoice::WorldFiles) && goOn())
        written = writeWorldFiles(grid, system) && written;
    return written && goOn();
}

bool AdditionalOutputs::writeGeoTiff(const ElevationGrid& grid, const CoordinateSystem& system)
{
    const QString fileName = baseName + QStringLiteral("-el.tif");
    return logged(
        BackgroundWork::run([&] { return GeoTiffWriter::write(grid, system, fileName); }), fileName);
}

bool AdditionalOutputs::writeHeightmap(const ElevationGrid& grid)
{
    const Heightmap16 heightmap = BackgroundWork::run([&] { return Heightmap16(grid, choice.engine); });
    const QString stem = baseName + QStringLiteral("-height16");
    const bool image = saveImage(heightmap.image(), stem + QStringLiteral(".png"));
    const bool raw = save([&] { return heightmap.raw(); }, stem + QStringLiteral(".r16"));
    const bool sidecar = save([&] { return heightmap.sidecar(); }, stem + QStringLiteral(".json"));
    return image && raw && sidecar;
}

bool AdditionalOutputs::writeShading(const ElevationGrid& grid, const std::function<bool()>& goOn)
{
    const bool withHillshade = choice.outputs.testFlag(OutputChoice::Hillshade);
    const bool withNormalMap = choice.outputs.testFlag(OutputChoice::NormalMap);
    std::optional<TerrainShading> shading = BackgroundWork::run(
        [&] { return std::make_optional<TerrainShading>(grid, withHillshade, withNormalMap); });
    bool written = true;
    if (withHillshade)
        written = saveImage(shading->hillshade(), baseName + QStringLiteral("-hillshade.png"));
    if (withNormalMap && goOn())
        written = saveImage(shading->normalMap(), baseName + QStringLiteral("-normal.png")) && written;
    BackgroundWork::run([&shading] { shading.reset(); });
    return written;
}

bool AdditionalOutputs::writeWorldFiles(const ElevationGrid& grid, const CoordinateSystem& system)
{
    bool written = true;
    const GridGeometry& geometry = grid.geometry();
    const QByteArray gridWorldFile = WorldFile::of(geometry).text();
    for (const char* suffix : { "-el-corr", "-el-col", "-height16", "-hillshade", "-normal" }) {
        const QString stem = baseName + QLatin1String(suffix);
        if (QImageReader(stem + QStringLiteral(".png")).size() == geometry.size)
            written = writeWorldFile(stem, gridWorldFile, system) && written;
    }
    const CoordinateSystem mercator = BackgroundWork::run(&CoordinateSystem::webMercator);
    for (const char* suffix : { "", "-el-col-scaled" }) {
        const QString stem = baseName + QLatin1String(suffix);
        const QSize size = QImageReader(stem + QStringLiteral(".png")).size();
        if (!size.isValid())
            continue;
        const std::optional<TexturePlacement> placement = textureTiles.isEmpty()
            ? TexturePlacement::ofRectangle(
                geometry.west(), geometry.east(), geometry.north(), geometry.south(), size.width())
            : TexturePlacement::ofTiles(textureTiles);
        if (placement)
            written = writeWorldFile(stem, placement->worldFile().text(), mercator) && written;
    }
    return written;
}

bool AdditionalOutputs::writeWorldFile(
    const QString& stem, const QByteArray& text, const CoordinateSystem& system)
{
    const bool worldFile = save([&text] { return text; }, stem + QStringLiteral(".pgw"));
    const bool prj = save([&system] { return system.prj(); }, stem + QStringLiteral(".prj"));
    return worldFile && prj;
}

bool AdditionalOutputs::save(const std::function<QByteArray()>& encode, const QString& fileName)
{
    // Saving data encoded before is PngWriter's whole-or-nothing write, for
    // any kind of file.
    return logged(BackgroundWork::run([&] { return PngWriter::save(encode(), fileName); }), fileName);
}

bool AdditionalOutputs::logged(bool saved, const QString& fileName)
{
    MessageLog::append(saved ? tr("Output: %1 written.").arg(fileName)
                             : tr("Output error: Could not save file %1.").arg(fileName));
    return saved;
}

bool AdditionalOutputs::saveImage(const QImage& image, const QString& fileName)
{
    // Straight to the file: a copy of the file in memory first costs a tenth
    // of the compression on the largest images.
    return logged(
        BackgroundWork::run([&] { return PngWriter::save(image, fileName, PngWriter::Content::Derived); }),
        fileName);
}
