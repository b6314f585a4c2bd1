#include "TileService.h"

#include "TileRenderer.h"

#include <QBuffer>
#include <QRegularExpression>

bool TileService::answer(const HttpRequest& request, const HttpResponder& respond) const
{
    static const QRegularExpression pattern(QStringLiteral("^/(\\d{1,3})/(\\d{1,9})/(\\d{1,9})\\.png$"));
    const QRegularExpressionMatch match = pattern.match(request.path);
    if (!match.hasMatch())
        return false;
    const int zoom = match.captured(1).toInt();
    const qint64 x = match.captured(2).toLongLong();
    const qint64 y = match.captured(3).toLongLong();
    if (zoom > TileRenderer::maximumZoom || x >= (qint64(1) << zoom) || y >= (qint64(1) << zoom)) {
        respond(
            HttpResponse::message(404, QStringLiteral("There is no tile %1/%2/%3.").arg(zoom).arg(x).arg(y)));
        return true;
    }
    HttpResponse response;
    QBuffer buffer(&response.body);
    buffer.open(QIODevice::WriteOnly);
    TileRenderer::render(zoom, int(x), int(y)).save(&buffer, "PNG");
    response.setHeader("Content-Type", "image/png");
    respond(response);
    return true;
}
