#include "app/MessageLog.h"
#include "elevation/ArchiveExtractor.h"
#include "elevation/RefreshHeader.h"
#include "elevation/RequestForm.h"
#include "elevation/RequestSummaryUrl.h"
#include "elevation/ServicePage.h"

#include <QDir>
#include <QDirIterator>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <zip.h>

#include <memory>

Q_DECLARE_METATYPE(RequestForm::Outcome)

namespace {

// Entry names and contents, in archive order.
using Entries = QList<std::pair<QString, QByteArray>>;
// File ending ("bil", "hdr", ...) to the content written under the base name.
using Contents = QMap<QString, QByteArray>;

bool writeZip(const QString& path, const Entries& entries)
{
    zipFile zip = zipOpen(QFile::encodeName(path).constData(), APPEND_STATUS_CREATE);
    bool written = zip;
    for (const auto& [name, data] : entries) {
        const zip_fileinfo info {};
        written = written
            && zipOpenNewFileInZip(zip, name.toLatin1().constData(), &info, nullptr, 0, nullptr, 0, nullptr,
                   Z_DEFLATED, Z_DEFAULT_COMPRESSION)
                == ZIP_OK
            && zipWriteInFileInZip(zip, data.constData(), unsigned(data.size())) == ZIP_OK
            && zipCloseFileInZip(zip) == ZIP_OK;
    }
    return zip && zipClose(zip, nullptr) == ZIP_OK && written;
}

QStringList filesBelow(const QString& root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(root).relativeFilePath(it.next());
    files.sort();
    return files;
}

QByteArray fileContents(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "(missing)";
}

} // namespace

Q_DECLARE_METATYPE(Entries)
Q_DECLARE_METATYPE(Contents)

class TestElevationService : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> root;
    // Three levels deep, so that a name climbing out of it stays in root.
    QString work;
    QString archive;
    QString base;
    QStringList log;

private slots:
    void init()
    {
        root = std::make_unique<QTemporaryDir>();
        work = root->filePath(QStringLiteral("a/b/c"));
        QVERIFY(QDir().mkpath(work));
        // The message log goes to the working directory, "." by default.
        QVERIFY(QDir::setCurrent(work));
        archive = work + "/40.50000N-40.00000S_-106.00000W--105.00000E.zip";
        base = work + "/40.50000N-40.00000S_-106.00000W--105.00000E";
        log.clear();
        MessageLog::setEcho([this](const QString& line) { log << line; });
    }

    void refreshHeader_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("undecodable");
        QTest::newRow("seconds and address") << "30; url=http://h/n?a=1" << 30 << "http://h/n?a=1" << false;
        QTest::newRow("address kept untrimmed") << "2; URL= x " << 2 << " x " << false;
        QTest::newRow("no space before URL=") << "30;URL=http://h/" << 30 << QString() << true;
        QTest::newRow("no semicolon, URL= ignored") << "5 URL=http://h/" << 0 << QString() << false;
        QTest::newRow("marker searched in the whole value") << "1 URL=a; x" << 0 << "a; x" << false;
    }

    void refreshHeader()
    {
        QFETCH(QString, value);
        const RefreshHeader refresh = RefreshHeader::parse(value);
        QTEST(refresh.seconds, "seconds");
        QTEST(refresh.url, "url");
        QTEST(refresh.undecodable, "undecodable");
    }

    // Each source's product code; the borders with six significant digits.
    void requestSummaryUrl()
    {
        const std::pair<QString, QString> sources[] = {
            { "SRTM 1 arc sec - Shuttle Radar Topography Mission [Finished] (U.S. only)", "SM305HZ" },
            { "[SRTM 3 arc sec - Shuttle Radar Topography Mission [Finished]]", "SM905HZ" },
            { "National Elevation Dataset (NED) 1 Arc Second (U.S. only)", "NED05HZ" },
            { "National Elevation Dataset (NED) 1/3 Arc Second (U.S. only)", "ND305HZ" },
            { "Topographic Change: NED 2003 DEM (U.S. only)", "T1305HZ" },
        };
        const QString prefix = "http://h:80/Website/distreq/"
                               "RequestSummary.jsp?PR=0&CU=Native&ZX=-1.0&ZY=-1.0&ML=COM&MD=DL&AL=";
        for (const auto& [source, code] : sources)
            QCOMPARE(RequestSummaryUrl::build("h:80", source, 47.5, 1e-5, 1234567, -122.416667),
                prefix + "47.5,1e-05,1.23457e+06,-122.417&CS=250&PL=" + code);
        QCOMPARE(RequestSummaryUrl::build("h:80", sources[0].first.toUpper(), 1, 0, 1, 0), QString());
    }

    void downloadForm_data()
    {
        QTest::addColumn<QByteArray>("page");
        QTest::addColumn<RequestForm::Outcome>("outcome");
        QTest::addColumn<QString>("url");
        const auto url = RequestForm::Outcome::Url;
        QTest::newRow("fields in order, nothing encoded") << QByteArray(
            "<P>x</P><FORM METHOD=\"GET\" ACTION=\"T\">\n<INPUT TYPE=\"hidden\" NAME=\"a\" VALUE=\"1\">"
            "<INPUT NAME=\"b\" VALUE=\"x y\"/><INPUT NAME=\"btn\" VALUE=\"Download\"></FORM>")
                                                          << url << "T?&a=1&b=x y&btn=Download";
        QTest::newRow("lower-case words; fields without name or value") << QByteArray(
            "<FORM action=\"T\"><input name=\"n\" value=\"v\"><INPUT NAME=\"a\"><INPUT VALUE=\"1\">"
            "<SELECT NAME=\"s\" VALUE=\"2\"></FORM>") << url << "T?&n=v";
        // An unclosed value runs to the end of its piece, which ends at "<" or "/>".
        QTest::newRow("value without closing quote") << QByteArray(
            "<FORM ACTION=\"T\"><INPUT NAME=\"a\" VALUE=\"1 /><INPUT NAME=\"b\" VALUE=\"2 <INPUT "
            "NAME=\"c\" VALUE=\"3\"></FORM>") << url << "T?&a=1 &b=2 &c=3";
        QTest::newRow("no form end") << QByteArray("<FORM ACTION=\"T\">") << RequestForm::Outcome::Malformed
                                     << QString();
        QTest::newRow("lower-case form tag")
            << QByteArray("<form ACTION=\"T\"></form>") << RequestForm::Outcome::Malformed << QString();
        QTest::newRow("action without closing quote")
            << QByteArray("<FORM ACTION=\"T></FORM>") << RequestForm::Outcome::NoTarget << QString();
    }

    void downloadForm()
    {
        QFETCH(QByteArray, page);
        const RequestForm::Result form = RequestForm::downloadUrl(page);
        QTEST(form.outcome, "outcome");
        QTEST(form.url, "url");
    }

    void servicePage()
    {
        QCOMPARE(
            ServicePage::downloadButtons("<INPUT value=\"Download\">"), ServicePage::DownloadButtons::None);
        QCOMPARE(ServicePage::downloadButtons("<FORM><INPUT VALUE=\"Download\"></FORM> VALUE=\"Download\""),
            ServicePage::DownloadButtons::Several);
        QCOMPARE(
            ServicePage::withoutErrorPassage("a If an error occurs during download, retry. Files are deleted "
                                             "from our server. b"),
            "a  b");
        QCOMPARE(ServicePage::richText(QByteArray("caf\xe9\0tail", 9)),
            "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.0//EN\" "
            "\"http://www.w3.org/TR/REC-html40/strict.dtd\">caf\u00e9");
        QVERIFY(
            !ServicePage::isRequestSummary("<TITLE>The National Map Seamless request summary page</TITLE>"));
    }

    void extractionLog()
    {
        QVERIFY(writeZip(archive, { { "srtm1.bil", "raster" }, { "meta1.html", "<html>" } }));
        QVERIFY(ArchiveExtractor::extract(archive, base));
        QCOMPARE(log,
            QStringList({ "Seamless: unzOpen(" + archive + ") sucessful.",
                "Seamless: unzGoToFirstFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
                "Seamless: szFileName = srtm1.bil, uncompressed_size = 6.",
                "Seamless: unzOpenCurrentFile() successful for srtm1.bil.",
                "Seamless: unzGoToNextFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
                "Seamless: szFileName = meta1.html, uncompressed_size = 6.",
                "Seamless: unzGoToNextFile() failed.", "Seamless: Unzip finished." }));
    }

    void extractedFiles_data()
    {
        QTest::addColumn<Entries>("entries");
        QTest::addColumn<Contents>("contents");
        QTest::newRow("upper-case names, a shorter replacement")
            << Entries { { "a.hdr", "a long first header" }, { "DATA.BIL", "b" }, { "DATA.HDR", "h" },
                   { "DATA.BLW", "w" }, { "DATA.STX", "s" } }
            << Contents { { "bil", "b" }, { "hdr", "h" }, { "blw", "w" }, { "stx", "s" } };
        QTest::newRow("float raster in a folder, replacing an earlier one") << Entries {
            { "first.bil", "first" }, { "folder/", "" }, { "folder/sub/ned.FLT", "f" }, { "a.hdr", "h" }
        } << Contents { { "bil", "f" }, { "hdr", "h" } };
        QTest::newRow("names climbing out") << Entries { { "../../etc/passwd", "p" }, { "../x.hdr", "h" },
            { "/abs/y.stx", "s" }, { "../../../../z.bil", "b" }, { "../../e.prj", "p" } }
                                            << Contents { { "bil", "b" }, { "hdr", "h" }, { "stx", "s" } };
        QTest::newRow("only the last four characters count")
            << Entries { { "a.bil.aux.xml", "x" }, { "abil", "x" }, { "a.hdr.txt", "x" }, { "a.hd", "x" } }
            << Contents {};
    }

    void extractedFiles()
    {
        QFETCH(Entries, entries);
        QFETCH(Contents, contents);
        QVERIFY(writeZip(archive, entries));
        ArchiveExtractor::extract(archive, base);
        QStringList expectedFiles { "a/b/c/messages.txt", "a/b/c/" + QFileInfo(archive).fileName() };
        for (auto it = contents.cbegin(); it != contents.cend(); ++it) {
            expectedFiles << QDir(root->path()).relativeFilePath(base + '.' + it.key());
            QCOMPARE(fileContents(base + '.' + it.key()), it.value());
        }
        expectedFiles.sort();
        QCOMPARE(filesBelow(root->path()), expectedFiles);
        QCOMPARE(
            ArchiveExtractor::rasterExtracted(base), contents.contains("bil") && contents.contains("hdr"));
        QCOMPARE(log.last(), "Seamless: Unzip finished.");
    }

    // The caller's check runs between chunks of the copy buffer; a stop
    // leaves no partial target and no more log lines.
    void stopBetweenChunks()
    {
        QByteArray data(1000000, Qt::Uninitialized);
        QRandomGenerator(5).fillRange(reinterpret_cast<quint32*>(data.data()), data.size() / 4);
        QVERIFY(writeZip(archive, { { "a.hdr", "h" }, { "a.bil", data } }));
        int calls = 0;
        QVERIFY(!ArchiveExtractor::extract(archive, base, [&] { return ++calls < 4; }));
        QCOMPARE(calls, 4);
        QCOMPARE(log.last(), "Seamless: unzOpenCurrentFile() successful for a.bil.");
        QCOMPARE(filesBelow(work),
            QStringList(
                { QFileInfo(base).fileName() + ".hdr", QFileInfo(archive).fileName(), "messages.txt" }));
        QVERIFY(ArchiveExtractor::extract(archive, base));
        QVERIFY(fileContents(base + ".bil") == data);
    }

    // An entry claiming more than it may take, in its local header and in
    // the central directory, as a bomb or a lying archive does.
    void entryClaimingGigabytesStopsTheUnzip()
    {
        QVERIFY(writeZip(archive, { { "a.bil", QByteArray(1000, 'b') }, { "a.hdr", "h" } }));
        QByteArray bytes = fileContents(archive);
        for (const qsizetype at : { qsizetype(22), bytes.indexOf(QByteArray("PK\x01\x02", 4)) + 24 })
            qToLittleEndian(quint32(0xF0000000), bytes.data() + at);
        QFile file(archive);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        ArchiveExtractor::extract(archive, base);
        QCOMPARE(log.value(3), "Seamless: szFileName = a.bil, uncompressed_size = 4026531840.");
        QVERIFY2(log.value(4).startsWith("Seamless error: a.bil claims 4026531840 bytes, more than the "),
            qPrintable(log.value(4)));
        QVERIFY(log.value(4).endsWith(" bytes it may take; unzip stopped."));
        QCOMPARE(log.mid(5), QStringList { "Seamless: Unzip finished." });
        QVERIFY(!QFile::exists(base + ".bil"));
    }

    void removeOldSideFiles()
    {
        const QStringList removed { "old.bil", "OLD.HDR", "x.stx", "x.Blw", "x.prj", "x.bil.aux.xml", "x.aux",
            "meta1.html", "METADATA.XML", "metadata.txt" };
        const QStringList kept { ".hidden.bil", "bil", "folder.bil", "messages.txt", "meta1.htm",
            "metadata.html", "old.png", "old.zip", "x.bil.txt" };
        for (const QString& name : removed + kept)
            QVERIFY(name == "folder.bil" ? QDir(work).mkdir(name)
                                         : QFile(work + '/' + name).open(QIODevice::WriteOnly));
        for (const QString& name : removed)
            QTest::ignoreMessage(QtDebugMsg, qPrintable("Removing file " + work + '/' + name));
        ArchiveExtractor::removeOldSideFiles(work);
        QCOMPARE(
            QDir(work).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name), kept);
    }
};

QTEST_GUILESS_MAIN(TestElevationService)
#include "tst_elevationservice.moc"
