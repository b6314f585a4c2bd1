// relka-import BASENAME [--proceed] [--outputs LIST] [--engine NAME]
//
// Runs the BIL import of BASENAME.bil / BASENAME.hdr without a window and
// writes the same elevation and colour files as the program, then the
// additional outputs named in LIST for the heightmap engine NAME. Log lines go
// to standard output (and to messages.txt as usual); message boxes are not
// shown but printed to standard error and answered at once: No to the
// question about a TIFF-wrapped raster unless --proceed is given, Ok to the
// rest. The exit status is 0 only when the colour file and every output
// asked for were saved, 2 on a usage error.

#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "bil/ElevationImport.h"
#include "bil/ImportFeedback.h"
#include "output/AdditionalOutputs.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char* argv[])
{
    // No display is needed: images are plain QImages, and nothing is shown.
    // Without a screen to take it from, the files record the resolution the
    // program gives them on an ordinary one.
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("relka-import"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Imports a BIL elevation raster into relka's elevation files."));
    parser.addHelpOption();
    parser.addPositionalArgument(
        QStringLiteral("BASENAME"), QStringLiteral("The raster's path without \".bil\"."));
    const QCommandLineOption proceedOption(QStringLiteral("proceed"),
        QStringLiteral(
            "Import a TIFF-wrapped raster from its first byte when its data block cannot be located."));
    parser.addOption(proceedOption);
    const QCommandLineOption outputsOption(QStringLiteral("outputs"),
        QStringLiteral("Additional outputs, comma-separated: %1, or all.")
            .arg(OutputChoice::names().join(QStringLiteral(", "))),
        QStringLiteral("LIST"));
    const QCommandLineOption engineOption(QStringLiteral("engine"),
        QStringLiteral("The heightmap's engine: %1 (default native).")
            .arg(EnginePreset::names().join(QStringLiteral(", "))),
        QStringLiteral("NAME"), EnginePreset::names().constFirst());
    parser.addOptions({ outputsOption, engineOption });
    parser.process(application);

    QTextStream out(stdout);
    QTextStream err(stderr);
    OutputChoice choice;
    const std::optional<OutputChoice::Outputs> outputs = OutputChoice::parse(parser.value(outputsOption));
    const std::optional<EnginePreset> engine = EnginePreset::fromName(parser.value(engineOption));
    if (parser.positionalArguments().size() != 1 || !outputs || !engine) {
        err << parser.helpText();
        return 2;
    }
    choice.outputs = *outputs;
    choice.engine = *engine;
    const bool proceed = parser.isSet(proceedOption);

    MessageLog::setEcho([&out](const QString& message) { out << message << Qt::endl; });
    MessageBoxes::setHandler([&err, proceed](MessageBoxes::Icon, QWidget*, const QString& title,
                                 const QString& text, MessageBoxes::Buttons buttons) {
        err << title << QLatin1String(": ") << text << Qt::endl;
        if (buttons.testFlag(MessageBoxes::Yes))
            return proceed ? MessageBoxes::Yes : MessageBoxes::No;
        return MessageBoxes::Ok;
    });

    // The outputs are made from the elevations the import holds, which
    // spares reading them back once more.
    class CorrectedElevations : public ImportFeedback {
    public:
        explicit CorrectedElevations(bool wanted)
            : wanted(wanted)
        {
        }
        void correctedElevations(const QImage& image) override
        {
            if (wanted)
                corrected = image;
        }
        bool wanted;
        QImage corrected;
    } feedback(bool(choice.outputs));
    const QString baseName = parser.positionalArguments().constFirst();
    if (!ElevationImport(baseName, feedback).run())
        return 1;
    return AdditionalOutputs(baseName, choice).write(std::move(feedback.corrected)) ? 0 : 1;
}
