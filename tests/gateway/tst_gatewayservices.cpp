#include "DemTileMaker.h"
#include "GatewayServer.h"
#include "RangeFile.h"
#include "SimProcess.h"
#include "TestHttpServer.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>
#include <map>

namespace {

using Cells = QList<QPair<int, int>>;
using Answers = QList<HttpResponse>;

// Every cell has a value of its own, with fraction bits finer than 1/32 m,
// and the cells whose indices are both multiples of 17 are voids.
std::optional<float> terrain(qint64 north, qint64 west)
{
    if (north % 17 == 0 && west % 17 == 0)
        return std::nullopt;
    return float(((north * 7 + west * 13) % 3000 + 3000) % 3000 + 100) + float((north + west) & 255) / 256;
}

// Full-size fake tiles, made once: SRTM 1" or 3DEP 1".
QString madeTile(bool hgt, int south, int west)
{
    static QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("%1%2%3").arg(hgt).arg(south).arg(west));
    QFile file(path);
    if (!file.exists() && hgt && file.open(QIODevice::WriteOnly))
        file.write(DemTileMaker::hgt(south, west, 3601, terrain));
    else if (!file.exists())
        DemTileMaker::writeGeoTiff(path, south, west, 3600, terrain);
    return path;
}

// The first sample of the archive that is not the value the source has at
// the position its header gives, bit for bit; empty when all are.
QString firstDifference(const QByteArray& zip, const QString& product, const Cells& served)
{
    const bool ned = product.startsWith(QLatin1String("N"));
    const QMap<QString, QByteArray> entries = unzipEntries(zip);
    QHash<QByteArray, QByteArray> header;
    for (const QByteArray& line : entryEndingIn(entries, QStringLiteral(".hdr")).split('\n')) {
        const QList<QByteArray> words = line.simplified().toLower().split(' ');
        header.insert(words.first(), words.last());
    }
    const QByteArray raster = entryEndingIn(entries, ned ? QStringLiteral(".flt") : QStringLiteral(".bil"));
    const int rows = header.value("nrows").toInt();
    const int columns = header.value("ncols").toInt();
    // Cell grids count cells from their edges, half a cell beyond the centres.
    const double step = header.value(ned ? "cellsize" : "xdim").toDouble();
    const double north = ned ? header.value("yllcorner").toDouble() + (rows - 0.5) * step
                             : header.value("ulymap").toDouble();
    const double west
        = ned ? header.value("xllcorner").toDouble() + step / 2 : header.value("ulxmap").toDouble();
    const double perDegree = ned ? std::round(1 / step) : 3600;
    // A 3DEP tile holds 6 cells around its degree, an HGT tile the samples on its borders.
    const qint64 buffer = ned ? 6 : 0;
    const qint64 shared = ned ? -1 : 0;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            const double n = (north - r * step) * perDegree + (ned ? 0.5 : 0);
            const double w = (west + c * step) * perDegree - (ned ? 0.5 : 0);
            if (std::abs(n - std::round(n)) > 1e-6 || std::abs(w - std::round(w)) > 1e-6)
                return QStringLiteral("row %1, column %2 is not on the source's grid").arg(r).arg(c);
            const auto cellNorth = qint64(std::round(n));
            const auto cellWest = qint64(std::round(w));
            std::optional<float> expected;
            for (const auto& [south, westCell] : served) {
                if (cellNorth >= south * perDegree - buffer - shared
                    && cellNorth <= (south + 1) * perDegree + buffer
                    && cellWest >= westCell * perDegree - buffer
                    && cellWest <= (westCell + 1) * perDegree + buffer + shared)
                    expected = terrain(cellNorth, cellWest);
            }
            const uchar* bytes = reinterpret_cast<const uchar*>(raster.constData())
                + (qint64(r) * columns + c) * (ned ? 4 : 2);
            const bool bigEndian = header.value("byteorder") == "m";
            const float actual = ned
                ? qFromLittleEndian<float>(bytes)
                : float(bigEndian ? qFromBigEndian<qint16>(bytes) : qFromLittleEndian<qint16>(bytes));
            const float wanted = ned ? expected.value_or(-9999) : float(qint16(expected.value_or(-32768)));
            if (std::memcmp(&actual, &wanted, sizeof actual) != 0)
                return QStringLiteral("row %1, column %2: %3 instead of %4")
                    .arg(r)
                    .arg(c)
                    .arg(actual, 0, 'g', 12)
                    .arg(wanted, 0, 'g', 12);
        }
    }
    return raster.size() == qint64(rows) * columns * (ned ? 4 : 2)
        ? QString()
        : QStringLiteral("raster of %1 bytes").arg(raster.size());
}

struct Gateway {
    QTemporaryDir cache;
    TestHttpServer dem;
    TestHttpServer tiles;
    TestHttpServer geocoder;
    std::unique_ptr<GatewayServer> server;
    QNetworkAccessManager network;
    std::map<QByteArray, RangeFile> files;

    GatewayOptions options() const
    {
        GatewayOptions options;
        options.cacheDirectory = cache.path();
        const QString base = QStringLiteral("http://127.0.0.1:%1");
        options.srtmUrl = QUrl(base.arg(dem.port()) + QStringLiteral("/skadi"));
        options.nedUrl = QUrl(base.arg(dem.port()) + QStringLiteral("/ned"));
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

    // The tile of the cell, after the scripted answers.
    RangeFile& serve(const QString& product, int south, int west, const Answers& before = {})
    {
        const bool hgt = product.startsWith(QLatin1String("S"));
        const QUrl base(QStringLiteral("http://x/") + (hgt ? "skadi" : "ned"));
        const QByteArray target = (hgt ? DemSeries::srtm(base) : DemSeries::ned(base, QStringLiteral("1")))
                                      .url(south, west)
                                      .path()
                                      .toLatin1();
        RangeFile& file = files[target] = RangeFile { madeTile(hgt, south, west), before };
        dem.setHandler(target, [&file](const HttpRequest& request) { return file.answer(request); });
        return file;
    }

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
};

} // namespace

// relka-gateway's three services in process, against local fakes of the
// public servers: SRTM and 3DEP tiles in their published layouts (served
// with or without byte ranges), a tile provider and a JSON geocoder.
class TestGatewayServices : public QObject {
    Q_OBJECT

private slots:
    void extract_data()
    {
        QTest::addColumn<QString>("product");
        QTest::addColumn<QString>("area");
        QTest::addColumn<Cells>("served");
        QTest::addColumn<bool>("ranges");
        QTest::addColumn<QString>("coverage");
        QTest::newRow("SRTM 3 across a border")
            << "SM905HZ"
            << "40.55,40.45,-104.95,-105.1" << Cells { { 40, -106 }, { 40, -105 } } << true
            << "covers 100.0 %";
        QTest::newRow("SRTM 1, the eastern tile missing")
            << "SM305HZ"
            << "40.52,40.48,-104.99,-105.01" << Cells { { 40, -106 } } << true
            << "covers 50.0 % of .*; no tile for N40W105";
        QTest::newRow("NED 1 across a border, by ranges")
            << "NED05HZ"
            << "40.55,40.45,-104.95,-105.05" << Cells { { 40, -106 }, { 40, -105 } } << true
            << "covers 100.0 %";
        QTest::newRow("NED 1, whole from a server without ranges")
            << "NED05HZ"
            << "40.3,40.2,-105.6,-105.8" << Cells { { 40, -106 } } << false << "covers 100.0 %";
    }

    void extract()
    {
        QFETCH(QString, product);
        QFETCH(QString, area);
        QFETCH(Cells, served);
        QFETCH(bool, ranges);
        QFETCH(QString, coverage);
        Gateway gateway;
        QVERIFY(gateway.start());
        for (const auto& [south, west] : served)
            gateway.serve(product, south, west).servesRanges = ranges;
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(coverage));
        const Fetched archive = gateway.extract(product, area);
        QCOMPARE(archive.status, 200);
        const QString difference = firstDifference(archive.body, product, served);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }

    void rangesFetchOnlyWhatIsNew()
    {
        Gateway gateway;
        QVERIFY(gateway.start());
        RangeFile& tile = gateway.serve(QStringLiteral("NED05HZ"), 40, -106);
        QCOMPARE(gateway.extract(QStringLiteral("NED05HZ"), QStringLiteral("40.3,40.2,-105.6,-105.8")).status,
            200);
        const qint64 first = tile.sent;
        QVERIFY2(first < QFileInfo(tile.path).size() / 5, qPrintable(QString::number(first)));
        QCOMPARE(gateway.extract(QStringLiteral("NED05HZ"), QStringLiteral("40.3,40.2,-105.4,-105.7")).status,
            200);
        QVERIFY(tile.sent > first);
        // No byte is asked for twice.
        QList<QPair<qint64, qint64>> asked;
        for (const HttpRequest& request : gateway.dem.requests()) {
            const QList<QByteArray> range = request.header("range").mid(6).split('-');
            asked.append({ range.first().toLongLong(), range.last().toLongLong() });
        }
        std::sort(asked.begin(), asked.end());
        for (qsizetype i = 1; i < asked.size(); ++i)
            QVERIFY(asked[i].first > asked[i - 1].second);
        // A new gateway on the same cache has the bytes of both.
        QVERIFY(gateway.start(gateway.options()));
        QCOMPARE(
            gateway.extract(QStringLiteral("NED05HZ"), QStringLiteral("40.29,40.21,-105.45,-105.75")).status,
            200);
        QCOMPARE(gateway.dem.requests().size(), asked.size());
    }

    void demAnswers_data()
    {
        QTest::addColumn<QString>("product");
        QTest::addColumn<Answers>("before");
        QTest::addColumn<qint64>("cutAfter");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("reason");
        QTest::addColumn<int>("requests");
        const HttpResponse tooMany {
            .status = 429, .reason = "Too Many Requests", .headers = { { "Retry-After", "0" } }
        };
        const QString srtm = QStringLiteral("SM905HZ");
        QTest::newRow("server error") << srtm << Answers { { .status = 500 } } << -1LL << 502
                                      << QByteArray("DEM tile N40W106: 500 Internal Server Error") << 1;
        QTest::newRow("no answer") << srtm << Answers { { .silent = true } } << -1LL << 504
                                   << QByteArray("DEM tile N40W106: no answer within 1 s") << 1;
        QTest::newRow("not a tile") << srtm << Answers { { .body = "<html>maintenance</html>" } } << -1LL
                                    << 502 << QByteArray("DEM tile N40W106 is unreadable") << 1;
        QTest::newRow("no data") << srtm << Answers { { .status = 404 } } << -1LL << 404
                                 << QByteArray("SRTM 1 arc-second has no data for this rectangle") << 1;
        QTest::newRow("rate limited, then served")
            << srtm
            << Answers { tooMany,
                   { .status = 503, .headers = { { "Retry-After", "Thu, 01 Jan 1970 00:00:00 GMT" } } } }
            << -1LL << 200 << QByteArray() << 3;
        QTest::newRow("rate limited past the retries")
            << srtm << Answers { tooMany, tooMany, tooMany, tooMany } << -1LL << 503
            << QByteArray("DEM tile N40W106: rate limited (429 Too Many Requests)") << 4;
        QTest::newRow("told to wait past the timeout")
            << QStringLiteral("NED05HZ")
            << Answers { { .status = 503, .headers = { { "Retry-After", "60" } } } } << -1LL << 503
            << QByteArray("DEM tile N40W106: rate limited (503 Service Unavailable)") << 1;
        QTest::newRow("cut off, resumed") << srtm << Answers {} << 100000LL << 200 << QByteArray() << 2;
        QTest::newRow("no modern equivalent") << QStringLiteral("T1305HZ") << Answers {} << -1LL << 410
                                              << QByteArray("has no modern equivalent") << 0;
    }

    void demAnswers()
    {
        QFETCH(QString, product);
        QFETCH(Answers, before);
        QFETCH(qint64, cutAfter);
        QFETCH(int, status);
        QFETCH(QByteArray, reason);
        QFETCH(int, requests);
        Gateway gateway;
        QVERIFY(gateway.start());
        RangeFile& tile = gateway.serve(product, 40, -106, before);
        tile.cutAfter = cutAfter;
        const Fetched archive = gateway.extract(product, QStringLiteral("40.3,40.2,-105.1,-105.3"));
        QCOMPARE(archive.status, status);
        QVERIFY2(archive.body.contains(QString::fromLatin1(reason).toHtmlEscaped().toLatin1()),
            archive.body.constData());
        QCOMPARE(gateway.dem.requests().size(), requests);
        // Each byte of the tile comes once.
        if (status == 200)
            QCOMPARE(tile.sent, QFileInfo(tile.path).size());
    }

    void tileCache()
    {
        Gateway gateway;
        QVERIFY(gateway.start());
        gateway.tiles.setHandler("/tile", [](const HttpRequest& request) {
            if (!request.header("user-agent").contains("(+tester@example.org)"))
                return HttpResponse { .status = 403 };
            if (request.header("if-none-match") == "\"v1\"")
                return HttpResponse { .status = 304 };
            const QByteArray control
                = request.query.queryItemValue(QStringLiteral("x")) == "1" ? "max-age=3600" : "no-cache";
            return HttpResponse { .headers = { { "ETag", "\"v1\"" }, { "Cache-Control", control } },
                .body = "PNG " + request.target };
        });
        // A fresh tile from the disk, also for a new gateway; a stale one revalidated.
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(gateway.get(QStringLiteral("/15/1/2.png")).body,
                QByteArray("PNG /tile?z=15&x=1&y=2&key=secret"));
            QCOMPARE(gateway.get(QStringLiteral("/15/2/2.png")).body,
                QByteArray("PNG /tile?z=15&x=2&y=2&key=secret"));
            QVERIFY(gateway.start(gateway.options()));
        }
        const QList<HttpRequest> upstream = gateway.tiles.requests();
        QCOMPARE(upstream.size(), 4);
        QCOMPARE(upstream.at(3).header("if-none-match"), QByteArray("\"v1\""));
        QCOMPARE(gateway.get(QStringLiteral("/15/1/2.png")).headers.value("content-type"),
            QByteArray("image/png"));
    }

    void tileRefusals_data()
    {
        QTest::addColumn<QString>("contact");
        QTest::addColumn<HttpResponse>("upstream");
        QTest::addColumn<int>("tilesBefore");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("reason");
        QTest::newRow("budget spent") << "me@example.org" << HttpResponse { .body = "tile" } << 3 << 403
                                      << QByteArray("tile budget exceeded");
        QTest::newRow("provider says not found") << "me@example.org" << HttpResponse { .status = 404 } << 0
                                                 << 502 << QByteArray("tile server: 404 Not Found");
        QTest::newRow("provider silent") << "me@example.org" << HttpResponse { .silent = true } << 0 << 504
                                         << QByteArray("tile server: no answer within 1 s");
        QTest::newRow("no contact") << "" << HttpResponse { .body = "tile" } << 0 << 503
                                    << QByteArray(
                                           "no contact set for the tile provider (relka-gateway --contact)");
    }

    void tileRefusals()
    {
        QFETCH(QString, contact);
        QFETCH(HttpResponse, upstream);
        QFETCH(int, tilesBefore);
        QFETCH(int, status);
        QFETCH(QByteArray, reason);
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
    }

    void geocoder_data()
    {
        QTest::addColumn<HttpResponse>("upstream");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("page");
        const QByteArray match = R"({"result":{"input":{},"addressMatches":[{"matchedAddress":
            "1600 PENNSYLVANIA AVE NW, WASHINGTON, DC, 20500","coordinates":{"x":-77.03535398,"y":38.89869091}}]}})";
        QTest::newRow("match") << HttpResponse { .body = match } << 200
                               << QByteArray("<h3>Latitude</h3>\r\n<table><tr><td>38.898691&deg;</td>");
        QTest::newRow("longitude") << HttpResponse { .body = match } << 200
                                   << QByteArray("<h3>Longitude</h3>\r\n<table><tr><td>-77.035354&deg;</td>");
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
        const QUrlQuery asked = gateway.geocoder.requests().value(0).query;
        QCOMPARE(asked.queryItemValue(QStringLiteral("address"), QUrl::FullyDecoded),
            QStringLiteral("1600 Pennsylvania Avenue, Washington, DC"));
        QCOMPARE(asked.queryItemValue(QStringLiteral("benchmark")), QStringLiteral("Public_AR_Current"));
        QCOMPARE(asked.queryItemValue(QStringLiteral("format")), QStringLiteral("json"));
    }
};

QTEST_MAIN(TestGatewayServices)
#include "tst_gatewayservices.moc"
