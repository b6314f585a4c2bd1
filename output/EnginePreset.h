#pragma once

#include <QJsonObject>
#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>

// The game engine a 16-bit heightmap is made for: the sizes its terrain
// importer accepts and the scale values it asks for.
class EnginePreset {
public:
    enum class Engine { Native, Unreal, Unity, CitiesSkylines2 };

    explicit EnginePreset(Engine engine = Engine::Native)
        : engine(engine)
    {
    }

    // "native", "unreal", "unity", "cs2", in the order of Engine.
    static const QStringList& names();
    // What the settings dialog shows, in the same order.
    static const QStringList& displayNames();
    // Empty for a name that is not one of names().
    static std::optional<EnginePreset> fromName(const QString& name);

    QString name() const { return names().at(int(engine)); }

    // native keeps the elevation grid's size; unreal takes the nearest of its
    // landscape sizes for each side; unity the nearest square of 2^n + 1
    // (33 to 4097) to the longer side; cs2 4096 x 4096.
    QSize heightmapSize(const QSize& grid) const;

    // The engine's own import values, under its own key (none for native):
    // widthMetres and lengthMetres are the extent, rangeMetres the difference
    // between the highest and the lowest elevation, spacing the metres
    // between two samples.
    QJsonObject importValues(
        double widthMetres, double lengthMetres, double spacingX, double spacingY, double rangeMetres) const;

    Engine engine;
};
