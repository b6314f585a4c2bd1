#include "run/RequestRegistry.h"

#include "app/MessageLog.h"
#include "http/HttpClient.h"

#include <QBuffer>

#include <QCoreApplication>

namespace {

} // namespace

QString RequestRegistry::handlerName(Handler handler)
{
    switch (handler) {
    case RequestRegistry::Handler::Seamless:
        return QStringLiteral("seamlessHttpRequestFinished");
    case RequestRegistry::Handler::OpenStreetMap:
        return QStringLiteral("openStreetMapHttpRequestFinished");
    case RequestRegistry::Handler::Geocode:
        break;
    }
    return QStringLiteral("geocodeRequestFinished");
}

namespace {

QString tr(const char* text) { return QCoreApplication::translate("MainDialog", text); }

} // namespace

int RequestRegistry::issue(
    HttpClient& client, const QString& path, const QString& url, const QString& fileName)
{
    Record record(new Request(url, fileName));
    const int id = client.get(path, record->device());
    records.insert(id, record);
    return id;
}

RequestRegistry::Record RequestRegistry::find(int id) const { return records.value(id); }

void RequestRegistry::clear() { records.clear(); }

RequestRegistry::Record RequestRegistry::accept(Handler handler, int id, bool error, bool verbose) const
{
    const QString call = QStringLiteral("%1(%2, %3)").arg(handlerName(handler)).arg(id).arg(int(error));
    const Record record = records.value(id);
    if (!record) {
        MessageLog::append(call + tr(" - request never issued. Returning."));
        return {};
    }
    if (record->processed) {
        // Only the elevation handler's text ends with a period.
        if (verbose)
            MessageLog::append(call
                + (handler == Handler::Seamless ? tr(" - request already processed. Returning.")
                                                : tr(" - request already processed. Returning")));
        return {};
    }
    if (verbose) {
        MessageLog::append(call);
        record->processed = true;
    }
    return record;
}
