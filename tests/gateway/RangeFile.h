#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

// A file served as a static web server serves it: a request with "Range:
// bytes=FIRST-LAST" (or "FIRST-") gets 206 with those bytes, any other the
// whole file. Counts the body bytes it sends.
struct RangeFile {
    QString path;
    // Given first, one per request.
    QList<HttpResponse> before = {};
    bool servesRanges = true;
    // The first whole answer is cut off after this many bytes (-1: never).
    qint64 cutAfter = -1;
    qint64 sent = 0;

    HttpResponse answer(const HttpRequest& request);
};
