#include "elevation/RequestSummaryUrl.h"

#include <QTest>

namespace {

const QString srtm1
    = QStringLiteral("SRTM 1 arc sec - Shuttle Radar Topography Mission [Finished] (U.S. only)");
const QString srtm3 = QStringLiteral("SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]");
const QString ned1 = QStringLiteral("National Elevation Dataset (NED) 1 Arc Second (U.S. only)");
const QString ned13 = QStringLiteral("National Elevation Dataset (NED) 1/3 Arc Second (U.S. only)");
const QString ned2003 = QStringLiteral("Topographic Change: NED 2003 DEM (U.S. only)");

} // namespace

class TestRequestSummaryUrl : public QObject {
    Q_OBJECT

private slots:
    void build_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QList<double>>("borders"); // north, south, east, west
        QTest::addColumn<QString>("query");
        const QList<double> colorado { 40.5, 40, -105, -106 };
        const QString prefix = QStringLiteral("PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM&MD=DL&AL=");
        QTest::newRow("srtm 3, six significant digits")
            << srtm3 << QList<double> { 47.5, 47, -121, -122.416667 }
            << prefix + QStringLiteral("47.5,47,-121,-122.417&CS=250&PL=SM905HZ");
        QTest::newRow("srtm 1") << srtm1 << colorado
                                << prefix + QStringLiteral("40.5,40,-105,-106&CS=250&PL=SM305HZ");
        QTest::newRow("ned 1") << ned1 << colorado
                               << prefix + QStringLiteral("40.5,40,-105,-106&CS=250&PL=NED05HZ");
        QTest::newRow("ned 1/3") << ned13 << colorado
                                 << prefix + QStringLiteral("40.5,40,-105,-106&CS=250&PL=ND305HZ");
        QTest::newRow("ned 2003") << ned2003 << colorado
                                  << prefix + QStringLiteral("40.5,40,-105,-106&CS=250&PL=T1305HZ");
        QTest::newRow("name inside a longer text")
            << QStringLiteral("[") + srtm3 + QStringLiteral("]") << colorado
            << prefix + QStringLiteral("40.5,40,-105,-106&CS=250&PL=SM905HZ");
        QTest::newRow("exponent below 1e-4")
            << srtm3 << QList<double> { 0.00001, -0.5, 1234567, 0 }
            << prefix + QStringLiteral("1e-05,-0.5,1.23457e+06,0&CS=250&PL=SM905HZ");
        QTest::newRow("no source") << QStringLiteral("SRTM 2 arc sec") << colorado << QString();
        QTest::newRow("case matters") << srtm3.toUpper() << colorado << QString();
    }

    void build()
    {
        QFETCH(QString, source);
        QFETCH(QList<double>, borders);
        QFETCH(QString, query);
        const QString url = RequestSummaryUrl::build(
            QStringLiteral("host:8080"), source, borders[0], borders[1], borders[2], borders[3]);
        QCOMPARE(url,
            query.isEmpty() ? QString()
                            : QStringLiteral("http://host:8080/Website/distreq/RequestSummary.jsp?") + query);
    }
};

QTEST_GUILESS_MAIN(TestRequestSummaryUrl)
#include "tst_requestsummaryurl.moc"
