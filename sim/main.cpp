#include "SignalQuitter.h"
#include "SimOptions.h"
#include "SimServer.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>

int main(int argc, char* argv[])
{
    // Whoever reads the address line may close the pipe afterwards.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("relka-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(RELKA_VERSION));
    qSetMessagePattern(QStringLiteral("relka-sim: %{message}"));
    QLoggingCategory::setFilterRules(QStringLiteral("relka.httpserver.info=true"));

    const std::optional<SimOptions> options = SimOptions::parse(QCoreApplication::arguments());
    if (!options)
        return 2;
    SignalQuitter quitter;
    SimServer server(*options);
    if (!server.listen())
        return 1;
    std::printf("%s\n", qPrintable(server.authority()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}
