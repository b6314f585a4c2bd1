#include "RunFixture.h"

#include "geocode/GeocodePage.h"
#include "geocode/GeocodeQuery.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<double>)

// The geocoder's request and its page, and a geocoding against the
// simulated geocoder that centres the rectangle on the address.
class TestGeocode : public QObject {
    Q_OBJECT

private slots:

    void page_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<std::optional<double>>("latitude");
        QTest::addColumn<std::optional<double>>("longitude");
        QTest::addColumn<QString>("message");
        const std::optional<double> none;
        QTest::newRow("both") << QByteArray("<tr><th><h3>Latitude</h3></th><td>40.25 &deg;</td></tr>\n"
                                            "<tr><th><h3>Longitude</h3></th><td>-105.5&deg;</td></tr>")
                              << std::optional(40.25) << std::optional(-105.5) << QString();
        QTest::newRow("latitude only")
            << QByteArray("<h3>Latitude</h3><td>39.9&deg;<h3>Longitude</h3><td>-105") << std::optional(39.9)
            << none << "geocode error: Could not find longitude in the result file.";
        QTest::newRow("longitude only")
            << QByteArray("<h3>Lat</h3><td>1&deg;<h3>Longitude</h3><td>-104.75&deg;") << none
            << std::optional(-104.75) << "geocode error: Could not find latitude in the result file.";
        QTest::newRow("neither") << QByteArray("<html>Error: address not found</html>") << none << none
                                 << "geocode error: Could not find latitude or longitude in the result file.";
        QTest::newRow("not a number reads as 0.0")
            << QByteArray("<h3>Latitude</h3><td>n/a&deg;<h3>Longitude</h3><td>&deg;") << std::optional(0.0)
            << std::optional(0.0) << QString();
        // Cells before a heading are not looked at; the first cell after it
        // is, even past the next heading.
        QTest::newRow("first cell after the heading")
            << QByteArray("<td>1&deg;<h3>Longitude</h3><h3>Latitude</h3><p><td>4&deg;<td>3&deg;")
            << std::optional(4.0) << std::optional(4.0) << QString();
    }

    void page()
    {
        QFETCH(QByteArray, body);
        const GeocodePage result(body);
        QTEST(result.latitude(), "latitude");
        QTEST(result.longitude(), "longitude");
        QTEST(result.missingMessage(), "message");
    }

    // The record keeps the readable address, without the default port.
    void queryUrl()
    {
        const GeocodeQuery query(ServiceEndpoint(u"geocoder.example"_s), u"5 Elm St#2"_s);
        QCOMPARE(query.url(), u"http://geocoder.example/demo.cgi?address=5 Elm St#2"_s);
    }

    void addressCentresTheRectangle()
    {
        RunFixture run;
        QVERIFY(run.isReady());
        DownloadRun& downloadRun = run.start({ .area = u"1° (lon) by 0.5° (lat)"_s });
        QSignalSpy answered(&downloadRun, &DownloadRun::geocodeAnswered);
        downloadRun.geocode(u"1600 Pennsylvania Avenue, Washington, DC#Suite 5"_s);
        QVERIFY(run.controlsLocked());
        QVERIFY(answered.wait(SimProcess::patience()));
        QVERIFY(!run.controlsLocked() && answered.at(0).at(0).toBool());
        const QByteArray sent = "/demo.cgi?address=1600%20Pennsylvania%20Avenue,%20Washington,%20DC";
        QCOMPARE(run.log(),
            QStringList({ "Geocode: Downloading " + sent,
                "geocodeRequestFinished(#, 0) - request never issued. Returning." }));
        QVERIFY(run.simulatorLog().contains("\"GET " + sent + " HTTP/1.1\""));
        const auto [north, south, west, east] = downloadRun.rectangle();
        const QList<double> expected { 39.1477, 38.6477, -77.5365, -76.5365 };
        QCOMPARE((QList<double> { north, south, west, east }), expected);

        QFile debugFile(run.workingDirectory() + u"/debugGeocode.txt"_s);
        QVERIFY(debugFile.open(QIODevice::ReadOnly));
        const QByteArray copy = debugFile.readAll();
        QVERIFY(copy.startsWith("geocodeRequestFinished:\r\n<html>") && copy.endsWith("</html>\r\n\r\n"));
    }
};

QTEST_GUILESS_MAIN(TestGeocode)
#include "tst_geocode.moc"
