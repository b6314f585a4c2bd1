#include "run/RunArguments.h"

#include "app/SettingsStore.h"
#include "output/OutputChoice.h"

#include <QCommandLineParser>

namespace {

// The short names, in the order of the settings' texts.
const QStringList areaNames { QStringLiteral("2"), QStringLiteral("1"), QStringLiteral("0.5"),
    QStringLiteral("0.25") };
const QStringList sourceNames { QStringLiteral("srtm3"), QStringLiteral("srtm1"), QStringLiteral("ned1"),
    QStringLiteral("ned13"), QStringLiteral("ned2003") };

QString textFor(const QString& value, const QStringList& names, const QStringList& texts)
{
    if (texts.contains(value))
        return value;
    const qsizetype index = names.indexOf(value);
    return index < 0 ? QString() : texts.at(index);
}

std::optional<double> degrees(const QString& text, double limit)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !(qAbs(value) <= limit))
        return std::nullopt;
    return value;
}

} // namespace

QString RunArguments::areaText(const QString& value)
{
    return textFor(value, areaNames, SettingsStore::downloadAreas());
}

QString RunArguments::sourceText(const QString& value)
{
    return textFor(value, sourceNames, SettingsStore::elevationDataSources());
}

QString RunArguments::usage()
{
    return QStringLiteral(
        "Usage: relka-run [--north DEG --west DEG | --address TEXT] [--area A] [--source S]\n"
        "                 [--workdir DIR] [--verbose] [--outputs LIST] [--engine E]\n"
        "       relka-run --plan --region NORTH,SOUTH,WEST,EAST --area A\n"
        "A: %1, or an area text. S: %2, or a source text.\n"
        "LIST: comma-separated from %3, or all. E: %4.\n"
        "What is not given comes from the stored settings; nothing given here is stored.\n")
        .arg(areaNames.join(QStringLiteral(", ")), sourceNames.join(QStringLiteral(", ")),
            OutputChoice::names().join(QStringLiteral(", ")),
            EnginePreset::names().join(QStringLiteral(", ")));
}

std::optional<RunArguments> RunArguments::parse(const QStringList& arguments, QString* error)
{
    QCommandLineParser parser;
    const QCommandLineOption north(QStringLiteral("north"), {}, QStringLiteral("DEG"));
    const QCommandLineOption west(QStringLiteral("west"), {}, QStringLiteral("DEG"));
    const QCommandLineOption address(QStringLiteral("address"), {}, QStringLiteral("TEXT"));
    const QCommandLineOption area(QStringLiteral("area"), {}, QStringLiteral("A"));
    const QCommandLineOption source(QStringLiteral("source"), {}, QStringLiteral("S"));
    const QCommandLineOption workdir(QStringLiteral("workdir"), {}, QStringLiteral("DIR"));
    const QCommandLineOption verbose(QStringLiteral("verbose"));
    const QCommandLineOption plan(QStringLiteral("plan"));
    const QCommandLineOption region(QStringLiteral("region"), {}, QStringLiteral("N,S,W,E"));
    const QCommandLineOption outputs(QStringLiteral("outputs"), {}, QStringLiteral("LIST"));
    const QCommandLineOption engine(QStringLiteral("engine"), {}, QStringLiteral("E"));
    parser.addOptions(
        { north, west, address, area, source, workdir, verbose, plan, region, outputs, engine });

    const auto fail = [error](const QString& why) {
        *error = why;
        return std::nullopt;
    };
    if (!parser.parse(QStringList { QStringLiteral("relka-run") } + arguments))
        return fail(parser.errorText());
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("Unexpected argument: %1").arg(parser.positionalArguments().constFirst()));

    RunArguments result;
    if (parser.isSet(area)) {
        result.area = areaText(parser.value(area));
        if (result.area.isEmpty())
            return fail(QStringLiteral("Unknown area: %1").arg(parser.value(area)));
    }
    if (parser.isSet(plan)) {
        result.mode = Mode::Plan;
        const QStringList borders = parser.value(region).split(u',');
        std::optional<double> values[4];
        for (int i = 0; i < 4 && borders.size() == 4; ++i)
            values[i] = degrees(borders.at(i), i < 2 ? 90 : 180);
        if (!values[0] || !values[1] || !values[2] || !values[3] || *values[1] >= *values[0]
            || *values[2] >= *values[3])
            return fail(QStringLiteral(
                "--plan needs --region NORTH,SOUTH,WEST,EAST with NORTH > SOUTH, WEST < EAST"));
        if (result.area.isEmpty())
            return fail(QStringLiteral("--plan needs --area"));
        result.region = { *values[0], *values[1], *values[2], *values[3] };
        return result;
    }
    if (parser.isSet(north) != parser.isSet(west))
        return fail(QStringLiteral("--north and --west go together"));
    if (parser.isSet(north) && parser.isSet(address))
        return fail(QStringLiteral("Give either --north and --west or --address"));
    if (parser.isSet(north)) {
        result.north = degrees(parser.value(north), 90);
        result.west = degrees(parser.value(west), 180);
        if (!result.north || !result.west)
            return fail(QStringLiteral("--north takes -90 to 90 degrees, --west -180 to 180"));
    }
    result.address = parser.value(address);
    if (parser.isSet(address) && result.address.trimmed().isEmpty())
        return fail(QStringLiteral("--address needs a text"));
    if (parser.isSet(source)) {
        result.source = sourceText(parser.value(source));
        if (result.source.isEmpty())
            return fail(QStringLiteral("Unknown source: %1").arg(parser.value(source)));
    }
    if (parser.isSet(outputs)) {
        const std::optional<OutputChoice::Outputs> chosen = OutputChoice::parse(parser.value(outputs));
        if (!chosen)
            return fail(QStringLiteral("Unknown outputs: %1").arg(parser.value(outputs)));
        result.outputs = OutputChoice::namesOf(*chosen);
    }
    result.engine = parser.value(engine);
    if (parser.isSet(engine) && !EnginePreset::fromName(result.engine))
        return fail(QStringLiteral("Unknown engine: %1").arg(result.engine));
    result.workingDirectory = parser.value(workdir);
    result.verbose = parser.isSet(verbose);
    return result;
}

void RunArguments::applyToSettings() const
{
    // The run stores its rectangle; here that stays in this process.
    const double stored[] = { SettingsStore::downloadNorth(), SettingsStore::downloadSouth(),
        SettingsStore::downloadWest(), SettingsStore::downloadEast() };
    int i = 0;
    for (const char* key : { "downloadNorth", "downloadSouth", "downloadWest", "downloadEast" })
        SettingsStore::setTransient(QLatin1String(key), stored[i++]);
    if (!area.isEmpty())
        SettingsStore::setTransient(QStringLiteral("downloadArea"), area);
    if (!source.isEmpty())
        SettingsStore::setTransient(QStringLiteral("elevationDataSource"), source);
    if (!workingDirectory.isEmpty())
        SettingsStore::setTransient(QStringLiteral("workingDirectory"), workingDirectory);
    if (verbose)
        SettingsStore::setTransient(QStringLiteral("verbose"), true);
    if (outputs)
        SettingsStore::setTransient(QStringLiteral("additionalOutputs"), *outputs);
    if (!engine.isEmpty())
        SettingsStore::setTransient(QStringLiteral("heightmapEngine"), engine);
}
