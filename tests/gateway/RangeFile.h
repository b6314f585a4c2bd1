#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

// A file served as a static web server serves it: a request with "Range:
// bytes=FIRST-LAST" (or "FIRST-") gets 206 with those bytes, any other the
// whole file. Scripted answers come first, one per request; one with
// dropAfter and no body is the whole file cut off there. Counts the bytes
// of the file it sends.
struct RangeFile {
    QString path;
    QList<HttpResponse> before = {};
    bool servesRanges = true;
    qint64 sent = 0;

    HttpResponse answer(const HttpRequest& request);
};
