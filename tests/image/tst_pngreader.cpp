#include "image/PngReader.h"
#include "image/PngWriter.h"

#include <QFile>
#include <QImageReader>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <zlib.h>

#include <cmath>
#include <memory>

namespace {

// Noise, ramps, hills and flat runs, so that every row filter occurs.
QImage sampleImage(QImage::Format format, int width, int height)
{
    QRandomGenerator random(width * 31 + height);
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        QRgb* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int hill = int(120 + 100 * std::sin(x * 0.07) * std::cos(y * 0.05));
            const QRgb kinds[] = { random.generate(), qRgba(x * 3, x * 5, 255 - x, 255 - x % 7),
                qRgba(y, y * 2, y * 3, 200), qRgba(hill, hill / 2, 255 - hill, hill), 0x80FFFFFFu };
            line[x] = kinds[y % 5];
        }
    }
    return image.convertToFormat(format);
}

void writeAll(const QString& fileName, const QByteArray& data)
{
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(data), data.size());
}

// The offset of the first chunk of a type.
qsizetype chunkAt(const QByteArray& png, const char* type)
{
    for (qsizetype at = 8; at + 8 <= png.size(); at += 12 + qFromBigEndian<quint32>(png.constData() + at))
        if (png.mid(at + 4, 4) == type)
            return at;
    return -1;
}

QByteArray chunk(const char* type, const QByteArray& data, bool goodCrc = true)
{
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(quint32(data.size()), out.data());
    out += QByteArray(type, 4) + data;
    QByteArray crc(4, '\0');
    const QByteArray covered = out.mid(4);
    qToBigEndian<quint32>(
        goodCrc ? quint32(crc32(0, reinterpret_cast<const Bytef*>(covered.constData()), covered.size())) : 0,
        crc.data());
    return out + crc;
}

// An RGB file made by hand from filtered rows (each led by its filter type),
// with extra chunks before the data.
QByteArray rgbFile(int width, int height, const QByteArray& filteredRows, const QByteArray& extra = {})
{
    QByteArray header(13, '\0');
    qToBigEndian<quint32>(quint32(width), header.data());
    qToBigEndian<quint32>(quint32(height), header.data() + 4);
    header[8] = 8;
    header[9] = 2;
    // qCompress puts the length in front of the zlib stream.
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + chunk("IHDR", header) + extra
        + chunk("IDAT", qCompress(filteredRows).mid(4)) + chunk("IEND", {});
}

} // namespace

class TestPngReader : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> directory;
    QString path(const char* name) const { return directory->filePath(QString::fromLatin1(name)); }

    // Reads the file both ways: the same null-ness, format, resolution and pixels.
    static void compareWithQt(const QString& fileName)
    {
        const QImage qts(fileName);
        const QImage ours = PngReader::read(fileName);
        QCOMPARE(ours.isNull(), qts.isNull());
        QCOMPARE(ours.format(), qts.format());
        QCOMPARE(ours.dotsPerMeterX(), qts.dotsPerMeterX());
        QCOMPARE(ours.dotsPerMeterY(), qts.dotsPerMeterY());
        QCOMPARE(ours, qts);
    }

private slots:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        QVERIFY(directory->isValid());
    }

    void sameAsQt_data()
    {
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("qtWriter");
        const std::pair<const char*, QImage::Format> formats[] = {
            { "RGB888", QImage::Format_RGB888 },
            { "ARGB32", QImage::Format_ARGB32 },
            { "Grayscale8", QImage::Format_Grayscale8 },
            { "indexed", QImage::Format_Indexed8 },
            { "16-bit", QImage::Format_RGBA64 },
        };
        const std::pair<const char*, QSize> sizes[] = {
            { "1 x 1", { 1, 1 } },
            { "one row", { 37, 1 } },
            { "one column", { 1, 23 } },
            { "odd width", { 131, 41 } },
        };
        for (const auto& [formatName, format] : formats) {
            for (const auto& [sizeName, size] : sizes) {
                QTest::addRow("%s, %s, ours", formatName, sizeName) << format << size << false;
                QTest::addRow("%s, %s, Qt's", formatName, sizeName) << format << size << true;
            }
        }
    }

    // Files from either writer, in every kind the program writes and a few
    // it leaves to Qt.
    void sameAsQt()
    {
        QFETCH(QImage::Format, format);
        QFETCH(QSize, size);
        QFETCH(bool, qtWriter);
        const QImage image = sampleImage(format, size.width(), size.height());
        const QString fileName = path("file.png");
        QVERIFY(
            qtWriter ? image.save(fileName) : PngWriter::save(image, fileName, PngWriter::Content::Picture));
        compareWithQt(fileName);
    }

    // Damaged or unusual files decode as Qt's reader decodes them: to
    // nothing, or to what it makes of them.
    void damaged_data()
    {
        QTest::addColumn<QByteArray>("file");
        const QImage image = sampleImage(QImage::Format_RGB888, 64, 48);
        const QByteArray png = PngWriter::encode(image, PngWriter::Content::Elevation);
        const qsizetype idat = chunkAt(png, "IDAT");
        QByteArray badCrc = png;
        badCrc[idat + 8 + 5] = char(badCrc[idat + 8 + 5] ^ 0x10);
        // Two rows of two pixels, filter types Sub and Paeth.
        const QByteArray rows = QByteArray::fromHex("01 0a141e 010203"
                                                    "04 050505 010101");
        QByteArray badFilter = rows;
        badFilter[7] = 5;
        const QByteArray comment = chunk("tEXt", QByteArray("Comment\0kept", 12));
        QTest::newRow("made by hand") << rgbFile(2, 2, rows);
        QTest::newRow("unknown filter type") << rgbFile(2, 2, badFilter);
        QTest::newRow("rows missing") << rgbFile(2, 2, rows.left(7));
        QTest::newRow("rows too many") << rgbFile(2, 2, rows + rows.left(7));
        QTest::newRow("text chunk") << rgbFile(2, 2, rows, comment);
        QTest::newRow("text chunk, bad checksum") << rgbFile(2, 2, rows, chunk("tEXt", "Comment", false));
        QTest::newRow("no end") << png.left(chunkAt(png, "IEND"));
        QTest::newRow("cut in the data") << png.left(idat + 40);
        QTest::newRow("bad checksum") << badCrc;
        QTest::newRow("signature only") << png.left(8);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not an image") << QByteArray("plain text, not a picture");
    }

    void damaged()
    {
        QFETCH(QByteArray, file);
        writeAll(path("file.png"), file);
        compareWithQt(path("file.png"));
    }

    void missingFile() { QVERIFY(PngReader::read(path("none.png")).isNull()); }

    // Beyond the allocation limit neither reader decodes the file.
    void allocationLimit()
    {
        const QImage image = sampleImage(QImage::Format_RGB888, 800, 400);
        QVERIFY(PngWriter::save(image, path("file.png"), PngWriter::Content::Elevation));
        const int limit = QImageReader::allocationLimit();
        QImageReader::setAllocationLimit(1);
        const QImage ours = PngReader::read(path("file.png"));
        const QImage qts(path("file.png"));
        QImageReader::setAllocationLimit(limit);
        QVERIFY(qts.isNull());
        QVERIFY(ours.isNull());
        QCOMPARE(PngReader::read(path("file.png")), image.convertToFormat(QImage::Format_RGB32));
    }
};

QTEST_MAIN(TestPngReader)
#include "tst_pngreader.moc"
