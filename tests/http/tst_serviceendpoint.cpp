#include "http/ServiceEndpoint.h"

#include <QTest>

class ServiceEndpointTest : public QObject
{
    Q_OBJECT

private slots:
    void parse_data();
    void parse();
    void authorityOmitsPort80();
    void fromEnvironment_data();
    void fromEnvironment();
    void servicesHaveTheirOwnVariables();
};

void ServiceEndpointTest::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");

    QTest::newRow("host alone gets port 80") << "tile.example.org" << true << "tile.example.org" << 80;
    QTest::newRow("host and port") << "127.0.0.1:8080" << true << "127.0.0.1" << 8080;
    QTest::newRow("lowest port") << "localhost:1" << true << "localhost" << 1;
    QTest::newRow("highest port") << "localhost:65535" << true << "localhost" << 65535;
    QTest::newRow("surrounding blanks") << "  sim-host:81 " << true << "sim-host" << 81;
    QTest::newRow("empty") << "" << false << "" << 0;
    QTest::newRow("port without host") << ":8080" << false << "" << 0;
    QTest::newRow("colon without port") << "host:" << false << "" << 0;
    QTest::newRow("port no number") << "host:http" << false << "" << 0;
    QTest::newRow("port 0") << "host:0" << false << "" << 0;
    QTest::newRow("port 65536") << "host:65536" << false << "" << 0;
    QTest::newRow("port far too large") << "host:999999" << false << "" << 0;
    QTest::newRow("negative port") << "host:-80" << false << "" << 0;
    QTest::newRow("two ports") << "host:80:81" << false << "" << 0;
    QTest::newRow("URL instead of host") << "http://host" << false << "" << 0;
    QTest::newRow("host with path") << "host/tiles" << false << "" << 0;
    QTest::newRow("blank inside") << "my host" << false << "" << 0;
}

void ServiceEndpointTest::parse()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QFETCH(QString, host);
    QFETCH(int, port);

    const std::optional<ServiceEndpoint> endpoint = ServiceEndpoint::parse(text);
    QCOMPARE(endpoint.has_value(), valid);
    if (valid) {
        QCOMPARE(endpoint->host(), host);
        QCOMPARE(int(endpoint->port()), port);
    }
}

void ServiceEndpointTest::authorityOmitsPort80()
{
    QCOMPARE(ServiceEndpoint(QStringLiteral("a.org")).authority(), QStringLiteral("a.org"));
    QCOMPARE(ServiceEndpoint(QStringLiteral("a.org"), 8080).authority(), QStringLiteral("a.org:8080"));
}

void ServiceEndpointTest::fromEnvironment_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("authority");
    QTest::addColumn<bool>("warns");

    QTest::newRow("unset") << QByteArray() << "fallback.org" << false;
    QTest::newRow("host") << QByteArray("other.org") << "other.org" << false;
    QTest::newRow("host and port") << QByteArray("127.0.0.1:8081") << "127.0.0.1:8081" << false;
    QTest::newRow("invalid port falls back") << QByteArray("127.0.0.1:eighty") << "fallback.org" << true;
    QTest::newRow("empty host falls back") << QByteArray(":8081") << "fallback.org" << true;
}

void ServiceEndpointTest::fromEnvironment()
{
    QFETCH(QByteArray, value);
    QFETCH(QString, authority);
    QFETCH(bool, warns);
    if (value.isNull())
        qunsetenv("RELKA_TEST_SERVER");
    else
        qputenv("RELKA_TEST_SERVER", value);
    if (warns)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^RELKA_TEST_SERVER=")));

    const ServiceEndpoint endpoint =
        ServiceEndpoint::fromEnvironment("RELKA_TEST_SERVER", ServiceEndpoint(QStringLiteral("fallback.org")));
    QCOMPARE(endpoint.authority(), authority);
}

void ServiceEndpointTest::servicesHaveTheirOwnVariables()
{
    qunsetenv("RELKA_ELEVATION_SERVER");
    qunsetenv("RELKA_TILE_SERVER");
    qputenv("RELKA_GEOCODER", "127.0.0.1:9000");

    QCOMPARE(ServiceEndpoint::elevationServer(), ServiceEndpoint(QStringLiteral("extract.cr.usgs.gov")));
    QCOMPARE(ServiceEndpoint::tileServer(), ServiceEndpoint(QStringLiteral("tile.openstreetmap.org")));
    QCOMPARE(ServiceEndpoint::geocoder(), ServiceEndpoint(QStringLiteral("127.0.0.1"), 9000));

    qputenv("RELKA_TILE_SERVER", "tiles.local:8000");
    QCOMPARE(ServiceEndpoint::tileServer(), ServiceEndpoint(QStringLiteral("tiles.local"), 8000));
    QCOMPARE(ServiceEndpoint::elevationServer().port(), quint16(80));
}

QTEST_GUILESS_MAIN(ServiceEndpointTest)
#include "tst_serviceendpoint.moc"
