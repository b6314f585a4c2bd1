#include "image/PngWriter.h"

#include <QColorSpace>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <png.h>
#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <memory>

namespace {

// Rows of several kinds, so that every filter type wins somewhere: noise,
// horizontal and vertical ramps, smooth hills, runs of one colour.
QImage sampleImage(QImage::Format format, int width, int height)
{
    QRandomGenerator random(width * 1000 + height);
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        QRgb* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int hill = int(120 + 100 * std::sin(x * 0.07) * std::cos(y * 0.05));
            switch (y % 5) {
            case 0:
                line[x] = random.generate();
                break;
            case 1:
                line[x] = qRgba(x * 3, x * 5, 255 - x, 255 - x % 7);
                break;
            case 2:
                line[x] = qRgba(y, y * 2, y * 3, 200);
                break;
            case 3:
                line[x] = qRgba(hill, hill / 2, 255 - hill, hill);
                break;
            default:
                line[x] = x < width / 2 ? 0xFF102030u : 0x80FFFFFFu;
            }
        }
    }
    return image.convertToFormat(format);
}

// The chunk types in file order, one entry for a run of IDAT chunks.
QStringList chunkTypes(const QByteArray& png)
{
    QStringList types;
    for (qsizetype at = 8; at + 8 <= png.size();) {
        const QString type = QString::fromLatin1(png.mid(at + 4, 4));
        if (types.isEmpty() || type != QLatin1String("IDAT") || types.constLast() != type)
            types << type;
        at += 12 + qFromBigEndian<quint32>(png.constData() + at);
    }
    return types;
}

QByteArray readAll(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The pixels as libpng decodes them, non-premultiplied RGBA bytes.
QImage decodedByLibpng(const QByteArray& png)
{
    png_image decoder {};
    decoder.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&decoder, png.constData(), png.size()))
        return {};
    decoder.format = PNG_FORMAT_RGBA;
    QImage image(int(decoder.width), int(decoder.height), QImage::Format_RGBA8888);
    if (!png_image_finish_read(&decoder, nullptr, image.bits(), int(image.bytesPerLine()), nullptr))
        return {};
    return image;
}

// While it lives, no file of this process grows beyond the limit: a write
// past it fails as on a full disk instead of raising a signal.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &previous);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit { bytes, previous.rlim_max };
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &previous); }
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

private:
    rlimit previous {};
};

} // namespace

class TestPngWriter : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> directory;
    QString path(const char* name) const { return directory->filePath(QString::fromLatin1(name)); }

private slots:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        QVERIFY(directory->isValid());
    }

    void roundTrip_data()
    {
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<QSize>("size");
        const std::pair<const char*, QImage::Format> formats[] = {
            { "RGB888", QImage::Format_RGB888 },
            { "RGB32", QImage::Format_RGB32 },
            { "ARGB32", QImage::Format_ARGB32 },
            { "ARGB32 premultiplied", QImage::Format_ARGB32_Premultiplied },
            { "RGBX8888", QImage::Format_RGBX8888 },
            { "RGBA8888", QImage::Format_RGBA8888 },
            { "BGR888", QImage::Format_BGR888 },
            { "Grayscale8", QImage::Format_Grayscale8 },
        };
        const std::pair<const char*, QSize> sizes[] = {
            { "1 x 1", { 1, 1 } },
            { "one row", { 37, 1 } },
            { "one column", { 1, 23 } },
            { "odd width", { 131, 41 } },
            // Tall enough that the filter and level are tried on bands of rows.
            { "tall", { 29, 400 } },
        };
        for (const auto& [formatName, format] : formats)
            for (const auto& [sizeName, size] : sizes)
                QTest::addRow("%s, %s", formatName, sizeName) << format << size;
    }

    // Qt and libpng decode the file to the pixels Qt's own file of the
    // image holds, and it has the same header fields and chunks.
    void roundTrip()
    {
        QFETCH(QImage::Format, format);
        QFETCH(QSize, size);
        const QImage image = sampleImage(format, size.width(), size.height());
        QVERIFY(PngWriter::save(image, path("ours.png"), PngWriter::Content::Picture));
        QVERIFY(image.save(path("qt.png")));

        const QImage qts(path("qt.png"));
        const QImage ours(path("ours.png"));
        QCOMPARE(ours.format(), qts.format());
        QCOMPARE(ours, qts);
        const QByteArray file = readAll(path("ours.png"));
        const QByteArray qtFile = readAll(path("qt.png"));
        // Width, height, bit depth, colour type, compression, filter, interlace.
        QCOMPARE(file.mid(16, 13), qtFile.mid(16, 13));
        QCOMPARE(chunkTypes(file), chunkTypes(qtFile));
        QCOMPARE(decodedByLibpng(file), decodedByLibpng(qtFile));
        QCOMPARE(PngWriter::encode(image, PngWriter::Content::Picture), file);
    }

    // Large enough that the data outweigh the framing.
    void sizeAgainstQt_data()
    {
        QTest::addColumn<PngWriter::Content>("content");
        QTest::addColumn<QImage>("image");
        QImage elevation(1201, 601, QImage::Format_RGB888);
        QImage mask(1201, 601, QImage::Format_RGB888);
        mask.fill(Qt::white);
        for (int y = 0; y < elevation.height(); ++y) {
            for (int x = 0; x < elevation.width(); ++x) {
                const int e = int(256
                    * (1400 + 900 * std::sin(x * 0.0031 * 6) * std::cos(y * 0.0047 * 6)
                        + 150 * std::cos((3 * x - y) * 0.037)));
                elevation.setPixel(x, y, 0xFF000000u | (e & 0xFFFFFF));
                if (std::hypot(x - 300, y - 200) < 40 || std::hypot(x - 900, y - 450) < 15)
                    mask.setPixel(x, y, 0xFF000000u);
            }
        }
        QTest::newRow("elevation") << PngWriter::Content::Elevation << elevation;
        QTest::newRow("mask") << PngWriter::Content::Mask << mask;
        QTest::newRow("picture") << PngWriter::Content::Picture
                                 << sampleImage(QImage::Format_RGB32, 1201, 601);
    }

    void sizeAgainstQt()
    {
        QFETCH(PngWriter::Content, content);
        QFETCH(QImage, image);
        QVERIFY(image.save(path("qt.png")));
        const qint64 qtSize = QFileInfo(path("qt.png")).size();
        const qint64 size = PngWriter::encode(image, content).size();
        qInfo("%lld bytes, Qt %lld", static_cast<long long>(size), static_cast<long long>(qtSize));
        QVERIFY(size <= qtSize * 1.02);
    }

    // GDAL's PNG driver, where it is installed, reads the bands back.
    void readByGdal()
    {
        const QString translate = QStandardPaths::findExecutable(QStringLiteral("gdal_translate"));
        if (translate.isEmpty())
            QSKIP("gdal_translate is not installed");
        const QImage image = sampleImage(QImage::Format_ARGB32, 53, 17);
        QVERIFY(PngWriter::save(image, path("ours.png"), PngWriter::Content::Picture));
        QProcess gdal;
        gdal.start(translate,
            { QStringLiteral("-q"), QStringLiteral("-of"), QStringLiteral("ENVI"), QStringLiteral("-co"),
                QStringLiteral("INTERLEAVE=BIP"), path("ours.png"), path("bands.raw") });
        QVERIFY(gdal.waitForFinished(60000));
        QCOMPARE(gdal.exitCode(), 0);
        // Red, green, blue and alpha of each pixel, rows without padding.
        const QImage rgba = image.convertToFormat(QImage::Format_RGBA8888);
        QCOMPARE(readAll(path("bands.raw")),
            QByteArray(reinterpret_cast<const char*>(rgba.constBits()), rgba.sizeInBytes()));
    }

    // What this writer does not write itself, Qt's writer writes, byte for byte.
    void handedToQt_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<QString>("fileName");
        QImage indexed = sampleImage(QImage::Format_RGB32, 9, 5).convertToFormat(QImage::Format_Indexed8);
        QImage text = sampleImage(QImage::Format_RGB32, 9, 5);
        text.setText(QStringLiteral("Comment"), QStringLiteral("kept"));
        QImage offset = sampleImage(QImage::Format_RGB32, 9, 5);
        offset.setOffset({ 3, 4 });
        QImage colourSpace = sampleImage(QImage::Format_RGB32, 9, 5);
        colourSpace.setColorSpace(QColorSpace::SRgb);
        const QString png = QStringLiteral("file.png");
        QTest::newRow("indexed") << indexed << png;
        QTest::newRow("one bit") << indexed.convertToFormat(QImage::Format_Mono) << png;
        QTest::newRow("16-bit grey") << sampleImage(QImage::Format_Grayscale16, 9, 5) << png;
        QTest::newRow("16-bit colour") << sampleImage(QImage::Format_RGBA64, 9, 5) << png;
        QTest::newRow("text") << text << png;
        QTest::newRow("offset") << offset << png;
        QTest::newRow("colour space") << colourSpace << png;
        QTest::newRow("other suffix")
            << sampleImage(QImage::Format_RGB32, 9, 5) << QStringLiteral("file.bmp");
        QTest::newRow("upper-case suffix")
            << sampleImage(QImage::Format_Indexed8, 9, 5) << QStringLiteral("F.PNG");
    }

    void handedToQt()
    {
        QFETCH(QImage, image);
        QFETCH(QString, fileName);
        QDir(directory->path()).mkdir(QStringLiteral("qt"));
        const QString qtFile = directory->filePath(QStringLiteral("qt/") + fileName);
        QVERIFY(image.save(qtFile));
        QVERIFY(PngWriter::save(image, directory->filePath(fileName), PngWriter::Content::Picture));
        QCOMPARE(readAll(directory->filePath(fileName)), readAll(qtFile));
    }

    void qtWriterOnly()
    {
        const QImage image = sampleImage(QImage::Format_RGB888, 40, 30);
        QVERIFY(image.save(path("qt.png")));
        PngWriter::setQtWriterOnly(true);
        const QByteArray encoded = PngWriter::encode(image, PngWriter::Content::Elevation);
        PngWriter::setQtWriterOnly(false);
        QCOMPARE(encoded, readAll(path("qt.png")));
        QVERIFY(encoded != PngWriter::encode(image, PngWriter::Content::Elevation));
    }

    // The same result as QImage::save, and no file left behind.
    void failures_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QImage>("image");
        const QImage image = sampleImage(QImage::Format_RGB888, 300, 200);
        QTest::newRow("missing folder") << QStringLiteral("missing/file.png") << image;
        QTest::newRow("a folder in its place") << QStringLiteral("folder.png") << image;
        QTest::newRow("null image") << QStringLiteral("null.png") << QImage();
        QTest::newRow("other suffix, null image") << QStringLiteral("null.bmp") << QImage();
    }

    void failures()
    {
        QFETCH(QString, fileName);
        QFETCH(QImage, image);
        QVERIFY(QDir(directory->path()).mkdir(QStringLiteral("folder.png")));
        const QString target = QDir(directory->path()).filePath(fileName);
        QVERIFY(!image.save(target));
        QVERIFY(!PngWriter::save(image, target, PngWriter::Content::Elevation));
        QVERIFY(!QFileInfo(target).isFile());
        QVERIFY(!PngWriter::save(PngWriter::encode(image, PngWriter::Content::Elevation), target));
        QVERIFY(!QFileInfo(target).isFile());
        QCOMPARE(QDir(directory->path()).entryList(QDir::Files), QStringList());
    }

    // A write that fails part-way, as on a full disk (simulated by a limit
    // on the size of the files this process may write): false, as Qt's
    // writer returns, and the earlier file of the name stays whole. (Qt's
    // own writer is left out: it loses a row buffer on such a failure.)
    void failedWriteKeepsEarlierFile_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<bool>("encodedFirst");
        const QImage image = sampleImage(QImage::Format_RGB888, 300, 200);
        QTest::newRow("elevation") << image << false;
        QTest::newRow("encoded before") << image << true;
    }

    void failedWriteKeepsEarlierFile()
    {
        QFETCH(QImage, image);
        QFETCH(bool, encodedFirst);
        const QString target = path("file.png");
        const QImage earlier = sampleImage(QImage::Format_RGB888, 3, 2);
        QVERIFY(PngWriter::save(earlier, target, PngWriter::Content::Elevation));
        const QByteArray earlierFile = readAll(target);
        const QByteArray encoded = PngWriter::encode(image, PngWriter::Content::Elevation);
        QVERIFY(encoded.size() > 4096);
        bool saved = true;
        {
            const FileSizeLimit limit(4096);
            saved = encodedFirst ? PngWriter::save(encoded, target)
                                 : PngWriter::save(image, target, PngWriter::Content::Elevation);
        }
        QVERIFY(!saved);
        QCOMPARE(readAll(target), earlierFile);
        QCOMPARE(QDir(directory->path()).entryList(QDir::Files), QStringList { "file.png" });
    }
};

QTEST_MAIN(TestPngWriter)
#include "tst_pngwriter.moc"
