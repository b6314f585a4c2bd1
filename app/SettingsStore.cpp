#include "SettingsStore.h"

#include <QSettings>

namespace {

constexpr QLatin1String organization("Brenholt");
constexpr QLatin1String application("relka");

QVariantHash& transientValues()
{
    static QVariantHash values;
    return values;
}

QVariant read(const char* key, const QVariant& fallback = {})
{
    const QLatin1String name(key);
    if (const auto transient = transientValues().constFind(name); transient != transientValues().cend())
        return *transient;
    return QSettings(organization, application).value(name, fallback);
}

void write(const char* key, const QVariant& value)
{
    const QLatin1String name(key);
    if (const auto transient = transientValues().find(name); transient != transientValues().end())
        *transient = value;
    else
        QSettings(organization, application).setValue(name, value);
}

} // namespace

double SettingsStore::downloadNorth() { return read("downloadNorth", 40.5).toDouble(); }
double SettingsStore::downloadSouth() { return read("downloadSouth", 40.5).toDouble(); }
double SettingsStore::downloadWest() { return read("downloadWest", -105.0).toDouble(); }
double SettingsStore::downloadEast() { return read("downloadEast", -105.0).toDouble(); }
QString SettingsStore::downloadArea() { return read("downloadArea").toString(); }
QString SettingsStore::elevationDataSource() { return read("elevationDataSource").toString(); }
QString SettingsStore::workingDirectory() { return read("workingDirectory", QStringLiteral(".")).toString(); }
bool SettingsStore::verbose() { return read("verbose", false).toBool(); }
int SettingsStore::paletteNumber() { return read("paletteNumber", 1).toInt(); }
int SettingsStore::paletteMinimum() { return read("paletteMinimum", 0).toInt(); }
int SettingsStore::paletteMaximum() { return read("paletteMaximum", 8000).toInt(); }
QStringList SettingsStore::additionalOutputs() { return read("additionalOutputs").toStringList(); }
QString SettingsStore::heightmapEngine()
{
    return read("heightmapEngine", QStringLiteral("native")).toString();
}

void SettingsStore::setDownloadRectangle(double north, double south, double west, double east)
{
    write("downloadNorth", north);
    write("downloadSouth", south);
    write("downloadWest", west);
    write("downloadEast", east);
}

void SettingsStore::setTransient(const QString& key, const QVariant& value)
{
    transientValues().insert(key, value);
}

void SettingsStore::setDownloadArea(const QString& area) { write("downloadArea", area); }
void SettingsStore::setElevationDataSource(const QString& source) { write("elevationDataSource", source); }
void SettingsStore::setWorkingDirectory(const QString& directory) { write("workingDirectory", directory); }
void SettingsStore::setVerbose(bool verbose) { write("verbose", verbose); }
void SettingsStore::setPaletteNumber(int number) { write("paletteNumber", number); }
void SettingsStore::setPaletteMinimum(int minimum) { write("paletteMinimum", minimum); }
void SettingsStore::setPaletteMaximum(int maximum) { write("paletteMaximum", maximum); }
void SettingsStore::setAdditionalOutputs(const QStringList& names) { write("additionalOutputs", names); }
void SettingsStore::setHeightmapEngine(const QString& name) { write("heightmapEngine", name); }

const QStringList& SettingsStore::downloadAreas()
{
    static const QStringList areas {
        QStringLiteral("2° (lon) by 1° (lat)"),
        QStringLiteral("1° (lon) by 0.5° (lat)"),
        QStringLiteral("0.5° (lon) by 0.25° (lat)"),
        QStringLiteral("0.25° (lon) by 0.125° (lat)"),
    };
    return areas;
}

const QStringList& SettingsStore::elevationDataSources()
{
    static const QStringList sources {
        QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]"),
        QStringLiteral("SRTM 1 arc sec - Shuttle Radar Topography Mission [Finished] (U.S. only)"),
        QStringLiteral("National Elevation Dataset (NED) 1 Arc Second (U.S. only)"),
        QStringLiteral("National Elevation Dataset (NED) 1/3 Arc Second (U.S. only)"),
        QStringLiteral("Topographic Change: NED 2003 DEM (U.S. only)"),
    };
    return sources;
}
