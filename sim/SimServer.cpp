#include "SimServer.h"

SimServer::SimServer(const SimOptions& options, QObject* parent)
    : QObject(parent)
    , options(options)
    , server([this](const HttpRequest& request, const HttpResponder& respond) { route(request, respond); })
    , archives(options.cacheDirectory, !options.archiveWithoutHeader, terrain)
    , elevation(options.elevation, archives)
{
}

bool SimServer::listen()
{
    if (!archives.isUsable()) {
        qCritical().noquote() << "relka-sim: no folder for the archives";
        return false;
    }
    return ServiceProcess::listen(server, options.endpoint);
}

QString SimServer::authority() const { return server.authority(); }

void SimServer::route(const HttpRequest& request, const HttpResponder& respond)
{
    const QString path = request.path;
    const HttpResponder deliver = [this, path, respond](HttpResponse response) {
        response.headers.prepend({ "Server", "relka-sim" });
        options.faults.applyDelivery(path, response);
        respond(std::move(response));
    };
    if (request.method != "GET") {
        deliver(HttpResponse::onlyGet());
        return;
    }
    if (const std::optional<int> status = options.faults.statusFor(path)) {
        deliver(HttpResponse::message(*status, QStringLiteral("Failure switched on for %1.").arg(path)));
        return;
    }
    if (!elevation.answer(request, deliver) && !tiles.answer(request, deliver)
        && !geocoder.answer(request, deliver))
        deliver(HttpResponse::message(404, QStringLiteral("Nothing is served at %1.").arg(path)));
}
