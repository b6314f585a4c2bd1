#include "GatewayServer.h"

#include "Attribution.h"

namespace {

// The tile provider's usage policy in mind: never more than two at once.
constexpr int connectionsPerSource = 2;

}

GatewayServer::GatewayServer(const GatewayOptions& options, QObject* parent)
    : QObject(parent)
    , options(options)
    , demUpstream(options.userAgent(), options.timeoutSeconds, connectionsPerSource)
    , tileUpstream(options.userAgent(), options.timeoutSeconds, connectionsPerSource)
    , geocoderUpstream(options.userAgent(), options.timeoutSeconds, connectionsPerSource)
    , demTiles(options.cacheDirectory + QStringLiteral("/dem"), demUpstream)
    , terrain(demTiles, options.srtmUrl, options.nedUrl)
    , archives(options.cacheDirectory + QStringLiteral("/archives"), true, terrain)
    , elevation({ options.waitPages, options.refreshSeconds }, archives)
    , tiles({ options.tileTemplate, !options.contact.isEmpty(), options.tileBudget },
          options.cacheDirectory + QStringLiteral("/tiles"), tileUpstream)
    , geocoder(options.geocoderUrl, geocoderUpstream)
    , server([this](const HttpRequest& request, const HttpResponder& respond) { route(request, respond); })
{
}

bool GatewayServer::listen()
{
    if (!archives.isUsable()) {
        qCritical().noquote()
            << QStringLiteral("relka-gateway: cannot use the cache folder %1").arg(options.cacheDirectory);
        return false;
    }
    if (!options.attributionFile.isEmpty() && !Attribution::write(options.attributionFile, options)) {
        qCritical().noquote()
            << QStringLiteral("relka-gateway: cannot write %1").arg(options.attributionFile);
        return false;
    }
    return ServiceProcess::listen(server, options.endpoint);
}

void GatewayServer::route(const HttpRequest& request, const HttpResponder& respond)
{
    const HttpResponder deliver = [respond](HttpResponse response) {
        response.headers.prepend({ "Server", "relka-gateway/" RELKA_VERSION });
        respond(std::move(response));
    };
    if (request.method != "GET") {
        deliver(HttpResponse::onlyGet());
        return;
    }
    if (request.path == QLatin1String("/attribution.txt")) {
        HttpResponse response { .body = Attribution::text(options).toUtf8() };
        response.setHeader("Content-Type", "text/plain; charset=UTF-8");
        deliver(response);
        return;
    }
    if (!elevation.answer(request, deliver) && !tiles.answer(request, deliver)
        && !geocoder.answer(request, deliver))
        deliver(HttpResponse::message(404, QStringLiteral("Nothing is served at %1.").arg(request.path)));
}
