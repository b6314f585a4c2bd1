#include "ServiceProcess.h"

#include <QRegularExpression>

namespace ServiceProcess {

std::optional<Endpoint> loopback(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral("^\\[?([^\\]]+)\\]?:(\\d{1,5})$"));
    const QRegularExpressionMatch match = pattern.match(text);
    const QString host = match.captured(1);
    const QHostAddress address
        = host == QLatin1String("localhost") ? QHostAddress(QHostAddress::LocalHost) : QHostAddress(host);
    const int port = match.captured(2).toInt();
    if (!match.hasMatch() || !address.isLoopback() || port > 65535)
        return std::nullopt;
    return Endpoint { address, quint16(port) };
}

bool listen(HttpServer& server, const Endpoint& endpoint)
{
    if (server.listen(endpoint.address, endpoint.port))
        return true;
    qCritical().noquote() << QStringLiteral("%1: cannot listen on %2:%3: %4")
                                 .arg(QCoreApplication::applicationName(), endpoint.address.toString())
                                 .arg(endpoint.port)
                                 .arg(server.errorString());
    return false;
}

}

std::optional<int> ServiceProcess::boundedNumber(const QString& text, int minimum, int maximum)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < minimum || value > maximum)
        return std::nullopt;
    return value;
}

void ServiceProcess::reportUsageError(const char* program, const QString& message)
{
    std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", program, qPrintable(message), program);
}
