#include "SimProcess.h"
#include "texture/TileMosaic.h"

#include <QImage>
#include <QRegularExpression>
#include <QTest>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace {

const QString tile = u"/14/4700/6200.png"_s;

// The archive that the form's submission leads to, through its redirect.
QMap<QString, QByteArray> archiveOf(
    QNetworkAccessManager& network, const SimProcess& sim, const QString& product, const QString& area)
{
    const Fetched redirect
        = fetch(network, sim.url(u"/Website/distreq/StartDownload.jsp?&PL=%1&AL=%2"_s.arg(product, area)));
    return unzipEntries(fetch(network, QUrl(QString::fromLatin1(redirect.headers.value("location")))).body);
}

} // namespace

// The simulator as the program sees it: the real relka-sim in a child
// process, spoken to over loopback HTTP. Its conversation and fault
// switches are walked by the run tests; here are the terrain, the tiles,
// the geocoder and the requests it refuses.
class TestSimServices : public QObject {
    Q_OBJECT

    QNetworkAccessManager network;
    SimProcess sim;

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
        const QByteArray raster = entryEndingIn(entries, u".bil"_s);
        QCOMPARE(raster.size(), 1201 * 1201 * 2);
        QVERIFY(entryEndingIn(entries, u".hdr"_s).toUpper().simplified().contains("BYTEORDER M "));
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
            qPrintable(u"%1 .. %2"_s.arg(lowest).arg(highest)));
        QCOMPARE(archiveOf(network, sim, "SM905HZ", "40,39,-105,-106"), entries);
    }

    void answers_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("found"); // in the body
        QTest::newRow("unknown product") << summaryPath("XX905HZ", "41,40,-100,-101") << 400 << QString();
        QTest::newRow("north below south") << summaryPath("SM905HZ", "40,41,-100,-101") << 400 << QString();
        QTest::newRow("too large for 1/3\"") << summaryPath("ND305HZ", "41,40,-100,-102") << 400 << QString();
        QTest::newRow("form not from the page")
            << "/Website/distreq/StartDownload.jsp?&PL=SM905HZ" << 400 << QString();
        QTest::newRow("tile past the edge") << "/13/8192/0.png" << 404 << QString();
        QTest::newRow("no such service") << "/Website/elsewhere.jsp" << 404 << QString();
        QTest::newRow("address as written") << "/demo.cgi?address=1600 Pennsylvania Avenue, Washington, DC"
                                            << 200 << "<td>38.8977&deg;.*<td>-77.0365&deg;";
        QTest::newRow("case, blanks, pluses, full stops")
            << "/demo.cgi?address=  2+15TH   street N.W. ,washington,  D.C. " << 200
            << "<td>38.8895&deg;.*<td>-77.0353&deg;";
        QTest::newRow("unknown address, markup dropped")
            << "/demo.cgi?address=1 Nowhere Lane, <b>Atlantis</b>" << 200 << "^(?!.*(&deg;|<b>))";
    }

    void answers()
    {
        QFETCH(QString, path);
        QFETCH(QString, found);
        const Fetched answer = fetch(network, sim.url(path));
        QTEST(answer.status, "status");
        const QRegularExpression pattern(found, QRegularExpression::DotMatchesEverythingOption);
        QVERIFY2(pattern.match(QString::fromLatin1(answer.body)).hasMatch(), answer.body.constData());
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

    // The archive's name in Content-Disposition is the order's own, so line
    // breaks encoded in the address cannot end the header early.
    void archiveNameInTheHeaderIsTheOrdersOwn()
    {
        const Fetched archive = fetch(
            network, sim.url(u"/Website/distreq/archive/SM905HZ_%0D%0A%0D%0A41_40.9_-100.9_-101.zip"_s));
        QCOMPARE(archive.headers.value("content-disposition"),
            "attachment; filename=\"SM905HZ_41_40.9_-100.9_-101.zip\"");
        QCOMPARE(unzipEntries(archive.body).size(), 6);
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
        QVERIFY(refused.waitForFinished());
        QVERIFY(refused.exitCode() != 0 && refused.readAllStandardOutput().isEmpty());
        QVERIFY(refused.readAllStandardError().startsWith("relka-sim: "));
    }
};

QTEST_GUILESS_MAIN(TestSimServices)
#include "tst_simservices.moc"
