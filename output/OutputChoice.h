#pragma once

#include "output/EnginePreset.h"

#include <QFlags>
#include <QString>
#include <QStringList>

#include <optional>

// Which additional outputs to write beside the two results, and for which
// engine the heightmap is made.
class OutputChoice {
public:
    enum Output {
        GeoTiff = 0x1,
        WorldFiles = 0x2,
        Heightmap = 0x4,
        Hillshade = 0x8,
        NormalMap = 0x10,
    };
    Q_DECLARE_FLAGS(Outputs, Output)

    // "geotiff", "worldfiles", "heightmap", "hillshade", "normalmap", in the
    // order of the flags; the settings store and the command lines use them.
    static const QStringList& names();
    // A comma-separated list of names, or "all"; empty for an unknown name.
    static std::optional<Outputs> parse(const QString& list);
    static QStringList namesOf(Outputs outputs);

    // As the settings store holds them: none and the native size unless
    // chosen otherwise.
    static OutputChoice stored();

    Outputs outputs;
    EnginePreset engine;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OutputChoice::Outputs)
