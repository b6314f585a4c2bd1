#include "TileService.h"

#include "TileAddress.h"
#include "TileRenderer.h"

#include <QBuffer>

bool TileService::answer(const HttpRequest& request, const HttpResponder& respond) const
{
    const std::optional<TileAddress> tile = TileAddress::fromPath(request.path);
    if (!tile)
        return false;
    if (!tile->exists(TileRenderer::maximumZoom)) {
        respond(HttpResponse::message(
            404, QStringLiteral("There is no tile %1/%2/%3.").arg(tile->zoom).arg(tile->x).arg(tile->y)));
        return true;
    }
    HttpResponse response;
    QBuffer buffer(&response.body);
    buffer.open(QIODevice::WriteOnly);
    TileRenderer::render(tile->zoom, int(tile->x), int(tile->y)).save(&buffer, "PNG");
    response.setHeader("Content-Type", "image/png");
    respond(response);
    return true;
}
