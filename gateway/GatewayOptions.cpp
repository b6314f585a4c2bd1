#include "GatewayOptions.h"

#include <QCommandLineParser>
#include <QDir>
#include <QStandardPaths>

namespace {

std::optional<GatewayOptions> failure(const QString& message)
{
    ServiceProcess::reportUsageError("relka-gateway", message);
    return std::nullopt;
}

struct Setting {
    const char* name;
    const char* variable;
    const char* description;
    const char* valueName;
    QString fallback;
};

QString defaultCache()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
        + QStringLiteral("/relka-gateway");
}

QList<Setting> settings()
{
    return {
        { "listen", "RELKA_GATEWAY_LISTEN",
            "Loopback address and port to listen on; port 0 picks a free one.", "address:port",
            QStringLiteral("127.0.0.1:0") },
        { "cache-dir", "RELKA_GATEWAY_CACHE", "Folder for fetched DEM tiles, built archives and map tiles.",
            "directory", defaultCache() },
        { "srtm-url", "RELKA_GATEWAY_SRTM_URL",
            "Folder of the SRTM 1 arc-second tiles in the HGT layout (N40/N40W106.hgt.gz).", "url",
            QStringLiteral("https://s3.amazonaws.com/elevation-tiles-prod/skadi") },
        { "ned-url", "RELKA_GATEWAY_NED_URL",
            "Folder of the 3DEP 1 and 1/3 arc-second 1-degree GeoTIFF series "
            "(1/TIFF/current/n41w106/USGS_1_n41w106.tif).",
            "url", QStringLiteral("https://prd-tnm.s3.amazonaws.com/StagedProducts/Elevation") },
        { "geocoder-url", "RELKA_GATEWAY_GEOCODER_URL", "One-line-address geocoder answering in JSON.", "url",
            QStringLiteral("https://geocoding.geo.census.gov/geocoder/locations/onelineaddress") },
        { "tile-url", "RELKA_GATEWAY_TILE_URL",
            "Map tile address with {z}, {x} and {y}, e.g. https://tiles.example.org/{z}/{x}/{y}.png?key=KEY. "
            "Without it tile requests are refused.",
            "template", QString() },
        { "tile-attribution", "RELKA_GATEWAY_TILE_ATTRIBUTION", "Attribution the tile provider asks for.",
            "text", QStringLiteral("Map data (c) OpenStreetMap contributors, ODbL") },
        { "contact", "RELKA_GATEWAY_CONTACT",
            "Your e-mail address or web page, sent in the User-Agent; required for map tiles.", "contact",
            QString() },
        { "tile-budget", "RELKA_GATEWAY_TILE_BUDGET", "Map tiles fetched upstream per gateway run.", "count",
            QStringLiteral("1000") },
        { "timeout", "RELKA_GATEWAY_TIMEOUT", "Seconds an upstream request may stall before it fails.",
            "seconds", QStringLiteral("30") },
        { "wait-pages", "RELKA_GATEWAY_WAIT_PAGES", "Waiting pages before the request summary page.", "count",
            QStringLiteral("1") },
        { "refresh-seconds", "RELKA_GATEWAY_REFRESH_SECONDS", "Seconds announced on a waiting page.",
            "seconds", QStringLiteral("1") },
        { "attribution-file", "RELKA_GATEWAY_ATTRIBUTION_FILE",
            "Write the attribution of the sources to this file at start-up.", "file", QString() },
    };
}

QUrl webAddress(const QString& text)
{
    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")))
        return {};
    // Paths are appended to it.
    if (url.path().endsWith(QLatin1Char('/')))
        url.setPath(url.path().chopped(1));
    return url;
}

}

std::optional<GatewayOptions> GatewayOptions::parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Serves the three web services relka talks to (elevation extract service, map tile server, geocoder) "
        "on one loopback address from public sources: SRTM and 3DEP elevation tiles, a map tile provider of "
        "your choice, and a U.S. address geocoder.\nPrints the actual host:port as the only line on standard "
        "output once it accepts connections, logs every request and every upstream call on standard error, "
        "and runs until SIGTERM or SIGINT. Every option can also be set by the environment variable named "
        "in brackets."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QList<Setting> all = settings();
    for (const Setting& setting : all) {
        const QString variable = QLatin1String(setting.variable);
        const QString value = qEnvironmentVariable(setting.variable, setting.fallback);
        const QString shown = setting.fallback.isEmpty() ? QStringLiteral("none") : setting.fallback;
        parser.addOption({ QLatin1String(setting.name),
            QStringLiteral("%1 [%2] (default: %3)").arg(QLatin1String(setting.description), variable, shown),
            QLatin1String(setting.valueName), value });
    }
    parser.process(arguments);
    if (!parser.positionalArguments().isEmpty())
        return failure(
            QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));
    auto value = [&parser](const char* name) { return parser.value(QLatin1String(name)); };

    GatewayOptions options;
    const std::optional<ServiceProcess::Endpoint> endpoint = ServiceProcess::loopback(value("listen"));
    if (!endpoint)
        return failure(QStringLiteral("--listen needs a loopback address and a port, e.g. 127.0.0.1:0"));
    options.endpoint = *endpoint;

    options.srtmUrl = webAddress(value("srtm-url"));
    options.nedUrl = webAddress(value("ned-url"));
    options.geocoderUrl = webAddress(value("geocoder-url"));
    if (options.srtmUrl.isEmpty() || options.nedUrl.isEmpty() || options.geocoderUrl.isEmpty())
        return failure(
            QStringLiteral("--srtm-url, --ned-url and --geocoder-url take an http or https address"));
    options.tileTemplate = value("tile-url");
    const bool placeholders = options.tileTemplate.contains(QLatin1String("{z}"))
        && options.tileTemplate.contains(QLatin1String("{x}"))
        && options.tileTemplate.contains(QLatin1String("{y}"));
    const QString sample = QString(options.tileTemplate)
                               .replace(QLatin1String("{z}"), QStringLiteral("1"))
                               .replace(QLatin1String("{x}"), QStringLiteral("0"))
                               .replace(QLatin1String("{y}"), QStringLiteral("0"));
    if (!options.tileTemplate.isEmpty() && (!placeholders || webAddress(sample).isEmpty()))
        return failure(QStringLiteral("--tile-url takes an http or https address with {z}, {x} and {y}"));

    const std::optional<int> budget = ServiceProcess::boundedNumber(value("tile-budget"), 0, 10'000'000);
    const std::optional<int> timeout = ServiceProcess::boundedNumber(value("timeout"), 1, 3600);
    const std::optional<int> waitPages = ServiceProcess::boundedNumber(value("wait-pages"), 0, 1000);
    const std::optional<int> refreshSeconds
        = ServiceProcess::boundedNumber(value("refresh-seconds"), 0, 3600);
    if (!budget || !timeout || !waitPages || !refreshSeconds)
        return failure(
            QStringLiteral("--tile-budget, --timeout, --wait-pages and --refresh-seconds take a whole "
                           "number (0-10000000, 1-3600, 0-1000, 0-3600)"));
    options.tileBudget = *budget;
    options.timeoutSeconds = *timeout;
    options.waitPages = *waitPages;
    options.refreshSeconds = *refreshSeconds;
    options.cacheDirectory = QDir::cleanPath(value("cache-dir"));
    options.tileAttribution = value("tile-attribution");
    options.contact = value("contact").simplified();
    options.attributionFile = value("attribution-file");
    return options;
}

QByteArray GatewayOptions::userAgent() const
{
    QByteArray agent = "relka-gateway/" RELKA_VERSION;
    if (!contact.isEmpty())
        agent += " (+" + contact.toLatin1() + ')';
    return agent;
}
