#include "ElevationConversation.h"
#include "SimProcess.h"

#include <QRegularExpression>
#include <QTest>
#include <QtEndian>

// The elevation extract service as the program meets it: waiting pages,
// the request summary page and its form, the redirect and the archive.
class TestSimElevation : public QObject
{
    Q_OBJECT

private slots:
    void conversationEndsInImportableArchive_data();
    void conversationEndsInImportableArchive();
    void waitingPagesFollowOption();
    void neighbouringAreasAgreeOnSharedEdge();
    void terrainHasRealisticRangeAndSomeVoids();
    void malformedRequestsAreRefused_data();
    void malformedRequestsAreRefused();

private:
    QNetworkAccessManager network;
};

using namespace ElevationConversation;

namespace {

const QString passageStart = QStringLiteral("If an error occurs during download");
const QString passageEnd = QStringLiteral("deleted from our server.");

// Header keywords in lower case with their values, for "KEY value" and
// "KEY: value" lines alike.
QMap<QString, QString> headerFields(const QByteArray& header)
{
    QMap<QString, QString> fields;
    static const QRegularExpression line(
        QStringLiteral("^\\s*([A-Za-z_]+)\\s*[:\\s]\\s*(\\S+)\\s*$"), QRegularExpression::MultilineOption);
    for (const QRegularExpressionMatch& match : line.globalMatch(QString::fromLatin1(header)))
        fields.insert(match.captured(1).toLower(), match.captured(2));
    return fields;
}

// Summary page, form submission, redirect, archive; for a simulator that
// serves no waiting pages.
QMap<QString, QByteArray> archiveOf(
    QNetworkAccessManager& network, const SimProcess& sim, const QString& product, const QString& area)
{
    const Fetched summary = fetch(network, sim.url(summaryPath(product, area)));
    const Fetched redirect = fetch(network, QUrl(submissionUrl(summary.body), QUrl::TolerantMode));
    return unzipEntries(fetch(network, QUrl(QString::fromLatin1(redirect.header("Location")))).body);
}

}

void TestSimElevation::conversationEndsInImportableArchive_data()
{
    QTest::addColumn<QString>("product");
    QTest::addColumn<QString>("area");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("rasterSuffix");
    QTest::addColumn<int>("sampleBytes");
    QTest::addColumn<QString>("rowsKeyword");

    QTest::newRow("SRTM 3") << "SM905HZ"
                            << "47.5,47,-121,-122" << 601 << 1201 << ".bil" << 2 << "nrows";
    QTest::newRow("SRTM 1") << "SM305HZ"
                            << "40.25,40,-105.25,-105.5" << 901 << 901 << ".bil" << 2 << "nrows";
    QTest::newRow("NED 1") << "NED05HZ"
                           << "38.95,38.85,-77,-77.1" << 361 << 361 << ".flt" << 4 << "nrows";
    QTest::newRow("NED 1/3") << "ND305HZ"
                             << "38.9,38.85,-77,-77.1" << 541 << 1081 << ".flt" << 4 << "nrows";
    QTest::newRow("NED 2003") << "T1305HZ"
                              << "45.4,45.3,-121.6,-121.8" << 361 << 721 << ".bil" << 4 << "rows";
}

void TestSimElevation::conversationEndsInImportableArchive()
{
    QFETCH(QString, product);
    QFETCH(QString, area);
    QFETCH(int, rows);
    QFETCH(int, columns);
    QFETCH(QString, rasterSuffix);
    QFETCH(int, sampleBytes);
    QFETCH(QString, rowsKeyword);
    SimProcess sim({ QStringLiteral("--refresh-seconds"), QStringLiteral("1") });
    QVERIFY(sim.isRunning());

    const QUrl first = sim.url(summaryPath(product, area));
    const Fetched waiting = fetch(network, first);
    QCOMPARE(waiting.status, 200);
    QCOMPARE(waiting.header("Refresh"), "1; URL=" + first.toEncoded());
    const qsizetype passage = waiting.body.indexOf(passageStart.toLatin1());
    QVERIFY(passage >= 0);
    QVERIFY(waiting.body.indexOf(passageEnd.toLatin1(), passage) > passage);

    const Fetched summary = fetch(network, first);
    QCOMPARE(summary.status, 200);
    QVERIFY(summary.header("Refresh").isEmpty());
    QVERIFY(summary.body.contains("The National Map Seamless Request Summary Page"));
    QCOMPARE(summary.body.count("VALUE=\"Download\""), 1);
    QCOMPARE(summary.body.count("<FORM"), 1);
    QCOMPARE(summary.body.count("</FORM"), 1);
    const QString submission = submissionUrl(summary.body);
    QVERIFY2(submission.startsWith(sim.url(QStringLiteral("/")).toString()), qPrintable(submission));
    QVERIFY2(
        submission.contains(QStringLiteral("?&PL=%1&AL=%2&").arg(product, area)), qPrintable(submission));

    const Fetched redirect = fetch(network, QUrl(submission, QUrl::TolerantMode));
    QCOMPARE(redirect.status, 302);
    const QByteArray location = redirect.header("Location");
    QVERIFY2(location.toLower().endsWith(".zip"), location.constData());

    const Fetched archive = fetch(network, QUrl(QString::fromLatin1(location)));
    QCOMPARE(archive.status, 200);
    QCOMPARE(archive.header("Content-Length").toLongLong(), archive.body.size());
    const QMap<QString, QByteArray> entries = unzipEntries(archive.body);
    QCOMPARE(entries.size(), 6);
    for (const char* suffix : { ".hdr", ".blw", ".stx", ".prj" })
        QVERIFY2(!entryEndingIn(entries, QLatin1String(suffix)).isEmpty(), suffix);
    QVERIFY(!entryEndingIn(entries, QStringLiteral(".htm")).isEmpty()
        || !entryEndingIn(entries, QStringLiteral(".html")).isEmpty());
    QCOMPARE(entryEndingIn(entries, rasterSuffix).size(), qsizetype(rows) * columns * sampleBytes);

    const QMap<QString, QString> header = headerFields(entryEndingIn(entries, QStringLiteral(".hdr")));
    QCOMPARE(header.value(rowsKeyword).toInt(), rows);
    QVERIFY(header.value(QStringLiteral("ncols")).toInt() == columns
        || header.value(QStringLiteral("columns")).toInt() == columns);
    QVERIFY(header.contains(QStringLiteral("nodata")) || header.contains(QStringLiteral("nodata_value")));
}

void TestSimElevation::waitingPagesFollowOption()
{
    SimProcess sim({ QStringLiteral("--wait-pages"), QStringLiteral("3"), QStringLiteral("--refresh-seconds"),
        QStringLiteral("0") });
    QVERIFY(sim.isRunning());
    const QUrl summary
        = sim.url(summaryPath(QStringLiteral("SM905HZ"), QStringLiteral("41,40.9,-100.9,-101")));
    // A second round for the same area starts again with waiting pages.
    for (int round = 0; round < 2; ++round) {
        for (int page = 0; page < 3; ++page)
            QCOMPARE(fetch(network, summary).header("Refresh"), "0; URL=" + summary.toEncoded());
        const Fetched last = fetch(network, summary);
        QVERIFY(last.header("Refresh").isEmpty());
        QVERIFY(last.body.contains("The National Map Seamless Request Summary Page"));
    }
}

void TestSimElevation::neighbouringAreasAgreeOnSharedEdge()
{
    SimProcess sim({ QStringLiteral("--wait-pages"), QStringLiteral("0") });
    QVERIFY(sim.isRunning());
    const QString product = QStringLiteral("SM305HZ");
    const QByteArray north
        = entryEndingIn(archiveOf(network, sim, product, QStringLiteral("40.1,40,-105.4,-105.5")), ".BIL");
    const QByteArray south
        = entryEndingIn(archiveOf(network, sim, product, QStringLiteral("40,39.9,-105.4,-105.5")), ".BIL");
    const qsizetype rowBytes = 361 * 2;
    QCOMPARE(north.size(), 361 * rowBytes);
    QCOMPARE(south.size(), 361 * rowBytes);
    QCOMPARE(north.right(rowBytes), south.left(rowBytes));
    QVERIFY(north.left(rowBytes) != south.left(rowBytes));
}

void TestSimElevation::terrainHasRealisticRangeAndSomeVoids()
{
    SimProcess sim({ QStringLiteral("--wait-pages"), QStringLiteral("0") });
    QVERIFY(sim.isRunning());
    const QString area = QStringLiteral("40,39,-105,-106");
    const QMap<QString, QByteArray> entries = archiveOf(network, sim, QStringLiteral("SM905HZ"), area);
    const QByteArray raster = entryEndingIn(entries, QStringLiteral(".bil"));
    QCOMPARE(raster.size(), 1201 * 1201 * 2);
    QCOMPARE(
        headerFields(entryEndingIn(entries, QStringLiteral(".hdr"))).value(QStringLiteral("byteorder")), "M");
    qint64 voids = 0;
    qint16 lowest = 32767;
    qint16 highest = -32767;
    for (qsizetype i = 0; i < raster.size(); i += 2) {
        const qint16 sample = qFromBigEndian<qint16>(raster.constData() + i);
        if (sample == -32768) {
            ++voids;
            continue;
        }
        lowest = std::min(lowest, sample);
        highest = std::max(highest, sample);
    }
    QVERIFY2(voids > 0 && voids < raster.size() / 2 / 100, qPrintable(QString::number(voids)));
    QVERIFY2(lowest >= 0 && highest <= 4500 && highest - lowest > 500,
        qPrintable(QStringLiteral("%1 .. %2").arg(lowest).arg(highest)));
    QCOMPARE(archiveOf(network, sim, QStringLiteral("SM905HZ"), area), entries);
}

void TestSimElevation::malformedRequestsAreRefused_data()
{
    QTest::addColumn<QString>("path");

    QTest::newRow("unknown product") << summaryPath(
        QStringLiteral("XX905HZ"), QStringLiteral("41,40,-100,-101"));
    QTest::newRow("three borders") << summaryPath(QStringLiteral("SM905HZ"), QStringLiteral("41,40,-100"));
    QTest::newRow("north below south")
        << summaryPath(QStringLiteral("SM905HZ"), QStringLiteral("40,41,-100,-101"));
    QTest::newRow("too large for 1/3\"")
        << summaryPath(QStringLiteral("ND305HZ"), QStringLiteral("41,40,-100,-102"));
    QTest::newRow("form not from the page")
        << QStringLiteral("/Website/distreq/StartDownload.jsp?&PL=SM905HZ");
}

void TestSimElevation::malformedRequestsAreRefused()
{
    QFETCH(QString, path);
    SimProcess sim;
    QVERIFY(sim.isRunning());
    QCOMPARE(fetch(network, sim.url(path)).status, 400);
}

QTEST_GUILESS_MAIN(TestSimElevation)
#include "tst_simelevation.moc"
