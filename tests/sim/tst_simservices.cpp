#include "SimProcess.h"
#include "texture/TileMosaic.h"

#include <QImage>
#include <QRegularExpression>
#include <QTest>
#include <QtEndian>

namespace {

const QString tile = QStringLiteral("/14/4700/6200.png");
const QString smallArea = QStringLiteral("41,40.9,-100.9,-101");

// The submission the summary page's form leads to, its redirect and the archive.
QMap<QString, QByteArray> archiveOf(
    QNetworkAccessManager& network, const SimProcess& sim, const QString& product, const QString& area)
{
    const Fetched redirect = fetch(network,
        sim.url(QStringLiteral("/Website/distreq/StartDownload.jsp?&PL=%1&AL=%2").arg(product, area)));
    return unzipEntries(fetch(network, QUrl(QString::fromLatin1(redirect.headers.value("location")))).body);
}

// The texture step's view of a map pixel: each channel stretched to
// (c - 128) * 2, then compared with a reference tone by squared distance.
bool nearTone(QRgb pixel, QRgb tone)
{
    auto d = [](int c, int reference) { return std::max(0, c - 128) * 2 - reference; };
    const int dr = d(qRed(pixel), qRed(tone)), dg = d(qGreen(pixel), qGreen(tone)),
              db = d(qBlue(pixel), qBlue(tone));
    return dr * dr + dg * dg + db * db < 28;
}

// The degrees in the first cell after the geocoder's heading, or NaN.
double coordinate(const QByteArray& page, const QString& heading)
{
    const QRegularExpression cell(QStringLiteral("<h3>%1</h3>.*?<td>([^<]*)&deg;").arg(heading),
        QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = cell.match(QString::fromLatin1(page));
    return match.hasMatch() ? match.captured(1).toDouble() : qQNaN();
}

}

// The simulator's services one at a time: the terrain in the elevation
// archives, requests it refuses, map tiles, the geocoder, the fault
// switches and the command line.
class TestSimServices : public QObject {
    Q_OBJECT

    QNetworkAccessManager network;
    SimProcess sim; // with the default options

private slots:
    void initTestCase() { QVERIFY(sim.isRunning()); }

    void terrainIsSeamlessRealisticAndHasVoids()
    {
        // Neighbouring areas share the samples on their common edge.
        const QByteArray north
            = entryEndingIn(archiveOf(network, sim, "SM305HZ", "40.1,40,-105.4,-105.5"), ".BIL");
        const QByteArray south
            = entryEndingIn(archiveOf(network, sim, "SM305HZ", "40,39.9,-105.4,-105.5"), ".BIL");
        const qsizetype rowBytes = 361 * 2;
        QVERIFY(north.size() == 361 * rowBytes && south.size() == north.size());
        QCOMPARE(north.right(rowBytes), south.left(rowBytes));
        QVERIFY(north.left(rowBytes) != south.left(rowBytes));

        // Big-endian samples of mountains with a few voids, the same each time.
        const QMap<QString, QByteArray> entries = archiveOf(network, sim, "SM905HZ", "40,39,-105,-106");
        const QByteArray raster = entryEndingIn(entries, QStringLiteral(".bil"));
        QCOMPARE(raster.size(), 1201 * 1201 * 2);
        QVERIFY(
            entryEndingIn(entries, QStringLiteral(".hdr")).toUpper().simplified().contains("BYTEORDER M "));
        qint64 voids = 0;
        qint16 lowest = 32767;
        qint16 highest = -32767;
        for (qsizetype i = 0; i < raster.size(); i += 2) {
            const qint16 sample = qFromBigEndian<qint16>(raster.constData() + i);
            voids += sample == -32768;
            lowest = sample == -32768 ? lowest : std::min(lowest, sample);
            highest = std::max(highest, sample);
        }
        QVERIFY2(voids > 0 && voids < raster.size() / 2 / 100, qPrintable(QString::number(voids)));
        QVERIFY2(lowest >= 0 && highest <= 4500 && highest - lowest > 500,
            qPrintable(QStringLiteral("%1 .. %2").arg(lowest).arg(highest)));
        QCOMPARE(archiveOf(network, sim, "SM905HZ", "40,39,-105,-106"), entries);
    }

    void malformedRequestsAreRefused_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");

        QTest::newRow("unknown product") << summaryPath("XX905HZ", "41,40,-100,-101") << 400;
        QTest::newRow("north below south") << summaryPath("SM905HZ", "40,41,-100,-101") << 400;
        QTest::newRow("too large for 1/3\"") << summaryPath("ND305HZ", "41,40,-100,-102") << 400;
        QTest::newRow("form not from the page") << "/Website/distreq/StartDownload.jsp?&PL=SM905HZ" << 400;
        QTest::newRow("tile past the edge") << "/13/8192/0.png" << 404;
        QTest::newRow("no such service") << "/Website/elsewhere.jsp" << 404;
    }

    void malformedRequestsAreRefused()
    {
        QFETCH(QString, path);
        QFETCH(int, status);
        QCOMPARE(fetch(network, sim.url(path)).status, status);
    }

    void tileCarriesTheTonesTheTextureStepRecolours()
    {
        const Fetched tile = fetch(network, sim.url(QStringLiteral("/13/2400/3100.png")));
        QCOMPARE(tile.headers.value("content-type"), "image/png");
        QCOMPARE(fetch(network, sim.url(QStringLiteral("/13/2400/3100.png"))).body, tile.body);
        QVERIFY(fetch(network, sim.url(QStringLiteral("/13/2401/3100.png"))).body != tile.body);
        const QImage image = QImage::fromData(tile.body, "PNG");
        QCOMPARE(image.size(), QSize(256, 256));
        // Background, greens (parks, woods, fields) and reddish (residential, main roads).
        const QList<QList<QRgb>> tones { { qRgb(227, 221, 209) },
            { qRgb(11, 129, 1), qRgb(69, 179, 29), qRgb(89, 221, 97), qRgb(91, 161, 65),
                qRgb(137, 225, 129) },
            { qRgb(237, 163, 157), qRgb(243, 129, 125), qRgb(245, 109, 107) } };
        for (const QList<QRgb>& group : tones) {
            bool found = false;
            for (int i = 0; i < 256 * 256 && !found; ++i)
                found = std::any_of(group.begin(), group.end(),
                    [&](QRgb tone) { return nearTone(image.pixel(i % 256, i / 256), tone); });
            QVERIFY2(found, qPrintable(QString::number(group.first(), 16)));
        }
    }

    void geocoderFindsKnownAddressesOnly_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<double>("latitude");
        QTest::addColumn<double>("longitude");

        QTest::newRow("as written") << "1600 Pennsylvania Avenue, Washington, DC" << 38.8977 << -77.0365;
        QTest::newRow("case, blanks, pluses, full stops")
            << "  2+15TH   street N.W. ,washington,  D.C. " << 38.8895 << -77.0353;
        QTest::newRow("unknown, with markup") << "1 Nowhere Lane, <b>Atlantis</b>" << qQNaN() << qQNaN();
    }

    void geocoderFindsKnownAddressesOnly()
    {
        QFETCH(QString, address);
        QFETCH(double, latitude);
        QFETCH(double, longitude);
        const Fetched page = fetch(network, sim.url(QStringLiteral("/demo.cgi?address=") + address));
        QCOMPARE(page.status, 200);
        QCOMPARE(page.headers.value("transfer-encoding"), "chunked");
        QCOMPARE(coordinate(page.body, QStringLiteral("Latitude")), latitude);
        QCOMPARE(coordinate(page.body, QStringLiteral("Longitude")), longitude);
        QVERIFY(!page.body.contains("<b>"));
    }

    void deliverySwitchHitsOnlyItsPrefix_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<QNetworkReply::NetworkError>("error");
        QTest::addColumn<int>("minimumMs");

        QTest::newRow("failing status")
            << QStringList { "--fail-status", "503:/demo.cgi" } << "/demo.cgi?address=x" << 503
            << QNetworkReply::ServiceUnavailableError << 0;
        QTest::newRow("dropped body") << QStringList { "--drop-body", "/14/" } << tile << 200
                                      << QNetworkReply::RemoteHostClosedError << 0;
        QTest::newRow("slow body") << QStringList { "--slow-body", "1000:/14/" } << tile << 200
                                   << QNetworkReply::NoError << 1000;
    }

    void deliverySwitchHitsOnlyItsPrefix()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, path);
        QFETCH(int, status);
        QFETCH(QNetworkReply::NetworkError, error);
        QFETCH(int, minimumMs);
        SimProcess switched(options);
        QVERIFY(switched.isRunning());
        const Fetched faulty = fetch(network, switched.url(path));
        QCOMPARE(faulty.status, status);
        QCOMPARE(faulty.error, error);
        QVERIFY2(faulty.milliseconds >= minimumMs, qPrintable(QString::number(faulty.milliseconds)));
        const Fetched other = fetch(network, switched.url(QStringLiteral("/13/2350/3100.png")));
        QVERIFY(other.error == QNetworkReply::NoError && other.milliseconds < 1000);
        // SIGTERM ends the simulator normally.
        switched.process().terminate();
        QVERIFY(switched.process().waitForFinished(10000));
        QCOMPARE(switched.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(switched.process().exitCode(), 0);
    }

    // A tile with transparent pixels is stitched with the colours it stores.
    void alphaTileKeepsItsColoursInTheMosaic()
    {
        SimProcess switched({ "--alpha-tiles", tile });
        QVERIFY(switched.isRunning());
        const QImage plain = QImage::fromData(fetch(network, sim.url(tile)).body);
        const QImage alpha = QImage::fromData(fetch(network, switched.url(tile)).body);
        QVERIFY(alpha.hasAlphaChannel() && alpha.size() == plain.size());
        QCOMPARE(
            QList<int>({ qAlpha(alpha.pixel(0, 0)), qAlpha(alpha.pixel(1, 0)), qAlpha(alpha.pixel(2, 0)) }),
            QList<int>({ 0, 127, 255 }));
        const Tile whole { .zoom = 14, .x = 4700, .y = 6200, .bottom = 255, .right = 255 };
        TileMosaic mosaic(*TileMosaic::bounds({ whole }));
        mosaic.paste(whole, alpha);
        QCOMPARE(mosaic.image(), plain.copy(0, 0, 255, 255).convertToFormat(QImage::Format_RGB888));
    }

    // A request under a --no-answer prefix gets nothing, not even a close:
    // the client waits until it gives up itself.
    void silentSwitchLeavesTheClientWaiting()
    {
        SimProcess silent({ QStringLiteral("--no-answer"), QStringLiteral("/14/") });
        QVERIFY(silent.isRunning());
        std::unique_ptr<QNetworkReply> waiting(network.get(QNetworkRequest(silent.url(tile))));
        QCOMPARE(fetch(network, silent.url(QStringLiteral("/13/2350/3100.png"))).status, 200);
        QTest::qWait(1500);
        QVERIFY(waiting->isRunning());
        QVERIFY(!waiting->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
        waiting->abort();
        QCOMPARE(waiting->error(), QNetworkReply::OperationCanceledError);
    }

    // The archive's name in Content-Disposition is the order's own, so line
    // breaks encoded in the address cannot end the header early.
    void archiveNameInTheHeaderIsTheOrdersOwn()
    {
        const Fetched archive = fetch(network,
            sim.url(QStringLiteral("/Website/distreq/archive/SM905HZ_%0D%0A%0D%0A41_40.9_-100.9_-101.zip")));
        QCOMPARE(archive.status, 200);
        QCOMPARE(archive.headers.value("content-disposition"),
            "attachment; filename=\"SM905HZ_41_40.9_-100.9_-101.zip\"");
        QCOMPARE(unzipEntries(archive.body).size(), 6);
    }

    void pageSwitchChangesOnlyItsPart_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("buttons");
        QTest::addColumn<bool>("action");
        QTest::addColumn<bool>("header");

        QTest::newRow("no download button") << QStringList { "--download-buttons", "0" } << 0 << true << true;
        QTest::newRow("form without action") << QStringList { "--form-without-action" } << 1 << false << true;
        QTest::newRow("archive without header")
            << QStringList { "--archive-without-hdr" } << 1 << true << false;
    }

    void pageSwitchChangesOnlyItsPart()
    {
        QFETCH(QStringList, options);
        QFETCH(int, buttons);
        QFETCH(bool, action);
        QFETCH(bool, header);
        SimProcess switched(options << QStringLiteral("--wait-pages") << QStringLiteral("0"));
        QVERIFY(switched.isRunning());
        const QByteArray page
            = fetch(network, switched.url(summaryPath(QStringLiteral("SM905HZ"), smallArea))).body;
        QCOMPARE(page.count("<FORM"), 1);
        QCOMPARE(page.count("VALUE=\"Download\""), buttons);
        QCOMPARE(page.contains("ACTION=\"http://"), action);
        const QMap<QString, QByteArray> entries
            = archiveOf(network, switched, QStringLiteral("SM905HZ"), smallArea);
        QCOMPARE(entries.size(), header ? 6 : 5);
        QCOMPARE(entryEndingIn(entries, QStringLiteral(".hdr")).isEmpty(), !header);
    }

    void badCommandLinesAreRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");

        QTest::newRow("address not on loopback") << QStringList { "--listen", "10.1.2.3:0" };
        QTest::newRow("status without prefix") << QStringList { "--fail-status", "500" };
        QTest::newRow("three buttons") << QStringList { "--download-buttons", "3" };
        QTest::newRow("stray argument") << QStringList { "extra" };
    }

    void badCommandLinesAreRefused()
    {
        QFETCH(QStringList, arguments);
        QProcess refused;
        refused.start(SimProcess::executable(), arguments);
        QVERIFY(refused.waitForFinished(10000));
        QVERIFY(refused.exitCode() != 0);
        QVERIFY(refused.readAllStandardOutput().isEmpty());
        QVERIFY(refused.readAllStandardError().startsWith("relka-sim: "));
    }
};

QTEST_GUILESS_MAIN(TestSimServices)
#include "tst_simservices.moc"
