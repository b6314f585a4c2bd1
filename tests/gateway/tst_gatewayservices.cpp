#include "DemTileMaker.h"
#include "ExtractArea.h"
#include "GatewayServer.h"
#include "SimProcess.h"
#include "TestHttpServer.h"

#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>
#include <limits>

namespace {

constexpr float nodata = -1e9f;

qint64 floorDiv(qint64 a, qint64 b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

// Every global cell has its own height, so a sample shows which cell it came from.
std::optional<float> terrain(qint64 north, qint64 west)
{
    return float(((north * 7 + west * 13) % 3000 + 3000) % 3000 + 100);
}

// A void of 41 x 41 one-second samples around 40.5° N, 105.02° W.
std::optional<float> srtmTerrain(qint64 north, qint64 west)
{
    if (std::abs(north - 40 * 3600 - 1800) <= 20 && std::abs(west + 105 * 3600 + 72) <= 20)
        return std::nullopt;
    return terrain(north, west);
}

// Voids in the 3DEP tiles: every cell whose indices are both multiples of 17.
std::optional<float> nedTerrain(qint64 north, qint64 west)
{
    if (north % 17 == 0 && west % 17 == 0)
        return std::nullopt;
    return terrain(north, west);
}

using Cells = QList<QPair<int, int>>;

struct Decoded {
    RasterGrid grid;
    std::vector<float> samples;
};

// The raster entry of an archive, NODATA as nodata.
Decoded decode(const QByteArray& zip, const QString& product, const QString& area)
{
    const QMap<QString, QByteArray> entries = unzipEntries(zip);
    const bool floats = product.startsWith(QLatin1String("ND"));
    const QByteArray raster
        = entryEndingIn(entries, floats ? QStringLiteral(".flt") : QStringLiteral(".bil"));
    const ElevationProduct* kind = ElevationProduct::find(product);
    Decoded decoded { RasterGrid::covering(*ExtractArea::fromText(area), kind->samplesPerDegree), {} };
    const auto* bytes = reinterpret_cast<const uchar*>(raster.constData());
    for (qsizetype i = 0; i + kind->bytesPerSample() <= raster.size(); i += kind->bytesPerSample()) {
        float value = 0;
        if (floats)
            value = qFromLittleEndian<float>(bytes + i);
        else
            value
                = kind->bigEndian ? qFromBigEndian<qint16>(bytes + i) : qFromLittleEndian<qint16>(bytes + i);
        decoded.samples.push_back(value == float(kind->nodata()) ? nodata : value);
    }
    return decoded;
}

// The first sample that differs from expected (given the sample's global
// row and column), as text; empty when all agree. Counts the voids.
QString firstDifference(
    const Decoded& raster, const std::function<float(qint64, qint64)>& expected, int& voids)
{
    const RasterGrid& grid = raster.grid;
    if (qsizetype(raster.samples.size()) != qsizetype(grid.samples()))
        return QStringLiteral("%1 samples instead of %2").arg(raster.samples.size()).arg(grid.samples());
    voids = 0;
    for (int r = 0; r < grid.rows; ++r) {
        for (int c = 0; c < grid.columns; ++c) {
            const float wanted = expected(grid.topRow - r, grid.leftColumn + c);
            const float actual = raster.samples[std::size_t(r) * std::size_t(grid.columns) + std::size_t(c)];
            voids += actual == nodata ? 1 : 0;
            if (actual != wanted)
                return QStringLiteral("row %1, column %2: %3 instead of %4")
                    .arg(r)
                    .arg(c)
                    .arg(actual)
                    .arg(wanted);
        }
    }
    return {};
}

struct Gateway {
    QTemporaryDir cache;
    TestHttpServer dem;
    TestHttpServer tiles;
    TestHttpServer geocoder;
    std::unique_ptr<GatewayServer> server;
    QNetworkAccessManager network;

    GatewayOptions options() const
    {
        GatewayOptions options;
        options.cacheDirectory = cache.path();
        const QString base = QStringLiteral("http://127.0.0.1:%1");
        options.srtmUrl = QUrl(base.arg(dem.port()) + QStringLiteral("/skadi"));
        options.nedUrl = QUrl(base.arg(dem.port()) + QStringLiteral("/Elevation"));
        options.geocoderUrl = QUrl(base.arg(geocoder.port()) + QStringLiteral("/onelineaddress"));
        options.tileTemplate = base.arg(tiles.port()) + QStringLiteral("/tile?z={z}&x={x}&y={y}&key=secret");
        options.contact = QStringLiteral("tester@example.org");
        options.tileBudget = 3;
        options.timeoutSeconds = 1;
        return options;
    }

    bool start(const GatewayOptions& options)
    {
        server.reset();
        server = std::make_unique<GatewayServer>(options);
        return server->listen();
    }

    bool start() { return dem.listen() && tiles.listen() && geocoder.listen() && start(options()); }

    Fetched get(const QString& path)
    {
        return fetch(network, QUrl(QStringLiteral("http://%1%2").arg(server->authority(), path)));
    }

    // The whole elevation conversation; the answer to the archive address.
    Fetched extract(const QString& product, const QString& area)
    {
        const Fetched summary = get(summaryPath(product, area));
        if (summary.status != 200)
            return summary;
        const Fetched submitted = fetch(network, QUrl(submissionUrl(summary.body)));
        return fetch(network, QUrl(QString::fromLatin1(submitted.headers.value("location"))));
    }

    int demRequests(const QByteArray& start = "/") const
    {
        int count = 0;
        for (const HttpRequest& request : dem.requests())
            count += request.target.startsWith(start) ? 1 : 0;
        return count;
    }
};

void serveHgt(TestHttpServer& server, int south, int west, int size = 3601)
{
    const QString name = QStringLiteral("%1%2%3%4")
                             .arg(QLatin1Char(south < 0 ? 'S' : 'N'))
                             .arg(std::abs(south), 2, 10, QLatin1Char('0'))
                             .arg(QLatin1Char(west < 0 ? 'W' : 'E'))
                             .arg(std::abs(west), 3, 10, QLatin1Char('0'));
    // Made once per cell: a full tile takes a while in a sanitizer build.
    static QHash<QString, QByteArray> made;
    QByteArray& tile = made[name + QString::number(size)];
    if (tile.isEmpty())
        tile = DemTileMaker::hgt(south, west, size, srtmTerrain);
    server.setResponse(
        QStringLiteral("/skadi/%1/%2.hgt.gz").arg(name.left(3), name).toLatin1(), { .body = tile });
}

void serveGeoTiff(TestHttpServer& server, int south, int west, int cellsPerDegree)
{
    const QString name = QStringLiteral("n%1w%2").arg(south + 1).arg(-west, 3, 10, QLatin1Char('0'));
    server.setResponse(QStringLiteral("/Elevation/13/TIFF/current/%1/USGS_13_%1.tif").arg(name).toLatin1(),
        { .body = DemTileMaker::geoTiff(south, west, cellsPerDegree, 6, nedTerrain) });
}

// What a sample at the global position (north, west) of an SRTM grid at
// perDegree samples must hold, from 1" tiles of the given cells.
float expectedSrtm(qint64 north, qint64 west, int perDegree, const Cells& cells)
{
    const qint64 step = 3600 / perDegree;
    const qint64 n = north * step;
    const qint64 w = west * step;
    for (const auto& [south, westCell] : cells) {
        if (n >= south * 3600LL && n <= (south + 1) * 3600LL && w >= westCell * 3600LL
            && w <= (westCell + 1) * 3600LL)
            return srtmTerrain(n, w).value_or(nodata);
    }
    return nodata;
}

} // namespace

// relka-gateway's three services in process, against local fakes of the
// public servers: an HGT and a GeoTIFF tile server, a tile provider and a
// JSON geocoder.
class TestGatewayServices : public QObject {
    Q_OBJECT

private slots:
    void srtmMosaic_data()
    {
        QTest::addColumn<QString>("product");
        QTest::addColumn<QString>("area");
        QTest::addColumn<Cells>("served");
        // 3" keeps every third 1" sample; the border at 105° W is crossed.
        QTest::newRow("3 arc-seconds across a border, with a void")
            << "SM905HZ"
            << "40.55,40.45,-104.95,-105.1" << Cells { { 40, -106 }, { 40, -105 } };
        QTest::newRow("1 arc-second, the eastern tile missing")
            << "SM305HZ"
            << "40.52,40.48,-104.99,-105.01" << Cells { { 40, -106 } };
        QTest::newRow("3 arc-seconds across four tiles")
            << "SM905HZ"
            << "40.05,39.95,-104.95,-105.05"
            << Cells { { 40, -106 }, { 40, -105 }, { 39, -106 }, { 39, -105 } };
    }

    void srtmMosaic()
    {
        QFETCH(QString, product);
        QFETCH(QString, area);
        QFETCH(Cells, served);
        Gateway gateway;
        QVERIFY(gateway.start());
        for (const auto& [south, west] : served)
            serveHgt(gateway.dem, south, west);
        const Fetched archive = gateway.extract(product, area);
        QCOMPARE(archive.status, 200);
        const Decoded raster = decode(archive.body, product, area);
        int voids = 0;
        const QString difference = firstDifference(
            raster,
            [&](qint64 north, qint64 west) {
                return expectedSrtm(north, west, raster.grid.samplesPerDegree, served);
            },
            voids);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }

    void nedMosaic()
    {
        Gateway gateway;
        QVERIFY(gateway.start());
        serveGeoTiff(gateway.dem, 40, -106, 360);
        serveGeoTiff(gateway.dem, 40, -105, 360);
        const QString area = QStringLiteral("40.55,40.45,-104.95,-105.05");
        const Fetched archive = gateway.extract(QStringLiteral("ND305HZ"), area);
        QCOMPARE(archive.status, 200);
        QCOMPARE(gateway.demRequests("/Elevation/13/TIFF/current/n41w10"), 2);
        const Decoded raster = decode(archive.body, QStringLiteral("ND305HZ"), area);
        // 30 samples per cell at 360 cells per degree; a sample on a cell
        // border belongs to the cell south and east of it.
        int voids = 0;
        const QString difference = firstDifference(
            raster,
            [](qint64 north, qint64 west) {
                return nedTerrain(-floorDiv(-north, 30), floorDiv(west, 30)).value_or(nodata);
            },
            voids);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
        QVERIFY(voids > 0);
    }

    void demTilesAreFetchedOnce()
    {
        Gateway gateway;
        QVERIFY(gateway.start());
        serveHgt(gateway.dem, 40, -106, 1201);
        QCOMPARE(gateway.extract(QStringLiteral("SM905HZ"), QStringLiteral("40.3,40.2,-105.1,-105.3")).status,
            200);
        QCOMPARE(gateway.demRequests(), 1);
        // Another area of the same tile and a tile outside the coverage.
        QCOMPARE(gateway.extract(QStringLiteral("SM305HZ"), QStringLiteral("40.3,40.2,-104.9,-105.1")).status,
            200);
        QCOMPARE(gateway.demRequests(), 2);
        // A new gateway on the same cache asks for neither again.
        QVERIFY(gateway.start(gateway.options()));
        QCOMPARE(gateway.extract(QStringLiteral("SM905HZ"), QStringLiteral("40.4,40.2,-104.9,-105.1")).status,
            200);
        QCOMPARE(gateway.demRequests(), 2);
    }

    void demFailures_data()
    {
        QTest::addColumn<HttpResponse>("answer");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("reason");
        QTest::newRow("server error") << HttpResponse { .status = 500 } << 502
                                      << QByteArray("DEM tile N40W106: 500 Internal Server Error");
        QTest::newRow("no answer") << HttpResponse { .silent = true } << 502
                                   << QByteArray("DEM tile N40W106: no answer within 1 s");
        QTest::newRow("body cut off") << HttpResponse { .body = QByteArray(100000, 'x'), .dropAfter = 1000 }
                                      << 502 << QByteArray("DEM tile N40W106: ");
        QTest::newRow("not a tile") << HttpResponse { .body = "<html>maintenance</html>" } << 502
                                    << QByteArray("DEM tile N40W106 is unreadable");
    }

    void demFailures()
    {
        QFETCH(HttpResponse, answer);
        QFETCH(int, status);
        QFETCH(QByteArray, reason);
        Gateway gateway;
        QVERIFY(gateway.start());
        gateway.dem.setResponse("/skadi/N40/N40W106.hgt.gz", answer);
        const Fetched archive
            = gateway.extract(QStringLiteral("SM905HZ"), QStringLiteral("40.3,40.2,-105.1,-105.3"));
        QCOMPARE(archive.status, status);
        QVERIFY2(archive.body.contains(QString::fromLatin1(reason).toHtmlEscaped().toLatin1()),
            archive.body.constData());
        // A failure is not remembered: the next request asks again.
        gateway.dem.setResponse(
            "/skadi/N40/N40W106.hgt.gz", { .body = DemTileMaker::hgt(40, -106, 1201, terrain) });
        QCOMPARE(gateway.extract(QStringLiteral("SM905HZ"), QStringLiteral("40.3,40.2,-105.1,-105.3")).status,
            200);
    }

    void topographicChangeIsRefused()
    {
        Gateway gateway;
        QVERIFY(gateway.start());
        const Fetched answer
            = gateway.get(summaryPath(QStringLiteral("T1305HZ"), QStringLiteral("40.3,40.2,-105.1,-105.3")));
        QCOMPARE(answer.status, 410);
        QVERIFY(answer.body.contains("no modern equivalent"));
        QCOMPARE(gateway.demRequests(), 0);
    }

    void freshTilesComeFromTheCache()
    {
        Gateway gateway;
        QVERIFY(gateway.start());
        gateway.tiles.setHandler("/tile", [](const HttpRequest& request) {
            if (!request.header("user-agent").contains("(+tester@example.org)"))
                return HttpResponse { .status = 403, .reason = "Blocked: no contact" };
            return HttpResponse { .headers
                = { { "ETag", "\"v1\"" }, { "Cache-Control", "public, max-age=3600" } },
                .body = "PNG " + request.target };
        });
        const Fetched first = gateway.get(QStringLiteral("/15/6740/12380.png"));
        QCOMPARE(first.status, 200);
        QCOMPARE(first.body, QByteArray("PNG /tile?z=15&x=6740&y=12380&key=secret"));
        QCOMPARE(first.headers.value("content-type"), QByteArray("image/png"));
        QCOMPARE(gateway.get(QStringLiteral("/15/6740/12380.png")).body, first.body);
        // The cache is on disk: a new gateway does not ask either.
        QVERIFY(gateway.start(gateway.options()));
        QCOMPARE(gateway.get(QStringLiteral("/15/6740/12380.png")).body, first.body);
        QCOMPARE(gateway.tiles.requests().size(), 1);
        QCOMPARE(gateway.server->tileProxy().upstreamRequests(), 0);
    }

    void tileRevalidation()
    {
        Gateway gateway;
        QVERIFY(gateway.start());
        gateway.tiles.setHandler("/tile", [](const HttpRequest& request) {
            if (request.header("if-none-match") == "\"v1\"")
                return HttpResponse { .status = 304 };
            return HttpResponse { .headers = { { "ETag", "\"v1\"" }, { "Cache-Control", "no-cache" } },
                .body = "tile" };
        });
        for (int i = 0; i < 3; ++i)
            QCOMPARE(gateway.get(QStringLiteral("/3/1/2.png")).body, QByteArray("tile"));
        const QList<HttpRequest> upstream = gateway.tiles.requests();
        QCOMPARE(upstream.size(), 3);
        QCOMPARE(upstream.at(0).header("if-none-match"), QByteArray());
        QCOMPARE(upstream.at(1).header("if-none-match"), QByteArray("\"v1\""));
        QCOMPARE(upstream.at(2).header("if-none-match"), QByteArray("\"v1\""));
    }

    void tileRefusals_data()
    {
        QTest::addColumn<QString>("contact");
        QTest::addColumn<HttpResponse>("upstream");
        QTest::addColumn<int>("tilesBefore");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("reason");
        QTest::addColumn<int>("spent");
        QTest::newRow("budget spent") << "me@example.org" << HttpResponse { .body = "tile" } << 3 << 403
                                      << QByteArray("tile budget exceeded") << 3;
        QTest::newRow("provider says not found") << "me@example.org" << HttpResponse { .status = 404 } << 0
                                                 << 502 << QByteArray("tile server: 404 Not Found") << 1;
        QTest::newRow("provider silent") << "me@example.org" << HttpResponse { .silent = true } << 0 << 504
                                         << QByteArray("tile server: no answer within 1 s") << 1;
        QTest::newRow("no contact") << "" << HttpResponse { .body = "tile" } << 0 << 503
                                    << QByteArray(
                                           "no contact set for the tile provider (relka-gateway --contact)")
                                    << 0;
    }

    void tileRefusals()
    {
        QFETCH(QString, contact);
        QFETCH(HttpResponse, upstream);
        QFETCH(int, tilesBefore);
        QFETCH(int, status);
        QFETCH(QByteArray, reason);
        QFETCH(int, spent);
        Gateway gateway;
        QVERIFY(gateway.start());
        GatewayOptions options = gateway.options();
        options.contact = contact;
        QVERIFY(gateway.start(options));
        gateway.tiles.setResponse("/tile", upstream);
        for (int i = 0; i < tilesBefore; ++i)
            QCOMPARE(gateway.get(QStringLiteral("/4/%1/0.png").arg(i)).status, 200);
        const Fetched refused = gateway.get(QStringLiteral("/4/9/9.png"));
        QCOMPARE(refused.status, status);
        QVERIFY2(refused.body.contains(reason), refused.body.constData());
        QCOMPARE(gateway.server->tileProxy().upstreamRequests(), spent);
    }

    void geocoder_data()
    {
        QTest::addColumn<HttpResponse>("upstream");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("page");
        const QByteArray match = R"({"result":{"input":{},"addressMatches":[{"matchedAddress":
            "1600 PENNSYLVANIA AVE NW, WASHINGTON, DC, 20500","coordinates":{"x":-77.03654,"y":38.89869}}]}})";
        QTest::newRow("match") << HttpResponse { .body = match } << 200
                               << QByteArray("<h3>Latitude</h3>\r\n<table><tr><td>38.8987&deg;</td>");
        QTest::newRow("longitude") << HttpResponse { .body = match } << 200
                                   << QByteArray("<h3>Longitude</h3>\r\n<table><tr><td>-77.0365&deg;</td>");
        QTest::newRow("no match") << HttpResponse { .body = R"({"result":{"addressMatches":[]}})" } << 200
                                  << QByteArray("<h2>No match</h2>");
        QTest::newRow("not the expected JSON") << HttpResponse { .body = "<html>" } << 502
                                               << QByteArray("geocoder answered without address matches");
        QTest::newRow("geocoder down")
            << HttpResponse { .status = 500 } << 502 << QByteArray("geocoder: 500 Internal Server Error");
    }

    void geocoder()
    {
        QFETCH(HttpResponse, upstream);
        QFETCH(int, status);
        QFETCH(QByteArray, page);
        Gateway gateway;
        QVERIFY(gateway.start());
        gateway.geocoder.setResponse("/onelineaddress", upstream);
        const Fetched answer = gateway.get(
            QStringLiteral("/demo.cgi?address=1600%20Pennsylvania%20Avenue,%20Washington,%20DC"));
        QCOMPARE(answer.status, status);
        QVERIFY2(answer.body.contains(page), answer.body.constData());
        const HttpRequest asked = gateway.geocoder.requests().value(0);
        QCOMPARE(asked.query.queryItemValue(QStringLiteral("address"), QUrl::FullyDecoded),
            QStringLiteral("1600 Pennsylvania Avenue, Washington, DC"));
        QCOMPARE(
            asked.query.queryItemValue(QStringLiteral("benchmark")), QStringLiteral("Public_AR_Current"));
        QCOMPARE(asked.query.queryItemValue(QStringLiteral("format")), QStringLiteral("json"));
    }
};

QTEST_MAIN(TestGatewayServices)
#include "tst_gatewayservices.moc"
