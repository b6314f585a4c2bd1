#include "SimProcess.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

// The simulator as the program sees it: the real relka-sim in a child
// process, spoken to over loopback HTTP. Its conversation, archives, tiles
// and fault switches are walked by the run tests; here are the requests it
// refuses and the addresses its geocoder knows.
class TestSimServices : public QObject {
    Q_OBJECT

    QNetworkAccessManager network;
    SimProcess sim;

private slots:
    void initTestCase() { QVERIFY(sim.isRunning()); }

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
        QTest::newRow("address as written") << "/demo.cgi?address=1600 Pennsylvania Avenue, Washington, DC"
                                            << 200 << "<td>38.897700&deg;.*<td>-77.036500&deg;";
        QTest::newRow("case, blanks, pluses, full stops")
            << "/demo.cgi?address=  2+15TH   street N.W. ,washington,  D.C. " << 200
            << "<td>38.889500&deg;.*<td>-77.035300&deg;";
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
};

QTEST_GUILESS_MAIN(TestSimServices)
#include "tst_simservices.moc"
