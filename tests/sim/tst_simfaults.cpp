#include "ElevationConversation.h"
#include "SimProcess.h"

#include <QImage>
#include <QTest>

// The simulator's fault switches and its command line: each switch makes
// one service misbehave in one way, and nothing else.
class TestSimFaults : public QObject
{
    Q_OBJECT

private slots:
    void statusSwitchHitsOnlyItsPrefix_data();
    void statusSwitchHitsOnlyItsPrefix();
    void droppedConnectionEndsBodyEarly_data();
    void droppedConnectionEndsBodyEarly();
    void slowBodyArrivesWholeAtGivenRate();
    void downloadButtonCount_data();
    void downloadButtonCount();
    void formWithoutAction();
    void archiveWithoutHeader();
    void badCommandLinesAreRefused_data();
    void badCommandLinesAreRefused();
    void helpListsEveryOption();
    void terminationIsClean();

private:
    QNetworkAccessManager network;
};

namespace {

const QString tile = QStringLiteral("/14/4700/6200.png");

QString summaryPath(const QString& area)
{
    return ElevationConversation::summaryPath(QStringLiteral("SM905HZ"), area);
}

QStringList withoutWaiting(QStringList options)
{
    return options << QStringLiteral("--wait-pages") << QStringLiteral("0");
}

}

void TestSimFaults::statusSwitchHitsOnlyItsPrefix_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("failing");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("working");

    QTest::newRow("500 on the summary")
        << "500:/Website/distreq/RequestSummary" << summaryPath("41,40.9,-100.9,-101") << 500 << tile;
    QTest::newRow("403 on zoom 14 tiles") << "403:/14/" << tile << 403 << "/13/2350/3100.png";
    QTest::newRow("503 on the geocoder") << "503:/demo.cgi"
                                         << "/demo.cgi?address=x" << 503 << tile;
}

void TestSimFaults::statusSwitchHitsOnlyItsPrefix()
{
    QFETCH(QString, fault);
    QFETCH(QString, failing);
    QFETCH(int, status);
    QFETCH(QString, working);
    SimProcess sim({ QStringLiteral("--fail-status"), fault });
    QVERIFY(sim.isRunning());
    QCOMPARE(fetch(network, sim.url(failing)).status, status);
    QCOMPARE(fetch(network, sim.url(working)).status, 200);
}

void TestSimFaults::droppedConnectionEndsBodyEarly_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("path");

    QTest::newRow("tile") << "/14/" << tile;
    QTest::newRow("geocoder page, chunked") << "/demo.cgi"
                                            << "/demo.cgi?address=1600 Pennsylvania Avenue, Washington, DC";
    QTest::newRow("summary page") << "/Website/" << summaryPath("41,40.9,-100.9,-101");
}

void TestSimFaults::droppedConnectionEndsBodyEarly()
{
    QFETCH(QString, prefix);
    QFETCH(QString, path);
    SimProcess sim(withoutWaiting({ QStringLiteral("--drop-body"), prefix }));
    QVERIFY(sim.isRunning());
    const Fetched dropped = fetch(network, sim.url(path));
    QVERIFY(dropped.error != QNetworkReply::NoError);
    const Fetched whole = fetch(network, sim.url(QStringLiteral("/13/2350/3100.png")));
    QCOMPARE(whole.error, QNetworkReply::NoError);
}

void TestSimFaults::slowBodyArrivesWholeAtGivenRate()
{
    const int rate = 2000;
    SimProcess sim({ QStringLiteral("--slow-body"), QStringLiteral("%1:/14/").arg(rate) });
    QVERIFY(sim.isRunning());
    const Fetched slow = fetch(network, sim.url(tile));
    QCOMPARE(slow.error, QNetworkReply::NoError);
    QCOMPARE(QImage::fromData(slow.body, "PNG").size(), QSize(256, 256));
    const qint64 expected = slow.body.size() * 1000 / rate;
    QVERIFY2(slow.milliseconds >= expected * 3 / 4 && expected > 100,
        qPrintable(QStringLiteral("%1 bytes in %2 ms").arg(slow.body.size()).arg(slow.milliseconds)));
}

void TestSimFaults::downloadButtonCount_data()
{
    QTest::addColumn<int>("buttons");

    QTest::newRow("none") << 0;
    QTest::newRow("two") << 2;
}

void TestSimFaults::downloadButtonCount()
{
    QFETCH(int, buttons);
    SimProcess sim(withoutWaiting({ QStringLiteral("--download-buttons"), QString::number(buttons) }));
    QVERIFY(sim.isRunning());
    const Fetched page = fetch(network, sim.url(summaryPath(QStringLiteral("41,40.9,-100.9,-101"))));
    QVERIFY(page.body.contains("The National Map Seamless Request Summary Page"));
    QCOMPARE(page.body.count("VALUE=\"Download\""), buttons);
}

void TestSimFaults::formWithoutAction()
{
    SimProcess sim(withoutWaiting({ QStringLiteral("--form-without-action") }));
    QVERIFY(sim.isRunning());
    const Fetched page = fetch(network, sim.url(summaryPath(QStringLiteral("41,40.9,-100.9,-101"))));
    QCOMPARE(page.body.count("<FORM"), 1);
    QVERIFY(!page.body.toUpper().contains("ACTION="));
    QCOMPARE(page.body.count("VALUE=\"Download\""), 1);
}

void TestSimFaults::archiveWithoutHeader()
{
    SimProcess sim(withoutWaiting({ QStringLiteral("--archive-without-hdr") }));
    QVERIFY(sim.isRunning());
    const Fetched page = fetch(network, sim.url(summaryPath(QStringLiteral("41,40.9,-100.9,-101"))));
    const qsizetype action = page.body.indexOf("ACTION=\"") + 8;
    const QByteArray target = page.body.mid(action, page.body.indexOf('"', action) - action);
    const Fetched redirect
        = fetch(network, QUrl(QString::fromLatin1(target + "?&PL=SM905HZ&AL=41,40.9,-100.9,-101")));
    const QMap<QString, QByteArray> entries
        = unzipEntries(fetch(network, QUrl(QString::fromLatin1(redirect.header("Location")))).body);
    QCOMPARE(entries.size(), 5);
    for (const QString& name : entries.keys())
        QVERIFY2(!name.endsWith(QStringLiteral(".hdr"), Qt::CaseInsensitive), qPrintable(name));
}

void TestSimFaults::badCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");

    QTest::newRow("address not on loopback") << QStringList { "--listen", "10.1.2.3:0" };
    QTest::newRow("no port") << QStringList { "--listen", "127.0.0.1" };
    QTest::newRow("status without prefix") << QStringList { "--fail-status", "500" };
    QTest::newRow("rate of zero") << QStringList { "--slow-body", "0:/14/" };
    QTest::newRow("three buttons") << QStringList { "--download-buttons", "3" };
    QTest::newRow("stray argument") << QStringList { "extra" };
}

void TestSimFaults::badCommandLinesAreRefused()
{
    QFETCH(QStringList, arguments);
    QProcess sim;
    sim.start(SimProcess::executable(), arguments);
    QVERIFY(sim.waitForFinished(10000));
    QVERIFY(sim.exitCode() != 0);
    QVERIFY(sim.readAllStandardOutput().isEmpty());
    QVERIFY(!sim.readAllStandardError().isEmpty());
}

void TestSimFaults::helpListsEveryOption()
{
    QProcess sim;
    sim.start(SimProcess::executable(), { QStringLiteral("--help") });
    QVERIFY(sim.waitForFinished(10000));
    QCOMPARE(sim.exitCode(), 0);
    const QByteArray help = sim.readAllStandardOutput();
    for (const char* option :
        { "--listen", "--wait-pages", "--refresh-seconds", "--cache-dir", "--fail-status", "--drop-body",
            "--slow-body", "--download-buttons", "--form-without-action", "--archive-without-hdr" })
        QVERIFY2(help.contains(option), option);
}

void TestSimFaults::terminationIsClean()
{
    SimProcess sim;
    QVERIFY(sim.isRunning());
    QCOMPARE(fetch(network, sim.url(tile)).status, 200);
    sim.process().terminate();
    QVERIFY(sim.process().waitForFinished(10000));
    QCOMPARE(sim.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(sim.process().exitCode(), 0);
    QVERIFY(sim.process().readAllStandardOutput().isEmpty());
}

QTEST_GUILESS_MAIN(TestSimFaults)
#include "tst_simfaults.moc"
