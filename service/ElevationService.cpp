#include "ElevationService.h"

#include "ArchiveStore.h"
#include "ElevationProduct.h"

namespace {

const QString summaryPath = QStringLiteral("/Website/distreq/RequestSummary.jsp");
const QString submissionPath = QStringLiteral("/Website/distreq/StartDownload.jsp");
const QString archivePrefix = QStringLiteral("/Website/distreq/archive/");
// Large enough for 1° x 0.5° at 1/3", the largest extract the program asks for.
constexpr qint64 sampleLimit = 60'000'000;

}

ElevationService::ElevationService(const ElevationSettings& settings, ArchiveStore& archives)
    : settings(settings)
    , archives(archives)
{
}

bool ElevationService::answer(const HttpRequest& request, const HttpResponder& respond)
{
    if (request.path == summaryPath)
        respond(summary(request));
    else if (request.path == submissionPath)
        respond(submission(request));
    else if (request.path.startsWith(archivePrefix))
        archive(request, respond);
    else
        return false;
    return true;
}

std::optional<ElevationService::Order> ElevationService::orderFrom(
    const QString& productCode, const QString& areaText)
{
    const ElevationProduct* product = ElevationProduct::find(productCode);
    const std::optional<ExtractArea> area = ExtractArea::fromText(areaText);
    if (!product || !area || RasterGrid::covering(*area, product->samplesPerDegree).samples() > sampleLimit)
        return std::nullopt;
    return Order { product, *area };
}

QString ElevationService::archiveName(const Order& order)
{
    return QStringLiteral("%1_%2.zip")
        .arg(QLatin1String(order.product->code),
            QString(order.area.text).replace(QLatin1Char(','), QLatin1Char('_')));
}

HttpResponse ElevationService::summary(const HttpRequest& request)
{
    const QString productCode = request.query.queryItemValue(QStringLiteral("PL"));
    const QString areaText = request.query.queryItemValue(QStringLiteral("AL"));
    const std::optional<Order> order = orderFrom(productCode, areaText);
    if (!order)
        return HttpResponse::message(400,
            QStringLiteral(
                "Unknown product \"%1\", or the area \"%2\" is not north,south,east,west in degrees, "
                "or it holds more than %3 samples at the product's resolution.")
                .arg(productCode, areaText, QString::number(sampleLimit)));
    if (const QString refusal = archives.refusal(*order->product); !refusal.isEmpty())
        return HttpResponse::failure(410, refusal);
    // The data are prepared while the client reads the waiting pages.
    archives.prepare(*order->product, order->area);
    const QString key = archiveName(*order);
    const int served = waitingPagesServed.value(key);
    if (served < settings.waitPages) {
        waitingPagesServed.insert(key, served + 1);
        return waitingPage(request);
    }
    waitingPagesServed.remove(key);
    return summaryPage(request, *order);
}

HttpResponse ElevationService::waitingPage(const HttpRequest& request) const
{
    HttpResponse response = HttpResponse::page(200,
        QStringLiteral("<HTML><HEAD><TITLE>Request in progress</TITLE></HEAD><BODY>\r\n"
                       "<H2>Your request is being processed.</H2>\r\n"
                       "<P>This page reloads itself every %1 second(s) until your data are ready.</P>\r\n"
                       "<P>If an error occurs during download, please submit your request again. Data that "
                       "have not been picked up within 24 hours are deleted from our server.</P>\r\n"
                       "</BODY></HTML>\r\n")
            .arg(settings.refreshSeconds));
    response.setHeader("Refresh",
        QByteArray::number(settings.refreshSeconds) + "; URL=" + request.origin.toLatin1() + request.target);
    return response;
}

HttpResponse ElevationService::summaryPage(const HttpRequest& request, const Order& order) const
{
    const RasterGrid grid = archives.gridFor(*order.product, order.area);
    QString buttons;
    for (int i = 0; i < settings.downloadButtons; ++i)
        buttons
            += QStringLiteral("<INPUT TYPE=\"submit\" NAME=\"SUBMIT%1\" VALUE=\"Download\">\r\n").arg(i + 1);
    const QString action = settings.formWithoutAction
        ? QString()
        : QStringLiteral(" ACTION=\"%1%2\"").arg(request.origin, submissionPath);
    return HttpResponse::page(200,
        QStringLiteral(
            "<HTML><HEAD><TITLE>The National Map Seamless Request Summary Page</TITLE></HEAD><BODY>\r\n"
            "<H2>The National Map Seamless Request Summary Page</H2>\r\n"
            "<TABLE>\r\n<TR><TD>Product</TD><TD>%1 (%2)</TD></TR>\r\n"
            "<TR><TD>Area (N, S, E, W)</TD><TD>%3</TD></TR>\r\n"
            "<TR><TD>Size</TD><TD>%4 x %5 samples</TD></TR>\r\n</TABLE>\r\n"
            "<FORM METHOD=\"GET\"%6>\r\n"
            "<INPUT TYPE=\"hidden\" NAME=\"PL\" VALUE=\"%2\">\r\n"
            "<INPUT TYPE=\"hidden\" NAME=\"AL\" VALUE=\"%3\">\r\n"
            "<INPUT TYPE=\"hidden\" NAME=\"CS\" VALUE=\"250\">\r\n"
            "<INPUT TYPE=\"hidden\" NAME=\"FORMAT\" VALUE=\"BIL\">\r\n"
            "%7</FORM>\r\n</BODY></HTML>\r\n")
            .arg(QLatin1String(order.product->title), QLatin1String(order.product->code), order.area.text)
            .arg(grid.columns)
            .arg(grid.rows)
            .arg(action, buttons));
}

HttpResponse ElevationService::submission(const HttpRequest& request)
{
    const std::optional<Order> order = orderFrom(request.query.queryItemValue(QStringLiteral("PL")),
        request.query.queryItemValue(QStringLiteral("AL")));
    if (!order)
        return HttpResponse::message(400, QStringLiteral("The form was not filled in by this service."));
    archives.prepare(*order->product, order->area);
    return HttpResponse::redirect(request.origin + archivePrefix + archiveName(*order));
}

void ElevationService::archive(const HttpRequest& request, const HttpResponder& respond)
{
    const QString name = request.path.mid(archivePrefix.size());
    const QStringList parts = name.left(name.size() - 4).split(QLatin1Char('_'));
    const std::optional<Order> order = name.endsWith(QStringLiteral(".zip")) && parts.size() == 5
        ? orderFrom(parts[0], parts.mid(1).join(QLatin1Char(',')))
        : std::nullopt;
    if (!order) {
        respond(HttpResponse::message(404, QStringLiteral("No such archive: %1").arg(name)));
        return;
    }
    // The name the order makes, not the one asked for: the request's text,
    // blanks and line breaks included, stays out of the header.
    archives.fetch(*order->product, order->area,
        [respond, name = archiveName(*order)](const QString& path, const TerrainFailure& failure) {
            if (!failure.reason.isEmpty()) {
                respond(HttpResponse::failure(failure.status, failure.reason));
                return;
            }
            if (path.isEmpty()) {
                respond(HttpResponse::message(500, QStringLiteral("The archive could not be prepared.")));
                return;
            }
            HttpResponse response;
            response.setHeader("Content-Type", "application/zip");
            response.setHeader("Content-Disposition", "attachment; filename=\"" + name.toLatin1() + '"');
            response.bodyFile = path;
            respond(response);
        });
}
