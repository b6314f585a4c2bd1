#pragma once

#include <QString>

#include <optional>

// Host and port of one of the web services the program talks to. Each
// service has a built-in host on port 80; an environment variable can point
// it elsewhere (a local test server, a mirror) as "host" or "host:port".
class ServiceEndpoint {
public:
    static constexpr quint16 defaultPort = 80;

    ServiceEndpoint(const QString& host, quint16 port = defaultPort);

    // RELKA_ELEVATION_SERVER, default extract.cr.usgs.gov.
    static ServiceEndpoint elevationServer();
    // RELKA_TILE_SERVER, default tile.openstreetmap.org.
    static ServiceEndpoint tileServer();
    // RELKA_GEOCODER, default geocoder.us.
    static ServiceEndpoint geocoder();

    // The endpoint named by the environment variable; fallback when it is
    // unset or empty, and also (with a warning) when it cannot be parsed.
    static ServiceEndpoint fromEnvironment(const char* variable, const ServiceEndpoint& fallback);
    // "host" or "host:port"; nothing for an empty host, a port that is not
    // a decimal number from 1 to 65535, or anything that is no host name.
    static std::optional<ServiceEndpoint> parse(const QString& text);

    QString host() const;
    quint16 port() const;
    // The host, followed by ":port" unless the port is 80: what goes between
    // "http://" and the path of a URL.
    QString authority() const;

    bool operator==(const ServiceEndpoint&) const = default;

private:
    QString hostName;
    quint16 portNumber;
};
