#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

// Typed access to the user's settings. Nothing is cached: every call opens
// the store and drops it again, so a value written by one part of the program
// is seen by the very next reader.
class SettingsStore {
public:
    static double downloadNorth();
    static double downloadSouth();
    static double downloadWest();
    static double downloadEast();
    static QString downloadArea();
    static QString elevationDataSource();
    static QString workingDirectory();
    static bool verbose();
    static int paletteNumber();
    static int paletteMinimum();
    static int paletteMaximum();
    // The additional outputs by their command-line names; none when never stored.
    static QStringList additionalOutputs();
    // The heightmap's engine by its command-line name; "native" when never stored.
    static QString heightmapEngine();

    static void setDownloadRectangle(double north, double south, double west, double east);
    static void setDownloadArea(const QString& area);
    static void setElevationDataSource(const QString& source);
    static void setWorkingDirectory(const QString& directory);
    static void setVerbose(bool verbose);
    static void setPaletteNumber(int number);
    static void setPaletteMinimum(int minimum);
    static void setPaletteMaximum(int maximum);
    static void setAdditionalOutputs(const QStringList& names);
    static void setHeightmapEngine(const QString& name);

    // A value that stands in for the stored one in this process only and
    // takes the process's writes of its key, so a command line's choices
    // are used and never stored.
    static void setTransient(const QString& key, const QVariant& value);

    // The display texts the settings dialog offers, in its order; the store
    // keeps the chosen text itself.
    static const QStringList& downloadAreas();
    static const QStringList& elevationDataSources();
};
