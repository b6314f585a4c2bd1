// Times relka-gateway from the request-summary address to the archive for
// NED 1/3 arc-second rectangles of the program's area sizes, cut from one
// full-size fake 3DEP tile (10812 x 10812 floats, a cloud-optimised GeoTIFF
// as published) on a loopback server that serves byte ranges, each with an
// empty cache; then a second rectangle beside the first in the same tile,
// and the smallest rectangle from a server that ignores ranges (the whole
// tile). Prints the bytes moved and the share of the tile they are.

#include "GatewayServer.h"
#include "SimProcess.h"
#include "UpstreamFakes.h"
#include "bench/Times.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>

namespace {

std::optional<float> terrain(qint64 north, qint64 west)
{
    return float(1800 + 600 * std::sin(double(north) / 2000) * std::cos(double(west) / 3000)
        + 40 * std::sin(double(north + west) / 37));
}

// The conversation the program holds; the archive's size, or -1.
qint64 archiveSize(QNetworkAccessManager& network, const QString& authority, const QString& area)
{
    const Fetched summary = fetch(network,
        QUrl(QStringLiteral("http://%1%2").arg(authority, summaryPath(QStringLiteral("ND305HZ"), area))));
    const Fetched submitted = fetch(network, QUrl(submissionUrl(summary.body)));
    // The archive can take a while: fetch() gives up after 30 s, so wait here.
    QNetworkRequest request(QUrl(QString::fromLatin1(submitted.headers.value("location"))));
    request.setTransferTimeout(0);
    QNetworkReply* reply = network.get(request);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status == 200 ? reply->readAll().size() : -1;
}

struct Case {
    const char* what;
    const char* area;
    bool ranges;
    // Keeps the cache of the case before.
    bool sameCache;
};

}

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    std::printf("Making a fake 3DEP 1/3 arc-second tile ...\n");
    std::fflush(stdout);
    const Times making = now();
    const QString path = folder.filePath(QStringLiteral("USGS_13_n41w106.tif"));
    if (!UpstreamFakes::writeTile(path, false, 40, -106, 10800, terrain)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return 1;
    }
    const auto tileBytes = double(QFileInfo(path).size());
    std::printf("  n41w106: %.0f MB, made in %.1f s\n", tileBytes / 1e6, (now() - making).wall);
    TestHttpServer upstream;
    RangeFile tile { path };
    upstream.setHandler("/Elevation/13/TIFF/current/n41w106/USGS_13_n41w106.tif",
        [&tile](const HttpRequest& request) { return tile.answer(request); });
    if (!upstream.listen())
        return 1;

    qputenv("QT_LOGGING_RULES", "default.info=false");
    const Case cases[] = {
        { "0.25 x 0.125 degree", "40.5,40.375,-105.5,-105.75", true, false },
        { "0.25 x 0.125 degree beside the first", "40.5,40.375,-105.25,-105.5", true, true },
        { "0.5 x 0.25 degree", "40.625,40.375,-105.25,-105.75", true, false },
        { "1 x 0.5 degree", "40.75,40.25,-105,-106", true, false },
        { "0.25 x 0.125 degree, server without ranges", "40.5,40.375,-105.5,-105.75", false, false },
    };
    std::printf("NED 1/3 arc-second rectangle, request to archive:  bytes moved (share of the tile), "
                "requests, seconds (processor)\n");
    QNetworkAccessManager network;
    std::unique_ptr<GatewayServer> gateway;
    int run = 0;
    for (const Case& item : cases) {
        GatewayOptions options;
        options.cacheDirectory = folder.filePath(QStringLiteral("cache%1").arg(item.sameCache ? run : ++run));
        options.srtmUrl = options.nedUrl = options.geocoderUrl
            = QUrl(QStringLiteral("http://127.0.0.1:%1/Elevation").arg(upstream.port()));
        options.timeoutSeconds = 60;
        options.waitPages = 0;
        gateway.reset();
        gateway = std::make_unique<GatewayServer>(options);
        if (!gateway->listen())
            return 1;
        tile.servesRanges = item.ranges;
        const qint64 sentBefore = tile.sent;
        const qsizetype requestsBefore = upstream.requests().size();
        const Times start = now();
        const qint64 size = archiveSize(network, gateway->authority(), QString::fromLatin1(item.area));
        const Times taken = now() - start;
        const auto moved = double(tile.sent - sentBefore);
        std::printf("  %-42s %7.1f MB (%5.1f %%) %4lld  %6.2f s (%.2f s)\n", item.what, moved / 1e6,
            100 * moved / tileBytes, qint64(upstream.requests().size() - requestsBefore), taken.wall,
            taken.cpu);
        if (size < 0)
            return 1;
    }
    return 0;
}
