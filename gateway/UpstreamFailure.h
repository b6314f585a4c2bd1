#pragma once

#include "HttpResponse.h"
#include "TerrainProvider.h"

struct UpstreamReply;

// The answer to the program when an upstream server failed it: 504 when
// the server did not answer in time, 503 when it kept asking to come back
// later, 502 otherwise, with a reason phrase that names the source and what
// happened, e.g. "tile server: 404 Not Found", "geocoder: no answer within
// 30 s" or "DEM tile N40W106: rate limited (429 Too Many Requests)".
class UpstreamFailure {
public:
    static QString reason(const QString& source, const UpstreamReply& reply);
    static HttpResponse response(const QString& source, const UpstreamReply& reply);
    static TerrainFailure terrain(const QString& source, const UpstreamReply& reply);

private:
    static int status(const UpstreamReply& reply);
};
