#pragma once

#include "run/Request.h"

#include <QHash>
#include <QSharedPointer>

class HttpClient;

// The requests issued by the three clients of a run, by the id the client
// returned. Ids come from one counter shared by all clients, so one registry
// serves them all; host settings get ids too but are never registered.
//
// Records are shared: a handler that holds one keeps it (and its buffer)
// alive while it processes events, even when a cancel empties the registry
// in the meantime. A dropped record is freed with its last holder.
class RequestRegistry {
public:
    using Record = QSharedPointer<Request>;

    // The finished-handlers that apply the registry rule, each with its own
    // log texts.
    enum class Handler { Seamless, OpenStreetMap, Geocode };
    // The handler's function name, as its log lines give it.
    static QString handlerName(Handler handler);

    // Creates the record, issues the GET with the record's device as output
    // (its buffer, or a file of that name when one is given) and stores the
    // record under the returned id, replacing an entry with the same id.
    // Returns the id.
    int issue(
        HttpClient& client, const QString& path, const QString& url, const QString& fileName = QString());

    Record find(int id) const;
    void clear();

    // The first step of every request-finished handler. Returns the record
    // the handler goes on with, or null when it must stop: the id was never
    // registered (always logged) or its reply was already processed (logged
    // when verbose). Only in verbose mode is the record logged and marked
    // processed, so without it a reply is never refused as processed.
    Record accept(Handler handler, int id, bool error, bool verbose) const;

private:
    QHash<int, Record> records;
};
