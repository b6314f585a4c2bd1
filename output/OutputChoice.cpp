#include "OutputChoice.h"

#include "app/SettingsStore.h"

const QStringList& OutputChoice::names()
{
    static const QStringList names { QStringLiteral("geotiff"), QStringLiteral("worldfiles"),
        QStringLiteral("heightmap"), QStringLiteral("hillshade"), QStringLiteral("normalmap") };
    return names;
}

std::optional<OutputChoice::Outputs> OutputChoice::parse(const QString& list)
{
    Outputs outputs;
    for (const QString& name : list.split(u',', Qt::SkipEmptyParts)) {
        const QString trimmed = name.trimmed();
        const qsizetype index = names().indexOf(trimmed);
        if (trimmed == QLatin1String("all"))
            outputs = Outputs((1 << names().size()) - 1);
        else if (index >= 0)
            outputs |= Output(1 << index);
        else
            return std::nullopt;
    }
    return outputs;
}

QStringList OutputChoice::namesOf(Outputs outputs)
{
    QStringList chosen;
    for (qsizetype index = 0; index < names().size(); ++index)
        if (outputs.testFlag(Output(1 << index)))
            chosen << names().at(index);
    return chosen;
}

OutputChoice OutputChoice::stored()
{
    OutputChoice choice;
    // A stored list with a name it does not know counts as none.
    choice.outputs = parse(SettingsStore::additionalOutputs().join(u',')).value_or(Outputs());
    choice.engine = EnginePreset::fromName(SettingsStore::heightmapEngine()).value_or(EnginePreset());
    return choice;
}
