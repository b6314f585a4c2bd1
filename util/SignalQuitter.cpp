#include "SignalQuitter.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

SignalQuitter::SignalQuitter(QObject* parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0)
        return;
    notifier = new QSocketNotifier(sockets[1], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        char signal = 0;
        if (::read(sockets[1], &signal, 1) == 1) {
            qInfo().noquote() << QStringLiteral("signal %1, stopping").arg(int(signal));
            emit received(signal);
        }
        QCoreApplication::quit();
    });
    struct sigaction action { };
    action.sa_handler = &SignalQuitter::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

SignalQuitter::~SignalQuitter()
{
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    ::close(sockets[0]);
    ::close(sockets[1]);
}

void SignalQuitter::handle(int signal)
{
    const char byte = char(signal);
    [[maybe_unused]] const ssize_t written = ::write(sockets[0], &byte, 1);
}
