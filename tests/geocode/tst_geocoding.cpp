#include "RunFixture.h"

#include "app/SettingsStore.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString area1 = QStringLiteral("1° (lon) by 0.5° (lat)");
const QString whiteHouse = QStringLiteral("1600 Pennsylvania Avenue, Washington, DC");
const QString neverIssued = QStringLiteral("geocodeRequestFinished(#, 0) - request never issued. Returning.");

QList<double> borders(const DownloadRun& run)
{
    const auto [north, south, west, east] = run.rectangle();
    return { north, south, west, east };
}

} // namespace

// "Geocode..." against the simulated geocoder.
class TestGeocoding : public QObject {
    Q_OBJECT

private slots:
    void addressCentresTheRectangle_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QList<double>>("expected"); // north, south, west, east; empty: unchanged
        QTest::addColumn<QString>("error");
        const QList<double> centred { 39.1477, 38.6477, -77.5365, -76.5365 };
        const QByteArray encoded = "/demo.cgi?address=1600%20Pennsylvania%20Avenue,%20Washington,%20DC";
        QTest::newRow("spaces encoded") << whiteHouse << encoded << centred << QString();
        QTest::newRow("fragment dropped")
            << whiteHouse + QStringLiteral("#Suite 5") << encoded << centred << QString();
        QTest::newRow("ampersand ends the address")
            << whiteHouse + QStringLiteral("&x=1") << encoded + "&x=1" << centred << QString();
        QTest::newRow("unknown address")
            << QStringLiteral("1 Nowhere Lane") << QByteArray("/demo.cgi?address=1%20Nowhere%20Lane")
            << QList<double>()
            << QStringLiteral("geocode error: Could not find latitude or longitude in the result file.");
    }

    void addressCentresTheRectangle()
    {
        QFETCH(QString, address);
        QFETCH(QByteArray, sent);
        QFETCH(QList<double>, expected);
        QFETCH(QString, error);
        RunFixture run;
        QVERIFY(run.isReady());
        DownloadRun& downloadRun = run.start({ .area = area1 });
        const QList<double> before = borders(downloadRun);
        QSignalSpy answered(&downloadRun, &DownloadRun::geocodeAnswered);
        downloadRun.geocode(address);
        QVERIFY(run.controlsLocked());
        QVERIFY(answered.wait(30000));
        QVERIFY(!run.controlsLocked());
        QCOMPARE(answered.at(0).at(0).toBool(), error.isEmpty());

        QStringList log { QStringLiteral("Geocode: Downloading ") + QString::fromLatin1(sent), neverIssued };
        if (!error.isEmpty())
            log.append(error);
        QCOMPARE(run.log(), log);
        QCOMPARE(run.message(), error);
        QVERIFY(run.simulatorLog().contains("\"GET " + sent + " HTTP/1.1\""));
        const QList<double> after = borders(downloadRun);
        if (expected.isEmpty())
            expected = before;
        for (int i = 0; i < 4; ++i)
            QVERIFY2(qAbs(after[i] - expected[i]) < 1e-9, qPrintable(QString::number(after[i])));

        QFile debugFile(run.workingDirectory() + QStringLiteral("/debugGeocode.txt"));
        QVERIFY(debugFile.open(QIODevice::ReadOnly));
        const QByteArray copy = debugFile.readAll();
        QVERIFY(copy.startsWith("geocodeRequestFinished:\r\n<html>") && copy.endsWith("</html>\r\n\r\n"));
    }

    void cancelWhileQueryRuns()
    {
        RunFixture run({ QStringLiteral("--slow-body"), QStringLiteral("1:/demo.cgi") });
        QVERIFY(run.isReady());
        DownloadRun& downloadRun = run.start({ .area = area1 });
        const QList<double> before = borders(downloadRun);
        downloadRun.geocode(whiteHouse);
        QVERIFY(run.waitForLine(neverIssued));
        QTest::qWait(300);
        downloadRun.cancelDownload();
        QVERIFY(run.isIdle());
        QTest::qWait(300);
        QCOMPARE(run.log().size(), 2);
        QCOMPARE(borders(downloadRun), before);
        QVERIFY(!QFile::exists(run.workingDirectory() + QStringLiteral("/debugGeocode.txt")));
    }
};

QTEST_GUILESS_MAIN(TestGeocoding)
#include "tst_geocoding.moc"
