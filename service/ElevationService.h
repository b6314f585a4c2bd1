#pragma once

#include "ExtractArea.h"
#include "HttpRequest.h"
#include "HttpResponse.h"

#include <QHash>

class ArchiveStore;
struct ElevationProduct;

struct ElevationSettings {
    int waitPages = 1;
    int refreshSeconds = 2;
    // Download buttons on the summary page; 1 is the well-formed page.
    int downloadButtons = 1;
    bool formWithoutAction = false;
};

// The elevation extract service's side of the conversation:
//   request summary  ->  waiting page(s) with "Refresh" back to the same address
//                    ->  summary page with the download form
//   form submission  ->  302 with "Location" to the archive address ending in ".zip"
//   archive address  ->  the ZIP, answered once the worker has built it
// A product the archive store refuses is answered with 410 at once, and
// terrain that could not be had at the archive address with the provider's
// status, the reason in the status line either way.
// Which page a summary request gets depends only on how many waiting pages
// that product and area has had since its last summary page.
class ElevationService {
public:
    ElevationService(const ElevationSettings& settings, ArchiveStore& archives);

    // False when the path is none of the service's.
    bool answer(const HttpRequest& request, const HttpResponder& respond);

private:
    struct Order {
        const ElevationProduct* product;
        ExtractArea area;
    };

    static std::optional<Order> orderFrom(const QString& productCode, const QString& areaText);
    static QString archiveName(const Order& order);
    HttpResponse summary(const HttpRequest& request);
    HttpResponse submission(const HttpRequest& request);
    void archive(const HttpRequest& request, const HttpResponder& respond);
    HttpResponse waitingPage(const HttpRequest& request) const;
    HttpResponse summaryPage(const HttpRequest& request, const Order& order) const;

    ElevationSettings settings;
    ArchiveStore& archives;
    QHash<QString, int> waitingPagesServed;
};
