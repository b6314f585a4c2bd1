#include "geocode/GeocodeQuery.h"

#include <QTest>

class TestGeocodeQuery : public QObject {
    Q_OBJECT

private slots:
    void path_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("path");
        QTest::newRow("spaces") << "1600 Pennsylvania Ave NW, Washington DC"
                                << "/demo.cgi?address=1600%20Pennsylvania%20Ave%20NW,%20Washington%20DC";
        QTest::newRow("hash starts the fragment") << "10 Main St #5, Boulder CO"
                                                  << "/demo.cgi?address=10%20Main%20St%20";
        QTest::newRow("ampersand sent as it is") << "Smith & Sons, 5 Elm St"
                                                 << "/demo.cgi?address=Smith%20&%20Sons,%205%20Elm%20St";
        QTest::newRow("beyond ASCII") << "Straße 1"
                                      << "/demo.cgi?address=Stra%C3%9Fe%201";
        QTest::newRow("lone percent sign") << "100% Main"
                                           << "/demo.cgi?address=100%25%20Main";
        QTest::newRow("empty") << ""
                               << "/demo.cgi?address=";
    }

    void path()
    {
        QFETCH(QString, address);
        QTEST(GeocodeQuery(ServiceEndpoint(QStringLiteral("geocoder.example")), address).path(), "path");
    }

    void endpoint_data()
    {
        QTest::addColumn<ServiceEndpoint>("endpoint");
        QTest::addColumn<QString>("url");
        QTest::newRow("port 80") << ServiceEndpoint("geocoder.example")
                                 << "http://geocoder.example/demo.cgi?address=5 Elm St#2";
        QTest::newRow("other port") << ServiceEndpoint("127.0.0.1", 8080)
                                    << "http://127.0.0.1:8080/demo.cgi?address=5 Elm St#2";
    }

    void endpoint()
    {
        QFETCH(ServiceEndpoint, endpoint);
        const GeocodeQuery query(endpoint, QStringLiteral("5 Elm St#2"));
        QCOMPARE(query.host(), endpoint.host());
        QCOMPARE(query.port(), endpoint.port());
        QCOMPARE(query.path(), QStringLiteral("/demo.cgi?address=5%20Elm%20St"));
        QTEST(query.url(), "url");
    }
};

QTEST_GUILESS_MAIN(TestGeocodeQuery)
#include "tst_geocodequery.moc"
