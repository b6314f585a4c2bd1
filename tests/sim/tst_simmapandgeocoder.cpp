#include "SimProcess.h"

#include <QImage>
#include <QTest>

// The tile server and the geocoder of the simulator, and what it answers
// to addresses that belong to no service.
class TestSimMapAndGeocoder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void tilesCarryTheTonesTheTextureStepRecolours();
    void tilesAreDeterministic();
    void invalidTileNumbersAreNotFound_data();
    void invalidTileNumbersAreNotFound();
    void knownAddressesGiveTheirCoordinates_data();
    void knownAddressesGiveTheirCoordinates();
    void unknownAddressGivesPageWithoutMarkers();
    void unknownPathIsNotFound();

private:
    QNetworkAccessManager network;
    std::unique_ptr<SimProcess> sim;
};

namespace {

// The texture step's view of a map pixel: each channel stretched to
// (c - 128) * 2, then compared with reference tones by squared distance.
bool nearTone(QRgb pixel, int r, int g, int b)
{
    auto stretch = [](int c) { return std::max(0, c - 128) * 2; };
    const int dr = stretch(qRed(pixel)) - r;
    const int dg = stretch(qGreen(pixel)) - g;
    const int db = stretch(qBlue(pixel)) - b;
    return dr * dr + dg * dg + db * db < 28;
}

// The number between the first "<td>" after the marker and "&deg;".
std::optional<double> coordinate(const QByteArray& page, const QByteArray& marker)
{
    const qsizetype at = page.indexOf(marker);
    const qsizetype cell = at < 0 ? -1 : page.indexOf("<td>", at + marker.size());
    const qsizetype end = cell < 0 ? -1 : page.indexOf("&deg;", cell + 4);
    if (end < 0)
        return std::nullopt;
    return QString::fromLatin1(page.mid(cell + 4, end - cell - 4)).toDouble();
}

}

void TestSimMapAndGeocoder::initTestCase()
{
    sim = std::make_unique<SimProcess>();
    QVERIFY(sim->isRunning());
}

void TestSimMapAndGeocoder::tilesCarryTheTonesTheTextureStepRecolours()
{
    int background = 0;
    int green = 0;
    int reddish = 0;
    for (int x = 2400; x < 2404; ++x) {
        const Fetched tile = fetch(network, sim->url(QStringLiteral("/13/%1/3100.png").arg(x)));
        QCOMPARE(tile.status, 200);
        QCOMPARE(tile.header("Content-Type"), "image/png");
        const QImage image = QImage::fromData(tile.body, "PNG");
        QCOMPARE(image.size(), QSize(256, 256));
        for (int y = 0; y < image.height(); ++y) {
            for (int px = 0; px < image.width(); ++px) {
                const QRgb pixel = image.pixel(px, y);
                background += nearTone(pixel, 227, 221, 209);
                green += nearTone(pixel, 11, 129, 1) || nearTone(pixel, 69, 179, 29)
                    || nearTone(pixel, 89, 221, 97) || nearTone(pixel, 91, 161, 65)
                    || nearTone(pixel, 137, 225, 129) || nearTone(pixel, 155, 237, 147);
                reddish += nearTone(pixel, 237, 163, 157) || nearTone(pixel, 243, 129, 125)
                    || nearTone(pixel, 245, 109, 107);
            }
        }
    }
    QVERIFY2(background > 0 && green > 0 && reddish > 0,
        qPrintable(QStringLiteral("%1 %2 %3").arg(background).arg(green).arg(reddish)));
}

void TestSimMapAndGeocoder::tilesAreDeterministic()
{
    const QUrl url = sim->url(QStringLiteral("/15/9000/12000.png"));
    const Fetched first = fetch(network, url);
    QCOMPARE(first.status, 200);
    QCOMPARE(fetch(network, url).body, first.body);
    QVERIFY(fetch(network, sim->url(QStringLiteral("/15/9001/12000.png"))).body != first.body);
}

void TestSimMapAndGeocoder::invalidTileNumbersAreNotFound_data()
{
    QTest::addColumn<QString>("path");

    QTest::newRow("zoom beyond 19") << "/20/0/0.png";
    QTest::newRow("column past the edge") << "/13/8192/0.png";
    QTest::newRow("row past the edge") << "/13/0/8192.png";
    QTest::newRow("zoom 0 has one tile") << "/0/1/0.png";
    QTest::newRow("negative column") << "/13/-1/0.png";
    QTest::newRow("not a PNG address") << "/13/1/2.jpg";
}

void TestSimMapAndGeocoder::invalidTileNumbersAreNotFound()
{
    QFETCH(QString, path);
    QCOMPARE(fetch(network, sim->url(path)).status, 404);
}

void TestSimMapAndGeocoder::knownAddressesGiveTheirCoordinates_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<double>("latitude");
    QTest::addColumn<double>("longitude");

    QTest::newRow("as written") << "1600 Pennsylvania Avenue, Washington, DC" << 38.8977 << -77.0365;
    QTest::newRow("case and blanks") << "  1600 PENNSYLVANIA   avenue ,washington,  dc " << 38.8977
                                     << -77.0365;
    QTest::newRow("plus for blanks") << "350+Fifth+Avenue,+New+York,+NY" << 40.7484 << -73.9857;
    QTest::newRow("full stops") << "2 15th Street N.W., Washington, D.C." << 38.8895 << -77.0353;
}

void TestSimMapAndGeocoder::knownAddressesGiveTheirCoordinates()
{
    QFETCH(QString, address);
    QFETCH(double, latitude);
    QFETCH(double, longitude);
    const Fetched page = fetch(network, sim->url(QStringLiteral("/demo.cgi?address=") + address));
    QCOMPARE(page.status, 200);
    QCOMPARE(page.header("Transfer-Encoding"), "chunked");
    QCOMPARE(coordinate(page.body, "<h3>Latitude</h3>"), latitude);
    QCOMPARE(coordinate(page.body, "<h3>Longitude</h3>"), longitude);
}

void TestSimMapAndGeocoder::unknownAddressGivesPageWithoutMarkers()
{
    const Fetched page
        = fetch(network, sim->url(QStringLiteral("/demo.cgi?address=1 Nowhere Lane, <b>Atlantis</b>")));
    QCOMPARE(page.status, 200);
    QVERIFY(!page.body.contains("<h3>Latitude</h3>"));
    QVERIFY(!page.body.contains("<h3>Longitude</h3>"));
    QVERIFY(!page.body.contains("&deg;"));
    QVERIFY(page.body.contains("&lt;b&gt;Atlantis"));
}

void TestSimMapAndGeocoder::unknownPathIsNotFound()
{
    const Fetched answer = fetch(network, sim->url(QStringLiteral("/Website/elsewhere.jsp")));
    QCOMPARE(answer.status, 404);
    QVERIFY(!answer.body.isEmpty() && answer.body.size() < 1000);
}

QTEST_GUILESS_MAIN(TestSimMapAndGeocoder)
#include "tst_simmapandgeocoder.moc"
