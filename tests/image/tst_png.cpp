#include "image/PngReader.h"
#include "image/PngWriter.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <sys/resource.h>
#include <zlib.h>

#include <cmath>
#include <csignal>
#include <memory>

namespace {

// Noise, ramps, hills and flat runs, so that every row filter occurs.
QImage sampleImage(QImage::Format format, int width, int height)
{
    QRandomGenerator random(width * 31 + height);
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int hill = int(120 + 100 * std::sin(x * 0.07) * std::cos(y * 0.05));
            const QRgb kinds[]
                = { random.generate(), qRgba(x * 3, x * 5, 255 - x, 255 - x % 7), qRgba(y, y * 2, y * 3, 200),
                      qRgba(hill, hill / 2, 255 - hill, hill), x < width / 2 ? 0xFF102030u : 0x80FFFFFFu };
            image.setPixel(x, y, kinds[y % 5]);
        }
    }
    return image.convertToFormat(format);
}

QByteArray readAll(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The chunk types in file order, one entry for a run of IDAT chunks.
QByteArrayList chunkTypes(const QByteArray& png)
{
    QByteArrayList types;
    for (qsizetype at = 8; at + 8 <= png.size(); at += 12 + qFromBigEndian<quint32>(png.constData() + at))
        if (types.isEmpty() || png.mid(at + 4, 4) != "IDAT" || types.constLast() != "IDAT")
            types << png.mid(at + 4, 4);
    return types;
}

QByteArray chunk(const QByteArray& typeAndData)
{
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(quint32(typeAndData.size() - 4), out.data());
    const quint32 crc
        = quint32(crc32(0, reinterpret_cast<const Bytef*>(typeAndData.constData()), typeAndData.size()));
    out += typeAndData + "1234";
    qToBigEndian<quint32>(crc, out.data() + out.size() - 4);
    return out;
}

// A 2 × 2 RGB file made by hand from filtered rows, each led by its filter type.
QByteArray rgbFile(const QByteArray& filteredRows)
{
    // qCompress puts the length in front of the zlib stream.
    return "\x89PNG\r\n\x1a\n" + chunk(QByteArray::fromHex("49484452 00000002 00000002 0802000000"))
        + chunk("IDAT" + qCompress(filteredRows).mid(4)) + chunk("IEND");
}

// Reads the file both ways: the same null-ness, format, resolution and pixels.
void compareReaders(const QString& fileName)
{
    const QImage qts(fileName);
    const QImage ours = PngReader::read(fileName);
    QCOMPARE(ours.format(), qts.format());
    QCOMPARE(ours.dotsPerMeterX(), qts.dotsPerMeterX());
    QCOMPARE(ours.dotsPerMeterY(), qts.dotsPerMeterY());
    QCOMPARE(ours, qts);
}

} // namespace

class TestPng : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> directory;
    QString path(const QString& name) const { return directory->filePath(name); }

private slots:
    void init() { directory = std::make_unique<QTemporaryDir>(); }

    void roundTrip_data()
    {
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<QSize>("size");
        const std::pair<const char*, QImage::Format> formats[] = { { "RGB888", QImage::Format_RGB888 },
            { "RGB32", QImage::Format_RGB32 }, { "ARGB32", QImage::Format_ARGB32 },
            { "ARGB32 premultiplied", QImage::Format_ARGB32_Premultiplied },
            { "RGBX8888", QImage::Format_RGBX8888 }, { "RGBA8888", QImage::Format_RGBA8888 },
            { "BGR888", QImage::Format_BGR888 }, { "Grayscale8", QImage::Format_Grayscale8 },
            { "indexed, Qt's", QImage::Format_Indexed8 }, { "16-bit, Qt's", QImage::Format_RGBA64 } };
        // Tall enough that the filter and level are tried on bands of rows.
        const QSize sizes[] = { { 1, 1 }, { 37, 1 }, { 1, 23 }, { 131, 41 }, { 29, 400 } };
        for (const auto& [name, format] : formats)
            for (const QSize& size : sizes)
                QTest::addRow("%s, %d x %d", name, size.width(), size.height()) << format << size;
    }

    // The file has the header fields and chunks of Qt's own file of the
    // image, and Qt decodes both to the same pixels; the reader reads both
    // as Qt does. Qt's writer writes the formats this one leaves to it.
    void roundTrip()
    {
        QFETCH(QImage::Format, format);
        QFETCH(QSize, size);
        const QImage image = sampleImage(format, size.width(), size.height());
        QVERIFY(PngWriter::save(image, path("ours.png"), PngWriter::Content::Picture));
        QVERIFY(image.save(path("qt.png")));
        const QByteArray file = readAll(path("ours.png"));
        // Width, height, bit depth, colour type, compression, filter, interlace.
        QCOMPARE(file.mid(16, 13), readAll(path("qt.png")).mid(16, 13));
        QCOMPARE(chunkTypes(file), chunkTypes(readAll(path("qt.png"))));
        QCOMPARE(QImage(path("ours.png")), QImage(path("qt.png")));
        QCOMPARE(PngWriter::encode(image, PngWriter::Content::Picture), file);
        compareReaders(path("ours.png"));
        compareReaders(path("qt.png"));
    }

    // Damaged or unusual files decode as Qt's reader decodes them: to
    // nothing, or to what it makes of them.
    void damaged_data()
    {
        QTest::addColumn<QByteArray>("file");
        const QByteArray png
            = PngWriter::encode(sampleImage(QImage::Format_RGB888, 64, 48), PngWriter::Content::Elevation);
        QByteArray badCrc = png;
        badCrc[png.indexOf("IDAT") + 9] = char(badCrc[png.indexOf("IDAT") + 9] ^ 0x10);
        // Two rows of two pixels, filter types Sub and Paeth.
        const QByteArray rows = QByteArray::fromHex("01 0a141e 010203 04 050505 010101");
        QTest::newRow("made by hand") << rgbFile(rows);
        QTest::newRow("unknown filter type") << rgbFile(QByteArray(rows).replace(7, 1, "\5"));
        QTest::newRow("rows missing") << rgbFile(rows.left(7));
        QTest::newRow("rows too many") << rgbFile(rows + rows.left(7));
        QTest::newRow("no end") << png.left(png.indexOf("IEND") - 4);
        QTest::newRow("cut in the data") << png.left(png.indexOf("IDAT") + 40);
        QTest::newRow("bad checksum") << badCrc;
        QTest::newRow("not an image") << QByteArray("plain text, not a picture");
    }

    void damaged()
    {
        QFETCH(QByteArray, file);
        QFile out(path("file.png"));
        QVERIFY(out.open(QIODevice::WriteOnly) && out.write(file) == file.size());
        out.close();
        compareReaders(path("file.png"));
    }

    // What QImage::save returns, and no file left behind; after a write
    // that fails part-way, as on a full disk (a limit on the size of the
    // files this process may write), the earlier file of the name stays whole.
    void failures()
    {
        const QImage image = sampleImage(QImage::Format_RGB888, 300, 200);
        QVERIFY(QDir(directory->path()).mkdir("folder.png"));
        for (const char* name : { "missing/file.png", "folder.png" }) {
            QVERIFY(!PngWriter::save(image, path(name), PngWriter::Content::Elevation));
            QVERIFY(!PngWriter::save(PngWriter::encode(image, PngWriter::Content::Mask), path(name)));
        }
        QVERIFY(!PngWriter::save(QImage(), path("null.png"), PngWriter::Content::Picture));
        QVERIFY(PngWriter::encode(QImage(), PngWriter::Content::Picture).isEmpty());
        QVERIFY(PngWriter::save(
            sampleImage(QImage::Format_RGB888, 3, 2), path("file.png"), PngWriter::Content::Elevation));
        const QByteArray earlier = readAll(path("file.png"));
        rlimit previous {};
        getrlimit(RLIMIT_FSIZE, &previous);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit { 4096, previous.rlim_max };
        setrlimit(RLIMIT_FSIZE, &limit);
        const bool saved = PngWriter::save(image, path("file.png"), PngWriter::Content::Elevation);
        setrlimit(RLIMIT_FSIZE, &previous);
        QVERIFY(!saved);
        QCOMPARE(readAll(path("file.png")), earlier);
        QCOMPARE(QDir(directory->path()).entryList(QDir::Files), QStringList { "file.png" });
    }
};

QTEST_MAIN(TestPng)
#include "tst_png.moc"
