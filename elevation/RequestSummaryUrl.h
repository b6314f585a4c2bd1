#pragma once

#include <QString>

// The first address of the elevation conversation: the request-summary page
// of the chosen data source for the rectangle.
class RequestSummaryUrl {
public:
    // "http://<authority>/Website/distreq/RequestSummary.jsp?..." for the
    // source whose display name the setting contains (the last one in table
    // order when several are contained); empty when none is. The borders go
    // into "AL=" as north, south, east, west, each written as
    // QString::arg(double) writes it (six significant digits).
    static QString build(const QString& authority, const QString& sourceSetting, double north, double south,
        double east, double west);
};
