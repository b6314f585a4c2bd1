#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QString>

#include <optional>

// Latitude and longitude as the geocoder's result page shows them: each is
// the text between the first "<td>" after its "<h3>Latitude</h3>" or
// "<h3>Longitude</h3>" heading and the next "&deg;". A text there that is
// no number reads as 0.0.
class GeocodePage {
    Q_DECLARE_TR_FUNCTIONS(GeocodePage)

public:
    explicit GeocodePage(const QByteArray& body);

    // Nothing when a marker is missing.
    std::optional<double> latitude() const { return lat; }
    std::optional<double> longitude() const { return lon; }
    // The error line naming what is missing; empty when both were found.
    QString missingMessage() const;

private:
    std::optional<double> lat;
    std::optional<double> lon;
};
