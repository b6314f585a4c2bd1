// Times relka-gateway from the request-summary address to the archive for a
// 1° x 0.5° NED 1/3 arc-second rectangle across a tile border, cut from two
// full-size fake 3DEP tiles (10812 x 10812 floats, deflated like the
// published ones) on a loopback tile server: once with the tiles still to be
// fetched, once with them in the gateway's cache.

#include "DemTileMaker.h"
#include "GatewayServer.h"
#include "SimProcess.h"
#include "TestHttpServer.h"
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
    return float(1800 + 600 * std::sin(double(north) / 2000) * std::cos(double(west) / 3000));
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

}

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    std::printf("Making two fake 3DEP 1/3 arc-second tiles ...\n");
    std::fflush(stdout);
    const Times making = now();
    TestHttpServer upstream;
    for (const int west : { -106, -105 }) {
        const QString name = QStringLiteral("n41w%1").arg(-west);
        const QString path = folder.filePath(name + QStringLiteral(".tif"));
        if (!DemTileMaker::writeGeoTiff(path, 40, west, 10800, 6, terrain, true)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
        std::printf("  %s: %.0f MB\n", qPrintable(name), double(QFileInfo(path).size()) / 1e6);
        upstream.setResponse(
            QStringLiteral("/Elevation/13/TIFF/current/%1/USGS_13_%1.tif").arg(name).toLatin1(),
            { .bodyFile = path });
    }
    std::printf("  made in %.1f s\n", (now() - making).wall);
    if (!upstream.listen())
        return 1;

    qputenv("QT_LOGGING_RULES", "default.info=false");
    GatewayOptions options;
    options.cacheDirectory = folder.filePath(QStringLiteral("cache"));
    options.srtmUrl = options.nedUrl
        = QUrl(QStringLiteral("http://127.0.0.1:%1/Elevation").arg(upstream.port()));
    options.geocoderUrl = options.srtmUrl;
    options.timeoutSeconds = 60;
    options.waitPages = 0;
    GatewayServer gateway(options);
    if (!gateway.listen())
        return 1;
    QNetworkAccessManager network;
    const QStringList areas { QStringLiteral("40.75,40.25,-104.5,-105.5"),
        QStringLiteral("40.74,40.24,-104.49,-105.49") };
    const char* cases[] = { "tiles fetched", "tiles cached" };
    for (int i = 0; i < 2; ++i) {
        const Times start = now();
        const qint64 size = archiveSize(network, gateway.authority(), areas[i]);
        const Times taken = now() - start;
        std::printf("1 x 0.5 degree NED 1/3 (10801 x 5401 samples), %s: archive of %.0f MB in %.2f s (%.2f s "
                    "processor)\n",
            cases[i], double(size) / 1e6, taken.wall, taken.cpu);
        if (size < 0)
            return 1;
    }
    return 0;
}
