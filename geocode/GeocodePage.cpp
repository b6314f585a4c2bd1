#include "geocode/GeocodePage.h"

namespace {

std::optional<double> valueAfter(const QByteArray& body, const QByteArray& heading)
{
    static const QByteArray cell("<td>");
    static const QByteArray degrees("&deg;");
    const qsizetype headingAt = body.indexOf(heading);
    if (headingAt < 0)
        return std::nullopt;
    const qsizetype cellAt = body.indexOf(cell, headingAt + heading.size());
    if (cellAt < 0)
        return std::nullopt;
    const qsizetype valueAt = cellAt + cell.size();
    const qsizetype degreesAt = body.indexOf(degrees, valueAt);
    if (degreesAt < 0)
        return std::nullopt;
    // toDouble() gives 0.0 for a text that is no number.
    return QString::fromLatin1(body.mid(valueAt, degreesAt - valueAt)).toDouble();
}

} // namespace

GeocodePage::GeocodePage(const QByteArray& body)
    : lat(valueAfter(body, QByteArrayLiteral("<h3>Latitude</h3>")))
    , lon(valueAfter(body, QByteArrayLiteral("<h3>Longitude</h3>")))
{
}

QString GeocodePage::missingMessage() const
{
    if (!lat && !lon)
        return tr("geocode error: Could not find latitude or longitude in the result file.");
    if (!lat)
        return tr("geocode error: Could not find latitude in the result file.");
    if (!lon)
        return tr("geocode error: Could not find longitude in the result file.");
    return {};
}
