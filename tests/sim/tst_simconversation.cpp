#include "ElevationConversation.h"
#include "SimProcess.h"

#include "http/HttpClient.h"

#include <QBuffer>
#include <QImage>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace ElevationConversation;

// The program's own HTTP client walks the whole elevation conversation with
// the simulator, as a download run does: waiting pages, the summary page,
// the form submission, the redirect and the archive; the archive is then
// imported by relka-import.
class TestSimConversation : public QObject
{
    Q_OBJECT

private slots:
    void clientWalksToImportableArchive_data();
    void clientWalksToImportableArchive();
};

namespace {

struct Answer
{
    bool finished = false;
    bool error = true;
    HttpResponseHeader header;
    QByteArray body;
};

// One GET the way the program issues it: a host setting, then the path
// with its query, the body streamed into a buffer.
Answer get(HttpClient& client, const QUrl& url)
{
    Answer answer;
    QBuffer body(&answer.body);
    body.open(QIODevice::WriteOnly);
    const QMetaObject::Connection onHeader = QObject::connect(&client, &HttpClient::responseHeaderReceived,
        [&answer](const HttpResponseHeader& header) { answer.header = header; });
    QSignalSpy finished(&client, &HttpClient::requestFinished);
    client.setHost(url.host(), url.port(80));
    QString path = url.path(QUrl::FullyEncoded);
    if (url.hasQuery())
        path += QLatin1Char('?') + url.query(QUrl::FullyEncoded);
    const int id = client.get(path, &body);
    for (int waited = 0; waited < 300 && !answer.finished; ++waited) {
        if (finished.isEmpty() && !finished.wait(1000))
            continue;
        const QList<QVariant> report = finished.takeFirst();
        if (report.at(0).toInt() == id) {
            answer.finished = true;
            answer.error = report.at(1).toBool();
        }
    }
    QObject::disconnect(onHeader);
    return answer;
}

// The address a "Refresh" value leads to: everything after " URL=".
QUrl refreshTarget(const QString& refresh)
{
    const qsizetype at = refresh.indexOf(QStringLiteral(" URL="), 0, Qt::CaseInsensitive);
    return at < 0 ? QUrl() : QUrl(refresh.mid(at + 5));
}

}

void TestSimConversation::clientWalksToImportableArchive_data()
{
    QTest::addColumn<QString>("product");
    QTest::addColumn<QString>("area");
    QTest::addColumn<QString>("rasterSuffix");
    // The archive's raster has one sample more than the area's steps each
    // way; the import keeps the steps.
    QTest::addColumn<QSize>("size");

    QTest::newRow("SRTM 3") << "SM905HZ"
                            << "47.5,47.25,-121.5,-122" << ".bil" << QSize(600, 300);
    QTest::newRow("SRTM 1") << "SM305HZ"
                            << "40.1,40,-105.3,-105.5" << ".bil" << QSize(720, 360);
    QTest::newRow("NED 1") << "NED05HZ"
                           << "38.95,38.85,-77,-77.1" << ".flt" << QSize(360, 360);
    QTest::newRow("NED 1/3") << "ND305HZ"
                             << "38.9,38.875,-77.05,-77.1" << ".flt" << QSize(540, 270);
    QTest::newRow("NED 2003") << "T1305HZ"
                              << "45.4,45.3,-121.6,-121.8" << ".bil" << QSize(720, 360);
}

void TestSimConversation::clientWalksToImportableArchive()
{
    QFETCH(QString, product);
    QFETCH(QString, area);
    QFETCH(QString, rasterSuffix);
    QFETCH(QSize, size);
    SimProcess sim({ QStringLiteral("--wait-pages"), QStringLiteral("2"), QStringLiteral("--refresh-seconds"),
        QStringLiteral("0") });
    QVERIFY(sim.isRunning());
    HttpClient client;

    QUrl next = sim.url(summaryPath(product, area));
    QStringList steps;
    Answer answer;
    for (int step = 0; step < 8; ++step) {
        answer = get(client, next);
        QVERIFY2(answer.finished && !answer.error, qPrintable(next.toString()));
        if (next.path().endsWith(QStringLiteral(".zip"), Qt::CaseInsensitive))
            break;
        if (answer.header.hasKey(QStringLiteral("refresh"))) {
            steps << QStringLiteral("refresh");
            next = refreshTarget(answer.header.value(QStringLiteral("refresh")));
        } else if (answer.header.hasKey(QStringLiteral("location"))) {
            steps << QStringLiteral("location %1").arg(answer.header.statusCode());
            next = QUrl(answer.header.value(QStringLiteral("location")));
        } else {
            QVERIFY(answer.body.contains("The National Map Seamless Request Summary Page"));
            steps << QStringLiteral("form");
            next = QUrl(submissionUrl(answer.body), QUrl::TolerantMode);
        }
        QVERIFY2(next.isValid(), qPrintable(steps.join(QLatin1Char(','))));
    }
    QCOMPARE(steps, QStringList({ "refresh", "refresh", "form", "location 302" }));
    QCOMPARE(answer.header.statusCode(), 200);

    const QMap<QString, QByteArray> entries = unzipEntries(answer.body);
    QTemporaryDir directory;
    const QString base = directory.filePath(QStringLiteral("area"));
    const QList<QPair<QString, QString>> unpacked { { rasterSuffix, QStringLiteral(".bil") },
        { QStringLiteral(".hdr"), QStringLiteral(".hdr") }, { QStringLiteral(".blw"), QStringLiteral(".blw") },
        { QStringLiteral(".stx"), QStringLiteral(".stx") } };
    for (const auto& [entrySuffix, fileSuffix] : unpacked) {
        QFile file(base + fileSuffix);
        QVERIFY(file.open(QIODevice::WriteOnly));
        const QByteArray content = entryEndingIn(entries, entrySuffix);
        QVERIFY2(!content.isEmpty(), qPrintable(entrySuffix));
        file.write(content);
    }

    QProcess import;
    import.setWorkingDirectory(directory.path());
    import.start(QStringLiteral(RELKA_BINARY_DIR "/bil/relka-import"), { base });
    QVERIFY(import.waitForFinished(120000));
    QVERIFY2(import.exitCode() == 0, import.readAllStandardError().constData());
    for (const char* result : { "-el-corr.png", "-el-col.png" })
        QCOMPARE(QImage(base + QLatin1String(result)).size(), size);
}

QTEST_GUILESS_MAIN(TestSimConversation)
#include "tst_simconversation.moc"
