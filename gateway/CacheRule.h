#pragma once

#include <QByteArray>
#include <QDateTime>

struct UpstreamReply;

// How long an upstream answer may be used without asking again, from its
// Cache-Control (no-store, no-cache, max-age) or else its Expires
// and Date fields. An answer that says nothing is stale at once, so it is
// revalidated on its next use.
struct CacheRule {
    bool storable = true;
    QDateTime freshUntil;
    // Validators for the revalidation.
    QByteArray etag;
    QByteArray lastModified;

    static CacheRule of(const UpstreamReply& reply, const QDateTime& now);
    bool isFresh(const QDateTime& now) const { return freshUntil.isValid() && now < freshUntil; }
};
