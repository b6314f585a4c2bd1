#include "http/ServiceEndpoint.h"

#include <QTest>

class TestServiceEndpoint : public QObject {
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("authority"); // empty: rejected

        QTest::newRow("host alone") << "tile.example.org"
                                    << "tile.example.org";
        QTest::newRow("host and port") << "127.0.0.1:8080"
                                       << "127.0.0.1:8080";
        QTest::newRow("port 80 is left out") << "sim-host:80"
                                             << "sim-host";
        QTest::newRow("highest port, blanks around") << " localhost:65535 "
                                                     << "localhost:65535";
        QTest::newRow("port without host") << ":8080"
                                           << "";
        QTest::newRow("port 0") << "host:0"
                                << "";
        QTest::newRow("port 65536") << "host:65536"
                                    << "";
        QTest::newRow("URL") << "http://host"
                             << "";
    }

    void parse()
    {
        QFETCH(QString, text);
        QFETCH(QString, authority);
        const std::optional<ServiceEndpoint> endpoint = ServiceEndpoint::parse(text);
        QCOMPARE(endpoint ? endpoint->authority() : QString(), authority);
    }

    // Each service reads its own variable and falls back, with a warning, to
    // its built-in host when the value is unusable.
    void servicesReadTheirOwnVariables()
    {
        qputenv("RELKA_ELEVATION_SERVER", "127.0.0.1:9001");
        qputenv("RELKA_TILE_SERVER", "127.0.0.1:eighty");
        qputenv("RELKA_GEOCODER", "127.0.0.1:9003");
        QCOMPARE(ServiceEndpoint::elevationServer().authority(), "127.0.0.1:9001");
        QCOMPARE(ServiceEndpoint::geocoder().authority(), "127.0.0.1:9003");
        QTest::ignoreMessage(QtWarningMsg,
            "RELKA_TILE_SERVER=\"127.0.0.1:eighty\" is not host or host:port; "
            "using tile.openstreetmap.org");
        QCOMPARE(ServiceEndpoint::tileServer().authority(), "tile.openstreetmap.org");
    }
};

QTEST_GUILESS_MAIN(TestServiceEndpoint)
#include "tst_serviceendpoint.moc"
