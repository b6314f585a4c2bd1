#pragma once

#include "HttpResponse.h"

struct UpstreamReply;

// The answer to the program when an upstream server failed it: 504 when
// the server did not answer in time, 502 otherwise, with a reason phrase
// that names the source and what happened, e.g. "tile server: 404 Not Found"
// or "geocoder: no answer within 30 s".
class UpstreamFailure {
public:
    static QString reason(const QString& source, const UpstreamReply& reply);
    static HttpResponse response(const QString& source, const UpstreamReply& reply);
};
