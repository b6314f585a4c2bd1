#include "GatewayOptions.h"
#include "GatewayServer.h"
#include "SignalQuitter.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>

int main(int argc, char* argv[])
{
    // Whoever reads the address line may close the pipe afterwards.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("relka-gateway"));
    QCoreApplication::setApplicationVersion(QStringLiteral(RELKA_VERSION));
    qSetMessagePattern(QStringLiteral("relka-gateway: %{time hh:mm:ss.zzz} %{message}"));
    QLoggingCategory::setFilterRules(QStringLiteral("relka.httpserver.info=true"));

    const std::optional<GatewayOptions> options = GatewayOptions::parse(QCoreApplication::arguments());
    if (!options)
        return 2;
    SignalQuitter quitter;
    GatewayServer server(*options);
    if (!server.listen())
        return 1;
    std::printf("%s\n", qPrintable(server.authority()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}
