#pragma once

#include "HttpServer.h"
#include "util/SignalQuitter.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QLoggingCategory>

#include <csignal>
#include <cstdio>
#include <optional>

// What relka-sim and relka-gateway do around their server: a loopback
// address from the command line, listening with the reason on standard
// error when it fails, the address line on standard output once
// connections are accepted, log lines with the time on standard error, and
// the event loop until SIGTERM or SIGINT.
namespace ServiceProcess {

struct Endpoint {
    QHostAddress address = QHostAddress(QHostAddress::LocalHost);
    quint16 port = 0;
};

// "127.0.0.1:0", "[::1]:8080", "localhost:80"; nothing for any address but
// a loopback one.
std::optional<Endpoint> loopback(const QString& text);

// Names the program on standard error when it fails.
bool listen(HttpServer& server, const Endpoint& endpoint);

// A whole number from minimum to maximum; nothing for any other text.
std::optional<int> boundedNumber(const QString& text, int minimum, int maximum);

// Says on standard error what is wrong with the command line and where the
// help is.
void reportUsageError(const char* program, const QString& message);

// Options has a static parse(arguments) that returns nothing after saying
// why; Server is made from the options and has listen() and authority().
template <typename Options, typename Server> int run(int argc, char* argv[], const char* name)
{
    // Whoever reads the address line may close the pipe afterwards.
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QLatin1String(name));
    QCoreApplication::setApplicationVersion(QStringLiteral(RELKA_VERSION));
    qSetMessagePattern(QLatin1String(name) + QStringLiteral(": %{time hh:mm:ss.zzz} %{message}"));
    QLoggingCategory::setFilterRules(QStringLiteral("relka.httpserver.info=true"));

    const std::optional<Options> options = Options::parse(QCoreApplication::arguments());
    if (!options)
        return 2;
    SignalQuitter quitter;
    Server server(*options);
    if (!server.listen())
        return 1;
    std::printf("%s\n", qPrintable(server.authority()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}

}
