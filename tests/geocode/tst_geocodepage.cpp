#include "geocode/GeocodePage.h"

#include <QTest>

Q_DECLARE_METATYPE(std::optional<double>)

namespace {

QByteArray page(const char* latitudeRow, const char* longitudeRow)
{
    return QByteArray("<html><body><table>\n") + latitudeRow + "\n" + longitudeRow
        + "\n</table></body></html>\n";
}

} // namespace

class TestGeocodePage : public QObject {
    Q_OBJECT

private slots:
    void read_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<std::optional<double>>("latitude");
        QTest::addColumn<std::optional<double>>("longitude");
        QTest::addColumn<QString>("message");
        const std::optional<double> none;
        QTest::newRow("both") << page("<tr><th><h3>Latitude</h3></th><td>40.25 &deg;</td></tr>",
            "<tr><th><h3>Longitude</h3></th><td>-105.5&deg;</td></tr>")
                              << std::optional(40.25) << std::optional(-105.5) << QString();
        QTest::newRow("latitude only")
            << page("<h3>Latitude</h3><td>39.9&deg;", "<h3>Longitude</h3><td>-105") << std::optional(39.9)
            << none << "geocode error: Could not find longitude in the result file.";
        QTest::newRow("longitude only")
            << page("<h3>Lat</h3><td>1&deg;", "<h3>Longitude</h3><td>-104.75&deg;") << none
            << std::optional(-104.75) << "geocode error: Could not find latitude in the result file.";
        QTest::newRow("neither") << QByteArray("<html>Error: address not found</html>") << none << none
                                 << "geocode error: Could not find latitude or longitude in the result file.";
        QTest::newRow("not a number reads as 0.0")
            << page("<h3>Latitude</h3><td>n/a&deg;", "<h3>Longitude</h3><td>&deg;") << std::optional(0.0)
            << std::optional(0.0) << QString();
        // Cells before a heading are not looked at; the first cell after it is.
        QTest::newRow("first cell after the heading")
            << QByteArray("<td>1&deg;<h3>Longitude</h3><p><td>-2.5&deg;<td>3&deg;<h3>Latitude</h3><td>4&deg;")
            << std::optional(4.0) << std::optional(-2.5) << QString();
        // The longitude heading has no cell of its own after it: the value
        // found is the latitude's, which comes later in the page.
        QTest::newRow("cell searched past the next heading")
            << QByteArray("<h3>Longitude</h3><h3>Latitude</h3><td>7&deg;") << std::optional(7.0)
            << std::optional(7.0) << QString();
    }

    void read()
    {
        QFETCH(QByteArray, body);
        const GeocodePage result(body);
        QTEST(result.latitude(), "latitude");
        QTEST(result.longitude(), "longitude");
        QTEST(result.missingMessage(), "message");
    }
};

QTEST_GUILESS_MAIN(TestGeocodePage)
#include "tst_geocodepage.moc"
