#include "CoordinateSystem.h"

#include <QFile>

#include <cpl_conv.h>
#include <ogr_spatialref.h>
#include <unzip.h>

#include <algorithm>
#include <cstring>

namespace {

// A ".prj" is a line or two of text; anything far larger is not one.
constexpr int largestPrj = 65536;

QByteArray prjEntryOf(const QString& archiveFile)
{
    const unzFile archive = unzOpen(QFile::encodeName(archiveFile).constData());
    if (!archive)
        return {};
    QByteArray text;
    for (int at = unzGoToFirstFile(archive); at == UNZ_OK && text.isEmpty(); at = unzGoToNextFile(archive)) {
        char name[1024];
        unz_file_info info;
        if (unzGetCurrentFileInfo(archive, &info, name, sizeof name, nullptr, 0, nullptr, 0) != UNZ_OK
            || !QByteArray(name, qsizetype(strnlen(name, sizeof name))).toLower().endsWith(".prj")
            || info.uncompressed_size > largestPrj || unzOpenCurrentFile(archive) != UNZ_OK)
            continue;
        text.resize(qsizetype(info.uncompressed_size));
        const int read = unzReadCurrentFile(archive, text.data(), unsigned(text.size()));
        text.truncate(std::max(read, 0));
        unzCloseCurrentFile(archive);
    }
    unzClose(archive);
    return text;
}

QByteArray exported(const OGRSpatialReference& system, const char* format)
{
    char* text = nullptr;
    const char* const options[] = { format, nullptr };
    system.exportToWkt(&text, options);
    const QByteArray wkt(text);
    CPLFree(text);
    return wkt;
}

} // namespace

CoordinateSystem CoordinateSystem::of(const OGRSpatialReference& system)
{
    CoordinateSystem result;
    result.gdalWkt = exported(system, "FORMAT=WKT1");
    result.esriWkt = exported(system, "FORMAT=WKT1_ESRI");
    return result;
}

CoordinateSystem CoordinateSystem::ofArchive(const QString& archiveFile)
{
    // Only ever read as WKT (ESRI's dialect included): an archive's text
    // must not name a file or an address for GDAL to open.
    const QByteArray wkt = prjEntryOf(archiveFile).trimmed();
    OGRSpatialReference system;
    if (wkt.isEmpty() || system.importFromWkt(wkt.constData()) != OGRERR_NONE)
        return wgs84();
    return of(system);
}

CoordinateSystem CoordinateSystem::wgs84() { return ofEpsg(4326); }

CoordinateSystem CoordinateSystem::webMercator() { return ofEpsg(3857); }

CoordinateSystem CoordinateSystem::ofEpsg(int code)
{
    OGRSpatialReference system;
    system.importFromEPSG(code);
    return of(system);
}
