#include "SimProcess.h"

#include "http/HttpClient.h"

#include <QBuffer>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Answer {
    bool ok = false;
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
    const int id
        = client.get(url.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::FullyEncoded), &body);
    const QList<QVariant> done { id, false }, failed { id, true };
    while (!finished.contains(done) && !finished.contains(failed) && finished.wait(30000)) { }
    answer.ok = finished.contains(done);
    QObject::disconnect(onHeader);
    return answer;
}

}

// The program's own HTTP client walks the whole elevation conversation with
// the simulator, as a download run does: waiting pages, the summary page,
// the form submission, the redirect and the archive; the archive is then
// imported by relka-import.
class TestSimConversation : public QObject {
    Q_OBJECT

private slots:
    void clientWalksToImportableArchive_data()
    {
        QTest::addColumn<QString>("product");
        QTest::addColumn<QString>("area");
        QTest::addColumn<QString>("rasterSuffix");
        // The archive's raster has one sample more than the area's steps
        // each way; the import keeps the steps.
        QTest::addColumn<QSize>("size");

        QTest::newRow("SRTM 3") << "SM905HZ"
                                << "47.5,47.25,-121.5,-122"
                                << ".bil" << QSize(600, 300);
        QTest::newRow("SRTM 1") << "SM305HZ"
                                << "40.1,40,-105.3,-105.5"
                                << ".bil" << QSize(720, 360);
        QTest::newRow("NED 1") << "NED05HZ"
                               << "38.95,38.85,-77,-77.1"
                               << ".flt" << QSize(360, 360);
        QTest::newRow("NED 1/3") << "ND305HZ"
                                 << "38.9,38.875,-77.05,-77.1"
                                 << ".flt" << QSize(540, 270);
        QTest::newRow("NED 2003") << "T1305HZ"
                                  << "45.4,45.3,-121.6,-121.8"
                                  << ".bil" << QSize(720, 360);
    }

    void clientWalksToImportableArchive()
    {
        QFETCH(QString, product);
        QFETCH(QString, area);
        QFETCH(QString, rasterSuffix);
        QFETCH(QSize, size);
        SimProcess sim({ QStringLiteral("--wait-pages"), QStringLiteral("2"),
            QStringLiteral("--refresh-seconds"), QStringLiteral("0") });
        QVERIFY(sim.isRunning());
        HttpClient client;

        QUrl next = sim.url(summaryPath(product, area));
        QStringList steps;
        Answer answer;
        while (!next.path().endsWith(QStringLiteral(".zip"), Qt::CaseInsensitive) && steps.size() < 8) {
            answer = get(client, next);
            QVERIFY2(answer.ok, qPrintable(next.toString()));
            if (answer.header.hasKey(QStringLiteral("refresh"))) {
                // A waiting page reloads the same address after the given seconds.
                QCOMPARE(answer.header.value(QStringLiteral("refresh")),
                    "0; URL=" + next.toString(QUrl::FullyEncoded));
                steps << QStringLiteral("refresh");
            } else if (answer.header.hasKey(QStringLiteral("location"))) {
                steps << QStringLiteral("location %1").arg(answer.header.statusCode());
                next = QUrl(answer.header.value(QStringLiteral("location")));
            } else {
                QVERIFY(answer.body.contains("The National Map Seamless Request Summary Page"));
                steps << QStringLiteral("form");
                next = QUrl(submissionUrl(answer.body), QUrl::TolerantMode);
            }
        }
        QCOMPARE(steps, QStringList({ "refresh", "refresh", "form", "location 302" }));
        answer = get(client, next);
        QVERIFY(answer.ok);
        QCOMPARE(answer.header.statusCode(), 200);

        // Raster, .hdr, .blw, .stx, .prj and the metadata page.
        const QMap<QString, QByteArray> entries = unzipEntries(answer.body);
        QCOMPARE(entries.size(), 6);
        QTemporaryDir directory;
        const QString base = directory.filePath(QStringLiteral("area"));
        for (const QString& suffix :
            { rasterSuffix, QStringLiteral(".hdr"), QStringLiteral(".blw"), QStringLiteral(".stx") }) {
            QFile file(base + (suffix == rasterSuffix ? QStringLiteral(".bil") : suffix));
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY2(file.write(entryEndingIn(entries, suffix)) > 0, qPrintable(suffix));
        }

        QProcess import;
        import.setWorkingDirectory(directory.path());
        import.start(QStringLiteral(RELKA_BINARY_DIR "/bil/relka-import"), { base });
        QVERIFY(import.waitForFinished(120000));
        QVERIFY2(import.exitCode() == 0, import.readAllStandardError().constData());
        for (const char* result : { "-el-m.png", "-el-corr.png", "-el-col.png" })
            QCOMPARE(QImage(base + QLatin1String(result)).size(), size);
    }
};

QTEST_GUILESS_MAIN(TestSimConversation)
#include "tst_simconversation.moc"
