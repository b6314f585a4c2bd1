#include "GatewayServer.h"
#include "SimProcess.h"
#include "UpstreamFakes.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QTest>

#include <gdal.h>

#include <cmath>

namespace {

using Cells = QList<QPair<int, int>>;
using Answers = QList<HttpResponse>;
using Headers = QList<QPair<QByteArray, QByteArray>>;

// The first sample of the archive's raster, read by GDAL, that is not bit
// for bit the source's value at the sample's centre; empty when all are.
QString firstDifference(QByteArray zip, const Cells& served)
{
    const QString entry = unzipEntries(zip).keys().filter(QRegularExpression("\\.(bil|BIL|flt)$")).value(0);
    VSIFCloseL(
        VSIFileFromMemBuffer("/vsimem/a.zip", reinterpret_cast<GByte*>(zip.data()), zip.size(), false));
    GDALDatasetH raster = GDALOpen(("/vsizip//vsimem/a.zip/" + entry).toUtf8().constData(), GA_ReadOnly);
    double cell[6] = {};
    GDALGetGeoTransform(raster, cell);
    const int columns = GDALGetRasterXSize(raster), rows = GDALGetRasterYSize(raster);
    std::vector<float> samples(rows * columns);
    const CPLErr read = GDALRasterIO(GDALGetRasterBand(raster, 1), GF_Read, 0, 0, columns, rows,
        samples.data(), columns, rows, GDT_Float32, 0, 0);
    GDALClose(raster);
    if (read != CE_None || rows < 2)
        return "no raster";
    // 3DEP cells are named by their north-west corners, SRTM samples (on 1" lines) by their positions.
    const bool ned = entry.endsWith("flt");
    const double perDegree = ned ? std::round(1 / cell[1]) : 3600;
    const double corner = ned ? 0.5 : 0;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            const double latitude = cell[3] + (r + 0.5) * cell[5];
            const double longitude = cell[0] + (c + 0.5) * cell[1];
            std::optional<float> expected;
            for (const auto& [south, west] : served) {
                if (latitude >= south && latitude <= south + 1 && longitude >= west && longitude <= west + 1)
                    expected = UpstreamFakes::terrain(qint64(std::round(latitude * perDegree + corner)),
                        qint64(std::round(longitude * perDegree - corner)));
            }
            const float wanted = ned ? expected.value_or(-9999) : std::round(expected.value_or(-32768));
            const float actual = samples[r * columns + c];
            if (actual != wanted)
                return QString("row %1, column %2: %3 instead of %4").arg(r).arg(c).arg(actual).arg(wanted);
        }
    }
    return {};
}

struct Gateway : UpstreamFakes {
    std::unique_ptr<GatewayServer> server;
    QNetworkAccessManager network;

    bool start(const QString& contact = "tester@example.org")
    {
        server.reset();
        server = std::make_unique<GatewayServer>(*GatewayOptions::parse(
            QStringList { "gateway", "--wait-pages", "0", "--timeout", "1" } + arguments(3, contact)));
        return server->listen();
    }

    Fetched get(const QString& path)
    {
        return fetch(network, QUrl(QString("http://%1%2").arg(server->authority(), path)));
    }

    // The whole elevation conversation; the answer to the archive address.
    Fetched extract(const QString& product, const QString& area)
    {
        const Fetched summary = get(summaryPath(product, area));
        if (summary.status != 200)
            return summary;
        const QByteArray archive
            = fetch(network, QUrl(submissionUrl(summary.body))).headers.value("location");
        return fetch(network, QUrl(QString::fromLatin1(archive)));
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
        QTest::addColumn<QString>("request"); // product, area, "whole" from a server without ranges
        QTest::addColumn<Cells>("served");
        QTest::addColumn<QString>("logged");
        const Cells both { { 40, -106 }, { 40, -105 } };
        QTest::newRow("SRTM 3 across a border") << "SM905HZ 40.55,40.45,-104.95,-105.1" << both << "";
        QTest::newRow("SRTM 1, the eastern tile missing")
            << "SM305HZ 40.52,40.48,-104.99,-105.01" << Cells { { 40, -106 } }
            << "SRTM 1 arc-second covers 50.0 % of 40.52,40.48,-104.99,-105.01; no tile for N40W105";
        QTest::newRow("NED 1 across a border, by ranges")
            << "NED05HZ 40.55,40.45,-104.95,-105.05" << both << "";
        QTest::newRow("NED 1, whole")
            << "NED05HZ 40.3,40.2,-105.6,-105.8 whole" << Cells { { 40, -106 } } << "";
    }

    void extract()
    {
        QFETCH(QString, request);
        QFETCH(Cells, served);
        QFETCH(QString, logged);
        const QStringList order = request.split(' ');
        Gateway gateway;
        QVERIFY(gateway.listen() && gateway.start());
        for (const auto& [south, west] : served)
            gateway.serve(order[0], south, west).servesRanges = order.size() < 3;
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(logged));
        const Fetched archive = gateway.extract(order[0], order[1]);
        QCOMPARE(archive.status, 200);
        QCOMPARE(firstDifference(archive.body, served), QString());
    }

    void rangesFetchOnlyWhatIsNew()
    {
        Gateway gateway;
        QVERIFY(gateway.listen() && gateway.start());
        RangeFile& tile = gateway.serve("NED05HZ", 40, -106);
        QCOMPARE(gateway.extract("NED05HZ", "40.3,40.2,-105.6,-105.8").status, 200);
        const qint64 sent = tile.sent;
        QVERIFY2(sent < QFileInfo(tile.path).size() / 5, qPrintable(QString::number(sent)));
        QCOMPARE(gateway.extract("NED05HZ", "40.3,40.2,-105.4,-105.7").status, 200);
        QVERIFY(tile.sent > sent);
        // No byte is asked for twice.
        QMultiMap<qint64, qint64> asked;
        for (const HttpRequest& request : gateway.dem.requests())
            asked.insert(request.header("range").mid(6).split('-')[0].toLongLong(),
                request.header("range").split('-')[1].toLongLong());
        qint64 end = -1;
        for (const auto& [first, last] : asked.asKeyValueRange())
            QVERIFY(first > std::exchange(end, last));
        // A new gateway on the same cache has the bytes of both.
        QVERIFY(gateway.start());
        QCOMPARE(gateway.extract("NED05HZ", "40.29,40.21,-105.45,-105.75").status, 200);
        QCOMPARE(gateway.dem.requests().size(), asked.size());
    }

    // What the gateway answers, given what the DEM server answers before it serves the tile.
    void demAnswers_data()
    {
        QTest::addColumn<QString>("product");
        QTest::addColumn<Answers>("upstream");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<int>("requests");
        const HttpResponse tooMany {
            .status = 429, .reason = "Too Many", .headers = { { "Retry-After", "0" } }
        };
        HttpResponse busy { .status = 503,
            .headers = { { "Retry-After", "Thu, 01 Jan 1970 00:00:00 GMT" } } };
        const QString srtm = "SM905HZ";
        QTest::newRow("server error") << srtm << Answers { { .status = 500 } } << 502
                                      << "DEM tile N40W106: 500 Internal Server Error" << 1;
        QTest::newRow("server silent")
            << srtm << Answers { { .silent = true } } << 504 << "no answer within 1 s" << 1;
        QTest::newRow("not a tile") << srtm << Answers { { .body = "<html>" } } << 502 << "is unreadable"
                                    << 1;
        QTest::newRow("no data") << srtm << Answers { { .status = 404 } } << 404
                                 << "SRTM 1 arc-second has no data for this rectangle" << 1;
        QTest::newRow("rate limited, then served") << srtm << Answers { tooMany, busy } << 200 << "" << 3;
        QTest::newRow("rate limited past the retries")
            << srtm << Answers { tooMany, tooMany, tooMany, tooMany } << 503
            << "DEM tile N40W106: rate limited (429 Too Many)" << 4;
        busy.headers[0].second = "60";
        QTest::newRow("told to wait past the timeout")
            << "NED05HZ" << Answers { busy } << 503 << "rate limited (503" << 1;
        // The network layer may ask once more by itself after a cut: what counts is the range asked.
        QTest::newRow("cut off, resumed") << srtm << Answers { { .dropAfter = 100000 } } << 200 << "" << -1;
        QTest::newRow("no modern equivalent")
            << "T1305HZ" << Answers {} << 410 << "no modern equivalent" << 0;
    }

    void demAnswers()
    {
        QFETCH(QString, product);
        QFETCH(Answers, upstream);
        QFETCH(int, status);
        QFETCH(QString, reason);
        QFETCH(int, requests);
        Gateway gateway;
        QVERIFY(gateway.listen() && gateway.start());
        RangeFile& tile = gateway.serve(product, 40, -106, upstream);
        const Fetched answer = gateway.extract(product, "40.3,40.2,-105.1,-105.3");
        QCOMPARE(answer.status, status);
        QVERIFY2(answer.body.contains(reason.toUtf8()), answer.body.constData());
        const QList<HttpRequest> asked = gateway.dem.requests();
        QVERIFY(requests < 0 ? std::any_of(asked.begin(), asked.end(),
                    [](const HttpRequest& request) { return request.header("range") == "bytes=100000-"; })
                             : asked.size() == requests);
        // Each byte of the tile comes once.
        QVERIFY(status != 200 || requests < 0 || tile.sent == QFileInfo(tile.path).size());
    }

    // How long a map tile is used from the disk, also by a new gateway, and
    // how a stale one is revalidated.
    void tileLifetime_data()
    {
        QTest::addColumn<Headers>("headers");
        QTest::addColumn<int>("upstream"); // of three
        QTest::addColumn<QString>("validator");
        const auto date = [](int hours) {
            const QDateTime then = QDateTime::currentDateTimeUtc().addSecs(hours * 3600);
            return QLocale::c().toString(then, "ddd, dd MMM yyyy hh:mm:ss 'GMT'").toLatin1();
        };
        QTest::newRow("max-age") << Headers { { "Cache-Control", "max-age=60" }, { "Expires", date(-1) } }
                                 << 1 << "";
        QTest::newRow("no-cache") << Headers { { "cache-control", "no-cache, max-age=60" } } << 3 << "\"v1\"";
        QTest::newRow("no-store") << Headers { { "Cache-Control", "no-store" } } << 3 << "";
        // Expires against the server's clock, an hour behind: fresh for an hour here.
        QTest::newRow("Expires") << Headers { { "Date", date(-1) }, { "Expires", date(0) } } << 1 << "";
    }

    void tileLifetime()
    {
        QFETCH(Headers, headers);
        QFETCH(int, upstream);
        QFETCH(QString, validator);
        Gateway gateway;
        QVERIFY(gateway.listen());
        gateway.tiles.setHandler("/tile", [headers](const HttpRequest& request) {
            if (request.header("if-none-match") == "\"v1\"")
                return HttpResponse { .status = 304 };
            return HttpResponse { .headers = headers + Headers { { "ETag", "\"v1\"" } }, .body = "PNG" };
        });
        for (int i = 0; i < 3; ++i) {
            QVERIFY(gateway.start());
            QCOMPARE(gateway.get("/15/1/2.png").body, QByteArray("PNG"));
        }
        QCOMPARE(gateway.tiles.requests().size(), upstream);
        QCOMPARE(gateway.tiles.requests().last().header("if-none-match"), validator.toLatin1());
        // Not even from the disk without a contact for the User-Agent.
        QVERIFY(gateway.start(""));
        QVERIFY(gateway.get("/15/1/2.png").body.contains("no contact set for the tile provider"));
    }
};

QTEST_MAIN(TestGatewayServices)
#include "tst_gatewayservices.moc"
