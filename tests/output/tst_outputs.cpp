#include "SimProcess.h"
#include "bil/ElevationImage.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <gdal.h>

#include <cmath>
#include <vector>

namespace {

// A 31 x 21 raster of 16-bit samples at 0.001° from 105° W, 40.02° N; the
// import keeps 30 x 20 of them.
constexpr int columns = 31;
constexpr int rows = 21;
// Metres in 0.001° along the parallel and the meridian of 40.01° N on WGS 84.
constexpr double stepEast = 85.38;
constexpr double stepNorth = 111.03;

QByteArray contents(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

// relka-import --outputs all on small rasters: every file checked against
// the corrected elevation image.
class TestOutputs : public QObject {
    Q_OBJECT

private slots:
    void outputs_data()
    {
        QTest::addColumn<double>("eastRise"); // metres per column eastwards
        QTest::addColumn<double>("southRise"); // metres per row southwards
        QTest::addColumn<int>("ripple"); // metres of an uneven pattern on top
        QTest::addColumn<QString>("engine");
        QTest::addColumn<QSize>("heightmapSize");
        QTest::newRow("falling east, native") << -20.0 << 0.0 << 0 << "native" << QSize(30, 20);
        QTest::newRow("falling north, unreal") << 0.0 << 20.0 << 0 << "unreal" << QSize(127, 127);
        // The sample -32768 without a NODATA value is the image's void marker.
        QTest::newRow("uneven with a void, unity") << 10.0 << -10.0 << 4 << "unity" << QSize(33, 33);
    }

    void outputs()
    {
        QFETCH(double, eastRise);
        QFETCH(double, southRise);
        QFETCH(int, ripple);
        QFETCH(QString, engine);
        QFETCH(QSize, heightmapSize);
        QTemporaryDir directory;
        const QString base = directory.filePath(QStringLiteral("r"));
        QByteArray samples(columns * rows * 2, '\0');
        for (int i = 0; i < columns * rows; ++i) {
            const int c = i % columns;
            const int r = i / columns;
            const bool isVoid = ripple > 0 && c == 25 && r == 15;
            qToLittleEndian<qint16>(
                isVoid ? -32768 : 2000 + eastRise * c + southRise * r + ripple * (c * r % 5),
                samples.data() + 2 * i);
        }
        QFile data(base + ".bil");
        QFile header(base + ".hdr");
        QVERIFY(data.open(QIODevice::WriteOnly) && data.write(samples) == samples.size());
        QVERIFY(header.open(QIODevice::WriteOnly)
            && header.write(
                   "NROWS 21\nNCOLS 31\nNBITS 16\nULXMAP -105\nULYMAP 40.02\nXDIM 0.001\nYDIM 0.001\n")
                > 0);
        data.close();
        header.close();
        QProcess import;
        import.setWorkingDirectory(directory.path());
        import.start(RELKA_BINARY_DIR "/bil/relka-import", { base, "--outputs", "all", "--engine", engine });
        QVERIFY(import.waitForFinished(-1));
        QCOMPARE(import.exitCode(), 0);
        const QImage corrected(base + "-el-corr.png");
        const auto z
            = [&corrected](int x, int y) { return ElevationImage::decode(corrected.pixel(x, y)) / 256.0; };
        const int width = corrected.width();
        const int height = corrected.height();

        // The GeoTIFF holds the image's values, its geometry and the void.
        GDALAllRegister();
        GDALDatasetH tiff = GDALOpen(QFile::encodeName(base + "-el.tif").constData(), GA_ReadOnly);
        QVERIFY(tiff);
        double transform[6];
        QCOMPARE(GDALGetGeoTransform(tiff, transform), CE_None);
        // The world file names the centre of the upper-left pixel.
        const QList<QByteArray> world = contents(base + "-el-corr.pgw").split('\n');
        const double expectedTransform[] = { -105.0005, 0.001, 0, 40.0205, 0, -0.001 };
        const double expectedWorld[] = { transform[1], 0, 0, transform[5], transform[0] + transform[1] / 2,
            transform[3] + transform[5] / 2 };
        for (int i = 0; i < 6; ++i) {
            QCOMPARE(transform[i] + 1000, expectedTransform[i] + 1000);
            QCOMPARE(world.value(i).toDouble() + 1000, expectedWorld[i] + 1000);
        }
        QVERIFY(contents(base + "-el-corr.prj").startsWith("GEOGCS[\"GCS_WGS_1984\""));
        GDALRasterBandH band = GDALGetRasterBand(tiff, 1);
        int hasNodata = 0;
        QCOMPARE(GDALGetRasterNoDataValue(band, &hasNodata), -32768.0);
        QVERIFY(hasNodata);
        std::vector<float> values(width * height);
        QCOMPARE(
            GDALRasterIO(band, GF_Read, 0, 0, width, height, values.data(), width, height, GDT_Float32, 0, 0),
            CE_None);
        GDALClose(tiff);
        double low = 1e9;
        double high = -1e9;
        for (int i = 0; i < width * height; ++i) {
            QCOMPARE(values[i], float(z(i % width, i / width)));
            low = values[i] == -32768 ? low : std::min(low, double(values[i]));
            high = std::max(high, double(values[i]));
        }

        // The heightmap within half a step at its corners (everywhere at
        // the grid's size), the same samples in the raw file, the sidecar.
        const QJsonObject sidecar = QJsonDocument::fromJson(contents(base + "-height16.json")).object();
        QCOMPARE(sidecar["minimum_m"].toDouble(), low);
        QCOMPARE(sidecar["maximum_m"].toDouble(), high);
        QCOMPARE(sidecar["engine"].toString(), engine);
        QVERIFY(
            std::abs(sidecar["metres_per_pixel_x"].toDouble() * heightmapSize.width() - 30 * stepEast) < 0.3);
        QVERIFY(std::abs(sidecar["metres_per_pixel_y"].toDouble() * heightmapSize.height() - 20 * stepNorth)
            < 0.3);
        if (engine == "unreal")
            QCOMPARE(sidecar["unreal_scale_cm"].toArray().at(2).toDouble(), (high - low) * 100 / 512);
        const QImage heightmap(base + "-height16.png");
        const QByteArray raw = contents(base + "-height16.r16");
        QCOMPARE(heightmap.size(), heightmapSize);
        QCOMPARE(raw.size(), heightmapSize.width() * heightmapSize.height() * 2);
        for (int y = 0; y < heightmap.height(); ++y) {
            const quint16* row = reinterpret_cast<const quint16*>(heightmap.constScanLine(y));
            for (int x = 0; x < heightmap.width(); ++x) {
                QCOMPARE(
                    qFromLittleEndian<quint16>(raw.constData() + 2 * (y * heightmap.width() + x)), row[x]);
                const bool corner
                    = (x == 0 || x == heightmap.width() - 1) && (y == 0 || y == heightmap.height() - 1);
                if (corner || heightmapSize == corrected.size()) {
                    const int gridX = x * (width - 1) / std::max(heightmap.width() - 1, 1);
                    const int gridY = y * (height - 1) / std::max(heightmap.height() - 1, 1);
                    QVERIFY(std::abs(row[x] - (z(gridX, gridY) - low) / (high - low) * 65535) <= 0.5);
                }
            }
        }

        // Hillshade and normal map from Horn's slopes, computed here.
        const int x = 10;
        const int y = 10;
        const double east = ((z(x + 1, y - 1) + 2 * z(x + 1, y) + z(x + 1, y + 1))
                                - (z(x - 1, y - 1) + 2 * z(x - 1, y) + z(x - 1, y + 1)))
            / (8 * stepEast);
        const double north = ((z(x - 1, y - 1) + 2 * z(x, y - 1) + z(x + 1, y - 1))
                                 - (z(x - 1, y + 1) + 2 * z(x, y + 1) + z(x + 1, y + 1)))
            / (8 * stepNorth);
        const double length = std::sqrt(1 + east * east + north * north);
        // Towards the sun at azimuth 315°, altitude 45°: east, north, up.
        const double sun[] = { -0.5, 0.5, M_SQRT1_2 };
        const double lit = 255 * (sun[2] - east * sun[0] - north * sun[1]) / length;
        QVERIFY(std::abs(qGray(QImage(base + "-hillshade.png").pixel(x, y)) - lit) <= 1);
        const QColor normal = QImage(base + "-normal.png").pixelColor(x, y);
        const double unit[]
            = { normal.red() / 127.5 - 1, normal.green() / 127.5 - 1, normal.blue() / 127.5 - 1 };
        QVERIFY(std::abs(unit[0] + east / length) < 0.01);
        QVERIFY(std::abs(unit[1] + north / length) < 0.01);
        QVERIFY(std::abs(unit[2] - 1 / length) < 0.01);
    }

    // A run writes them after the merge, in the archive's coordinate system
    // (NAD 83 for NED), and places the texture in Web Mercator.
    void run()
    {
        SimProcess simulator;
        QVERIFY(simulator.isRunning());
        QTemporaryDir directory;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : { "RELKA_ELEVATION_SERVER", "RELKA_TILE_SERVER", "RELKA_GEOCODER" })
            environment.insert(name, simulator.url({}).authority());
        QProcess run;
        run.setProcessEnvironment(environment);
        run.start(RELKA_BINARY_DIR "/run/relka-run",
            { "--north", "40.25", "--west", "-106", "--area", "0.25", "--source", "ned1", "--workdir",
                directory.path(), "--outputs", "worldfiles" });
        QVERIFY(run.waitForFinished(-1));
        QCOMPARE(run.exitCode(), 0);
        const QString base = directory.filePath("40.25000N-40.12500S_-106.00000W--105.75000E");
        const QString log = QString::fromLocal8Bit(run.readAllStandardOutput());
        const qsizetype written = log.indexOf("Output: " + base + ".pgw written.");
        QVERIFY(written >= 0 && written < log.indexOf("********* SUCCESS *********"));
        QVERIFY(contents(base + "-el-corr.prj").contains("North_American_1983"));
        QVERIFY(contents(base + ".prj").contains("Mercator_Auxiliary_Sphere"));
        // The tiles' zoom 15: 2^23 pixels around the equator.
        QCOMPARE(contents(base + ".pgw").split('\n').value(0).toDouble(), 2 * M_PI * 6378137 / (1 << 23));
    }
};

QTEST_GUILESS_MAIN(TestOutputs)
#include "tst_outputs.moc"
