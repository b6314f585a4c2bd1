#include "http/ServiceEndpoint.h"

#include <QRegularExpression>
#include <QtDebug>

ServiceEndpoint::ServiceEndpoint(const QString& host, quint16 port)
    : hostName(host)
    , portNumber(port)
{
}

ServiceEndpoint ServiceEndpoint::elevationServer()
{
    return fromEnvironment("RELKA_ELEVATION_SERVER", ServiceEndpoint(QStringLiteral("extract.cr.usgs.gov")));
}

ServiceEndpoint ServiceEndpoint::tileServer()
{
    return fromEnvironment("RELKA_TILE_SERVER", ServiceEndpoint(QStringLiteral("tile.openstreetmap.org")));
}

ServiceEndpoint ServiceEndpoint::geocoder()
{
    return fromEnvironment("RELKA_GEOCODER", ServiceEndpoint(QStringLiteral("geocoder.us")));
}

ServiceEndpoint ServiceEndpoint::fromEnvironment(const char* variable, const ServiceEndpoint& fallback)
{
    const QString text = qEnvironmentVariable(variable);
    if (text.isEmpty())
        return fallback;
    if (const std::optional<ServiceEndpoint> endpoint = parse(text))
        return *endpoint;
    qWarning("%s=\"%s\" is not host or host:port; using %s", variable, qUtf8Printable(text),
        qUtf8Printable(fallback.authority()));
    return fallback;
}

std::optional<ServiceEndpoint> ServiceEndpoint::parse(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^([A-Za-z0-9._-]+)(?::([0-9]{1,5}))?$"));
    const QRegularExpressionMatch match = form.match(text.trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    if (!match.hasCaptured(2))
        return ServiceEndpoint(match.captured(1));
    const uint port = match.captured(2).toUInt();
    if (port < 1 || port > 65535)
        return std::nullopt;
    return ServiceEndpoint(match.captured(1), quint16(port));
}

QString ServiceEndpoint::host() const { return hostName; }

quint16 ServiceEndpoint::port() const { return portNumber; }

QString ServiceEndpoint::authority() const
{
    if (portNumber == defaultPort)
        return hostName;
    return hostName + QLatin1Char(':') + QString::number(portNumber);
}
