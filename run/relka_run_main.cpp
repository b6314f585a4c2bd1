// relka-run: one download run without a window, or the plan of a region.
//
// Log lines go to standard output (and to messages.txt as in the window),
// one progress line per stage to standard error, and the texts of message
// boxes to standard error, each answered with its safe default at once:
// Abort for SSL errors, No for questions, Ok otherwise. Exit status: 0 when
// the run succeeded, 1 when it failed or was cancelled, 2 on a usage error,
// 128 + the signal after SIGINT or SIGTERM, which cancel the run first.

#include "app/DownloadArea.h"
#include "app/MessageBoxes.h"
#include "app/MessageLog.h"
#include "app/SettingsStore.h"
#include "run/ConsoleProgress.h"
#include "run/DownloadRun.h"
#include "run/RegionPlan.h"
#include "run/RunArguments.h"
#include "util/SignalQuitter.h"

#include <QCoreApplication>
#include <QDir>
#include <QTextStream>
#include <QTimer>

#include <cstdio>

namespace {

// A request that moves nothing for this long fails, so no server keeps a
// run without a user waiting for ever.
constexpr int transferTimeoutMs = 120000;

// The rectangle as the window would start with it: from the corner given,
// or the stored one centred with the area's size.
DownloadRun::Rectangle startRectangle(const RunArguments& arguments)
{
    const QString area = SettingsStore::downloadArea();
    const double width = DownloadArea::width(area);
    const double height = DownloadArea::height(area);
    if (arguments.north)
        return { *arguments.north, *arguments.north - height, *arguments.west, *arguments.west + width };
    const double latitude = (SettingsStore::downloadNorth() + SettingsStore::downloadSouth()) * 0.5;
    const double longitude = (SettingsStore::downloadWest() + SettingsStore::downloadEast()) * 0.5;
    return { latitude + 0.5 * height, latitude - 0.5 * height, longitude - 0.5 * width,
        longitude + 0.5 * width };
}

} // namespace

int main(int argc, char* argv[])
{
    // Images are written with the resolution an ordinary screen gives them.
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("relka-run"));
    QTextStream out(stdout);
    QTextStream err(stderr);

    QStringList words = QCoreApplication::arguments().mid(1);
    if (words.contains(QLatin1String("--help")) || words.contains(QLatin1String("-h"))) {
        out << RunArguments::usage();
        return 0;
    }
    QString error;
    const std::optional<RunArguments> arguments = RunArguments::parse(words, &error);
    if (!arguments) {
        err << "relka-run: " << error << Qt::endl << RunArguments::usage();
        return 2;
    }
    if (arguments->mode == RunArguments::Mode::Plan) {
        for (const QString& line : RegionPlan::lines(arguments->region, arguments->area))
            out << line << Qt::endl;
        return 0;
    }
    if (!arguments->workingDirectory.isEmpty() && !QDir().mkpath(arguments->workingDirectory)) {
        err << "relka-run: cannot make the working directory " << arguments->workingDirectory << Qt::endl;
        return 2;
    }
    arguments->applyToSettings();

    MessageLog::setEcho([&out](const QString& message) { out << message << Qt::endl; });
    MessageBoxes::setHandler([&err](MessageBoxes::Icon, QWidget*, const QString& title, const QString& text,
                                 MessageBoxes::Buttons buttons) {
        err << title << QLatin1String(": ") << text << Qt::endl;
        if (buttons.testFlag(MessageBoxes::Abort))
            return MessageBoxes::Abort;
        return buttons.testFlag(MessageBoxes::No) ? MessageBoxes::No : MessageBoxes::Ok;
    });

    DownloadRun run;
    run.setTransferTimeout(transferTimeoutMs);
    run.setRectangle(startRectangle(*arguments));
    ConsoleProgress progress(run, stderr);
    int exitCode = 1;
    QObject::connect(&run, &DownloadRun::succeeded, &application, [&exitCode] {
        exitCode = 0;
        QCoreApplication::exit(0);
    });
    QObject::connect(&run, &DownloadRun::cancelled, &application, [] { QCoreApplication::exit(1); });
    // Nobody is there to press Cancel.
    QObject::connect(&run, &DownloadRun::stalled, &run, &DownloadRun::cancelDownload, Qt::QueuedConnection);
    QObject::connect(&run, &DownloadRun::rectangleChanged, &run, &DownloadRun::setRectangle);
    QObject::connect(&run, &DownloadRun::geocodeAnswered, &run, [&run](bool centred) {
        if (centred)
            QTimer::singleShot(0, &run, &DownloadRun::downloadFiles);
        else
            QCoreApplication::exit(1);
    });
    SignalQuitter quitter;
    QObject::connect(&quitter, &SignalQuitter::received, &run, [&run, &exitCode](int signal) {
        run.cancelDownload();
        exitCode = 128 + signal;
    });

    if (arguments->address.isEmpty())
        QTimer::singleShot(0, &run, &DownloadRun::downloadFiles);
    else
        QTimer::singleShot(0, &run, [&run, &arguments] { run.geocode(arguments->address); });
    application.exec();
    return exitCode;
}
