#include "GatewayServer.h"
#include "SimProcess.h"
#include "UpstreamFakes.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QTest>
#include <QtEndian>

#include <cmath>

namespace {

using Cells = QList<QPair<int, int>>;
using Answers = QList<HttpResponse>;

// The first sample of the archive that is not, bit for bit, the source's
// value at the position its header gives; empty when all are.
QString firstDifference(const QByteArray& zip, bool ned, const Cells& served)
{
    const QMap<QString, QByteArray> entries = unzipEntries(zip);
    QHash<QByteArray, QByteArray> header;
    for (const QByteArray& line : entryEndingIn(entries, QStringLiteral(".hdr")).toLower().split('\n'))
        header.insert(line.simplified().split(' ').first(), line.simplified().split(' ').last());
    const auto value = [&header](const char* key) { return header.value(key).toDouble(); };
    const QByteArray raster = entryEndingIn(entries, ned ? QStringLiteral(".flt") : QStringLiteral(".bil"));
    const auto rows = qint64(value("nrows"));
    const auto columns = qint64(value("ncols"));
    if (raster.size() != rows * columns * (ned ? 4 : 2))
        return QStringLiteral("a raster of %1 bytes").arg(raster.size());
    // 3DEP cells lie between the grid lines (a tile has 6 around its
    // degree), SRTM samples on them (a tile has those on its borders).
    const double step = ned ? value("cellsize") : value("xdim");
    const double top = ned ? value("yllcorner") + (double(rows) - 0.5) * step : value("ulymap");
    const double left = ned ? value("xllcorner") + step / 2 : value("ulxmap");
    const double perDegree = std::round(ned ? 1 / step : 3600);
    const double shift = ned ? 0.5 : 0;
    const qint64 inside = ned ? 5 : 0;
    const qint64 outside = ned ? 6 : 0;
    for (qint64 r = 0; r < rows; ++r) {
        for (qint64 c = 0; c < columns; ++c) {
            const double n = (top - double(r) * step) * perDegree + shift;
            const double w = (left + double(c) * step) * perDegree - shift;
            if (std::abs(n - std::round(n)) > 1e-6 || std::abs(w - std::round(w)) > 1e-6)
                return QStringLiteral("row %1, column %2 lies off the source's grid").arg(r).arg(c);
            std::optional<float> expected;
            for (const auto& [south, west] : served) {
                const qint64 down = qint64(std::round(n)) - qint64(south * perDegree);
                const qint64 across = qint64(std::round(w)) - qint64(west * perDegree);
                if (down >= -inside && down <= perDegree + outside && across >= -outside
                    && across <= perDegree + inside)
                    expected = UpstreamFakes::terrain(qint64(std::round(n)), qint64(std::round(w)));
            }
            const auto* at
                = reinterpret_cast<const uchar*>(raster.constData()) + (r * columns + c) * (ned ? 4 : 2);
            const float actual = ned               ? qFromLittleEndian<float>(at)
                : header.value("byteorder") == "m" ? qFromBigEndian<qint16>(at)
                                                   : qFromLittleEndian<qint16>(at);
            const float wanted = ned ? expected.value_or(-9999) : float(qint16(expected.value_or(-32768)));
            if (actual != wanted)
                return QStringLiteral("row %1, column %2: %3 instead of %4")
                    .arg(r)
                    .arg(c)
                    .arg(actual, 0, 'g', 12)
                    .arg(wanted, 0, 'g', 12);
        }
    }
    return {};
}

struct Gateway : UpstreamFakes {
    std::unique_ptr<GatewayServer> server;
    QNetworkAccessManager network;

    bool start(const QString& contact = QStringLiteral("tester@example.org"), int budget = 3)
    {
        server.reset();
        const QStringList more { QStringLiteral("--wait-pages"), QStringLiteral("0"),
            QStringLiteral("--timeout"), QStringLiteral("1") };
        server = std::make_unique<GatewayServer>(*GatewayOptions::parse(
            QStringList { QStringLiteral("gateway") } + arguments(contact, budget) + more));
        return server->listen();
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
        QTest::addColumn<QString>("logged");
        QTest::newRow("SRTM 3 across a border")
            << "SM905HZ"
            << "40.55,40.45,-104.95,-105.1" << Cells { { 40, -106 }, { 40, -105 } } << true
            << "covers 100.0 %";
        QTest::newRow("SRTM 1, the eastern tile missing")
            << "SM305HZ"
            << "40.52,40.48,-104.99,-105.01" << Cells { { 40, -106 } } << true
            << "SRTM 1 arc-second covers 50.0 % of 40.52,40.48,-104.99,-105.01; no tile for N40W105";
        QTest::newRow("NED 1 across a border, by ranges")
            << "NED05HZ"
            << "40.55,40.45,-104.95,-105.05" << Cells { { 40, -106 }, { 40, -105 } } << true
            << "covers 100.0 %";
        QTest::newRow("NED 1 from a server without ranges")
            << "NED05HZ"
            << "40.3,40.2,-105.6,-105.8" << Cells { { 40, -106 } } << false << "covers 100.0 %";
    }

    void extract()
    {
        QFETCH(QString, product);
        QFETCH(QString, area);
        QFETCH(Cells, served);
        QFETCH(bool, ranges);
        QFETCH(QString, logged);
        Gateway gateway;
        QVERIFY(gateway.listen() && gateway.start());
        for (const auto& [south, west] : served)
            gateway.serve(product, south, west).servesRanges = ranges;
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(logged));
        const Fetched archive = gateway.extract(product, area);
        QCOMPARE(archive.status, 200);
        const QString difference
            = firstDifference(archive.body, product.startsWith(QLatin1Char('N')), served);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }

    void rangesFetchOnlyWhatIsNew()
    {
        Gateway gateway;
        QVERIFY(gateway.listen() && gateway.start());
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
        QVERIFY(gateway.start());
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
        const HttpResponse unavailable { .status = 503,
            .headers = { { "Retry-After", "Thu, 01 Jan 1970 00:00:00 GMT" } } };
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
            << srtm << Answers { tooMany, unavailable } << -1LL << 200 << QByteArray() << 3;
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
        QVERIFY(gateway.listen() && gateway.start());
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

    // A fresh tile comes from the disk, also to a new gateway; a stale one is revalidated.
    void tileCache()
    {
        Gateway gateway;
        QVERIFY(gateway.listen());
        gateway.tiles.setHandler("/tile", [](const HttpRequest& request) {
            if (request.header("if-none-match") == "\"v1\"")
                return HttpResponse { .status = 304 };
            const bool fresh = request.query.queryItemValue(QStringLiteral("x")) == QLatin1String("1");
            return HttpResponse { .headers
                = { { "ETag", "\"v1\"" }, { "Cache-Control", fresh ? "max-age=60" : "no-cache" } },
                .body = "PNG " + request.target };
        });
        for (int i = 0; i < 3; ++i) {
            QVERIFY(gateway.start());
            QCOMPARE(gateway.get(QStringLiteral("/15/1/2.png")).body,
                QByteArray("PNG /tile?z=15&x=1&y=2&key=secret"));
            QCOMPARE(gateway.get(QStringLiteral("/15/2/2.png")).body,
                QByteArray("PNG /tile?z=15&x=2&y=2&key=secret"));
        }
        const QList<HttpRequest> upstream = gateway.tiles.requests();
        QCOMPARE(upstream.size(), 4);
        QCOMPARE(upstream.last().header("if-none-match"), QByteArray("\"v1\""));
    }

    // Map tiles and the geocoder, answered from their upstream servers.
    void proxied_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<HttpResponse>("upstream");
        QTest::addColumn<QString>("contact");
        QTest::addColumn<int>("budget");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("text");
        const QString tile = QStringLiteral("/4/9/9.png");
        const QString me = QStringLiteral("tester@example.org");
        const QString address
            = QStringLiteral("/demo.cgi?address=1600%20Pennsylvania%20Avenue,%20Washington,%20DC");
        QTest::newRow("tile") << tile << HttpResponse { .body = "PNG" } << me << 3 << 200
                              << QByteArray("PNG");
        QTest::newRow("tile budget spent")
            << tile << HttpResponse {} << me << 0 << 403 << QByteArray("tile budget exceeded");
        QTest::newRow("tile not found") << tile << HttpResponse { .status = 404 } << me << 3 << 502
                                        << QByteArray("tile server: 404 Not Found");
        QTest::newRow("tile server silent") << tile << HttpResponse { .silent = true } << me << 3 << 504
                                            << QByteArray("tile server: no answer within 1 s");
        QTest::newRow("no contact") << tile << HttpResponse {} << QString() << 3 << 503
                                    << QByteArray(
                                           "no contact set for the tile provider (relka-gateway --contact)");
        QTest::newRow("address found")
            << address << HttpResponse { .body = R"({"result":{"input":{},"addressMatches":[{"matchedAddress":
            "1600 PENNSYLVANIA AVE NW, WASHINGTON, DC, 20500","coordinates":{"x":-77.03535398,"y":38.89869091}}]}})" }
            << me << 3 << 200
            << QByteArray("<td>38.898691&deg;</td><td>38&deg; 53' 55.3\" N</td></tr></table>\r\n"
                          "<h3>Longitude</h3>\r\n<table><tr><td>-77.035354&deg;");
        QTest::newRow("no address found")
            << address << HttpResponse { .body = R"({"result":{"addressMatches":[]}})" } << me << 3 << 200
            << QByteArray("<h2>No match</h2>");
        QTest::newRow("geocoder answers no JSON")
            << address << HttpResponse { .body = "<html>" } << me << 3 << 502
            << QByteArray("geocoder answered without address matches");
        QTest::newRow("geocoder down") << address << HttpResponse { .status = 500 } << me << 3 << 502
                                       << QByteArray("geocoder: 500 Internal Server Error");
    }

    void proxied()
    {
        QFETCH(QString, path);
        QFETCH(HttpResponse, upstream);
        QFETCH(QString, contact);
        QFETCH(int, budget);
        QFETCH(int, status);
        QFETCH(QByteArray, text);
        Gateway gateway;
        QVERIFY(gateway.listen() && gateway.start(contact, budget));
        gateway.tiles.setResponse("/tile", upstream);
        gateway.geocoder.setResponse("/onelineaddress", upstream);
        const Fetched answer = gateway.get(path);
        QCOMPARE(answer.status, status);
        QVERIFY2(answer.body.contains(text), answer.body.constData());
        const QUrlQuery asked = gateway.geocoder.requests().value(0).query;
        QVERIFY(asked.isEmpty()
            || asked.query(QUrl::FullyDecoded)
                == "address=1600 Pennsylvania Avenue, Washington, "
                   "DC&benchmark=Public_AR_Current&format=json");
    }
};

QTEST_MAIN(TestGatewayServices)
#include "tst_gatewayservices.moc"
