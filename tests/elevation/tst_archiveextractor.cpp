#include "elevation/ArchiveExtractor.h"

#include "app/MessageLog.h"

#include <QDir>
#include <QDirIterator>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <zip.h>

#include <memory>

namespace {

struct Entry {
    QString name;
    QByteArray data;
};

using Entries = QList<Entry>;
// File ending ("bil", "hdr", ...) to the content written under the base name.
using Contents = QMap<QString, QByteArray>;

bool writeZip(const QString& path, const Entries& entries)
{
    zipFile zip = zipOpen(QFile::encodeName(path).constData(), APPEND_STATUS_CREATE);
    if (!zip)
        return false;
    for (const Entry& entry : entries) {
        const zip_fileinfo info {};
        if (zipOpenNewFileInZip(zip, entry.name.toLatin1().constData(), &info, nullptr, 0, nullptr, 0,
                nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION)
                != ZIP_OK
            || zipWriteInFileInZip(zip, entry.data.constData(), unsigned(entry.data.size())) != ZIP_OK
            || zipCloseFileInZip(zip) != ZIP_OK)
            return false;
    }
    return zipClose(zip, nullptr) == ZIP_OK;
}

// Makes the first entry of the archive claim `size` bytes, in its local
// header and in the central directory, as a bomb or a lying archive does.
bool claimSize(const QString& path, quint32 size)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    QByteArray bytes = file.readAll();
    const qsizetype central = bytes.indexOf(QByteArray("PK\x01\x02", 4));
    if (!bytes.startsWith(QByteArray("PK\x03\x04", 4)) || central < 0)
        return false;
    for (const qsizetype at : { qsizetype(22), central + 24 })
        qToLittleEndian(size, bytes.data() + at);
    return file.seek(0) && file.write(bytes) == bytes.size();
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

} // namespace

Q_DECLARE_METATYPE(Entries)
Q_DECLARE_METATYPE(Contents)

class TestArchiveExtractor : public QObject {
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
        QVERIFY(root->isValid());
        work = root->filePath(QStringLiteral("a/b/c"));
        QVERIFY(QDir().mkpath(work));
        // The message log goes to the working directory, "." by default.
        QVERIFY(QDir::setCurrent(work));
        archive = work + "/40.50000N-40.00000S_-106.00000W--105.00000E.zip";
        base = work + "/40.50000N-40.00000S_-106.00000W--105.00000E";
        log.clear();
        MessageLog::setEcho([this](const QString& line) { log << line; });
    }

    void cleanup()
    {
        MessageLog::setEcho({});
        QDir::setCurrent(QDir::tempPath());
    }

    void oneRaster()
    {
        QVERIFY(writeZip(archive,
            { { "srtm1.bil", "raster" }, { "srtm1.hdr", "NROWS 2" }, { "srtm1.blw", "world" },
                { "srtm1.stx", "1 0 9" }, { "srtm1.prj", "projection" }, { "meta1.html", "<html>" } }));
        ArchiveExtractor::extract(archive, base);
        const QStringList expected { "Seamless: unzOpen(" + archive + ") sucessful.",
            "Seamless: unzGoToFirstFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
            "Seamless: szFileName = srtm1.bil, uncompressed_size = 6.",
            "Seamless: unzOpenCurrentFile() successful for srtm1.bil.",
            "Seamless: unzGoToNextFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
            "Seamless: szFileName = srtm1.hdr, uncompressed_size = 7.",
            "Seamless: unzOpenCurrentFile() successful for srtm1.hdr.",
            "Seamless: unzGoToNextFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
            "Seamless: szFileName = srtm1.blw, uncompressed_size = 5.",
            "Seamless: unzOpenCurrentFile() successful for srtm1.blw.",
            "Seamless: unzGoToNextFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
            "Seamless: szFileName = srtm1.stx, uncompressed_size = 5.",
            "Seamless: unzOpenCurrentFile() successful for srtm1.stx.",
            "Seamless: unzGoToNextFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
            "Seamless: szFileName = srtm1.prj, uncompressed_size = 10.",
            "Seamless: unzGoToNextFile() successful.", "Seamless: unzGetCurrentFileInfo() successful.",
            "Seamless: szFileName = meta1.html, uncompressed_size = 6.",
            "Seamless: unzGoToNextFile() failed.", "Seamless: Unzip finished." };
        QCOMPARE(log, expected);
        QFile header(base + ".hdr");
        QVERIFY(header.open(QIODevice::ReadOnly));
        QCOMPARE(header.readAll(), QByteArray("NROWS 2"));
        QVERIFY(ArchiveExtractor::rasterExtracted(base));
    }

    void targets_data()
    {
        QTest::addColumn<Entries>("entries");
        QTest::addColumn<Contents>("contents");
        QTest::newRow("upper-case names")
            << Entries { { "DATA.BIL", "b" }, { "DATA.HDR", "h" }, { "DATA.BLW", "w" }, { "DATA.STX", "s" } }
            << Contents { { "bil", "b" }, { "hdr", "h" }, { "blw", "w" }, { "stx", "s" } };
        QTest::newRow("float raster") << Entries { { "ned.FLT", "f" }, { "ned.hdr", "h" } }
                                      << Contents { { "bil", "f" }, { "hdr", "h" } };
        QTest::newRow("entries in folders") << Entries { { "folder/", "" }, { "folder/sub/a.bil", "b" },
            { "folder/a.hdr", "h" } } << Contents { { "bil", "b" }, { "hdr", "h" } };
        QTest::newRow("later entry replaces earlier") << Entries { { "first.bil", "first" }, { "a.hdr", "h" },
            { "second.flt", "second" } } << Contents { { "bil", "second" }, { "hdr", "h" } };
        QTest::newRow("shorter replacement leaves nothing of the longer")
            << Entries { { "a.hdr", "a long first header" }, { "b.hdr", "short" } }
            << Contents { { "hdr", "short" } };
        QTest::newRow("names climbing out") << Entries { { "../../etc/passwd", "p" }, { "../x.hdr", "h" },
            { "/abs/y.stx", "s" }, { "../../../../z.bil", "b" } }
                                            << Contents { { "bil", "b" }, { "hdr", "h" }, { "stx", "s" } };
        QTest::newRow("only the last four characters count")
            << Entries { { "a.bil.aux.xml", "x" }, { "abil", "x" }, { "a.hdr.txt", "x" }, { "a.hd", "x" } }
            << Contents {};
        QTest::newRow("no header") << Entries { { "a.bil", "b" }, { "a.prj", "p" } }
                                   << Contents { { "bil", "b" } };
    }

    void targets()
    {
        QFETCH(Entries, entries);
        QFETCH(Contents, contents);
        QVERIFY(writeZip(archive, entries));
        ArchiveExtractor::extract(archive, base);

        QStringList expectedFiles { "a/b/c/messages.txt", "a/b/c/" + QFileInfo(archive).fileName() };
        for (auto it = contents.cbegin(); it != contents.cend(); ++it) {
            const QString name = base + '.' + it.key();
            expectedFiles << QDir(root->path()).relativeFilePath(name);
            QFile file(name);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(name));
            QCOMPARE(file.readAll(), it.value());
        }
        expectedFiles.sort();
        QCOMPARE(filesBelow(root->path()), expectedFiles);
        QCOMPARE(
            ArchiveExtractor::rasterExtracted(base), contents.contains("bil") && contents.contains("hdr"));
        QCOMPARE(log.last(), "Seamless: Unzip finished.");
        QCOMPARE(log.at(log.size() - 2), "Seamless: unzGoToNextFile() failed.");
    }

    // Several chunks of the copy buffer.
    void largeEntry()
    {
        QByteArray data(250001, Qt::Uninitialized);
        QRandomGenerator random(3);
        for (char& c : data)
            c = char(random.bounded(256));
        QVERIFY(writeZip(archive, { { "big.bil", data } }));
        ArchiveExtractor::extract(archive, base);
        QVERIFY(log.contains("Seamless: szFileName = big.bil, uncompressed_size = 250001."));
        QFile file(base + ".bil");
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll() == data);
    }

    void entryClaimingGigabytesStopsTheUnzip()
    {
        QVERIFY(writeZip(archive, { { "a.bil", QByteArray(1000, 'b') }, { "a.hdr", "h" } }));
        QVERIFY(claimSize(archive, 0xF0000000));
        ArchiveExtractor::extract(archive, base);

        QCOMPARE(log.value(3), "Seamless: szFileName = a.bil, uncompressed_size = 4026531840.");
        QVERIFY2(log.value(4).startsWith("Seamless error: a.bil claims 4026531840 bytes, more than the "),
            qPrintable(log.value(4)));
        QVERIFY(log.value(4).endsWith(" bytes it may take; unzip stopped."));
        QCOMPARE(log.mid(5), QStringList { "Seamless: Unzip finished." });
        QVERIFY(!QFile::exists(base + ".bil"));
        QVERIFY(!QFile::exists(base + ".hdr"));
    }

    // The caller's check runs between chunks (the window repaints, Cancel
    // is seen); a stop leaves no partial target and no more log lines.
    void stopBetweenChunks()
    {
        QByteArray data(1000000, Qt::Uninitialized);
        QRandomGenerator(5).fillRange(reinterpret_cast<quint32*>(data.data()), data.size() / 4);
        QVERIFY(writeZip(archive, { { "a.hdr", "h" }, { "a.bil", data } }));
        int calls = 0;
        QVERIFY(!ArchiveExtractor::extract(archive, base, [&] { return ++calls < 4; }));

        QCOMPARE(calls, 4);
        QCOMPARE(log.last(), "Seamless: unzOpenCurrentFile() successful for a.bil.");
        QVERIFY(QFile::exists(base + ".hdr"));
        QStringList expected { QFileInfo(archive).fileName(), QFileInfo(base).fileName() + ".hdr",
            "messages.txt" };
        expected.sort();
        QCOMPARE(filesBelow(work), expected);
    }

    void unwritableTargetIsSkipped()
    {
        QVERIFY(QDir().mkdir(base + ".hdr"));
        QVERIFY(writeZip(archive, { { "a.hdr", "h" }, { "a.bil", "b" } }));
        ArchiveExtractor::extract(archive, base);
        QCOMPARE(log.mid(2, 4),
            QStringList({ "Seamless: unzGetCurrentFileInfo() successful.",
                "Seamless: szFileName = a.hdr, uncompressed_size = 1.",
                "Seamless error: could not write " + base + ".hdr.",
                "Seamless: unzGoToNextFile() successful." }));
        QVERIFY(QFile::exists(base + ".bil"));
    }

    void unreadableArchive_data()
    {
        QTest::addColumn<double>("keep"); // share of the file kept; below 0: no file at all
        QTest::newRow("missing") << -1.0;
        QTest::newRow("zero length") << 0.0;
        QTest::newRow("truncated") << 0.7;
    }

    void unreadableArchive()
    {
        QFETCH(double, keep);
        QVERIFY(
            writeZip(archive, { { "a.bil", QByteArray(2000, 'b') }, { "a.hdr", QByteArray(2000, 'h') } }));
        if (keep < 0)
            QVERIFY(QFile::remove(archive));
        else
            QVERIFY(QFile::resize(archive, qint64(QFileInfo(archive).size() * keep)));
        ArchiveExtractor::extract(archive, base);
        QCOMPARE(log,
            QStringList(
                { "Seamless: unzOpen(" + archive + ") failed.", "Seamless: unzGoToFirstFile() failed.",
                    "Seamless: Could not close " + archive + ".", "Seamless: Unzip finished." }));
        QVERIFY(!QFile::exists(base + ".bil"));
        QVERIFY(!ArchiveExtractor::rasterExtracted(base));
    }

    void removeOldSideFiles()
    {
        const QStringList removed { "old.bil", "OLD.HDR", "x.stx", "x.Blw", "x.prj", "x.bil.aux.xml", "x.aux",
            "meta1.html", "METADATA.XML", "metadata.txt" };
        const QStringList kept { "old.zip", "old.png", "messages.txt", "metadata.html", "meta1.htm",
            ".hidden.bil", "bil", "x.bil.txt" };
        for (const QString& name : removed + kept) {
            QFile file(work + '/' + name);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QVERIFY(QDir().mkdir(work + "/folder.bil"));
        for (const QString& name : removed)
            QTest::ignoreMessage(QtDebugMsg, qPrintable("Removing file " + work + '/' + name));
        ArchiveExtractor::removeOldSideFiles(work);
        QStringList left = QDir(work).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        QStringList expected = kept + QStringList { "folder.bil" };
        left.sort();
        expected.sort();
        QCOMPARE(left, expected);
    }
};

QTEST_GUILESS_MAIN(TestArchiveExtractor)
#include "tst_archiveextractor.moc"
