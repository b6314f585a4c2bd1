// Times the NODATA filling on two generated elevation images, measures how
// long the event loop goes unserved meanwhile, and checks the result against
// the plain single-threaded filling.

#include "bench/Terrain.h"
#include "bil/DustRemoval.h"
#include "bil/ElevationImage.h"
#include "tests/support/EventGapMeter.h"
#include "tests/support/StraightforwardFill.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr QRgb black = 0xFF000000u;
constexpr QRgb white = 0xFFFFFFFFu;

struct Scene {
    QImage image;
    QImage mask;
    qint64 holePixels = 0;

    Scene(int width, int height)
        : image(width, height, QImage::Format_RGB32)
        , mask(width, height, QImage::Format_RGB32)
    {
        // Stored in steps of 1/256 m.
        for (int y = 0; y < height; ++y) {
            QRgb* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < width; ++x)
                line[x] = ElevationImage::encode(int(std::lround(terrainMetres(x, y) * 256.0)));
        }
        mask.fill(white);
    }

    void punch(int x, int y)
    {
        if (mask.pixel(x, y) == black)
            return;
        mask.setPixel(x, y, black);
        image.setPixel(x, y, ElevationImage::encode(ElevationImage::minimumValue));
        ++holePixels;
    }

    void punchRectangle(const QRect& rect)
    {
        for (int y = rect.top(); y <= rect.bottom(); ++y)
            for (int x = rect.left(); x <= rect.right(); ++x)
                punch(x, y);
    }

    // A ragged hole: a random walk inside box until it has covered pixels.
    void punchWalk(const QRect& box, qint64 pixels, QRandomGenerator& random)
    {
        const qint64 target = holePixels + pixels;
        QPoint walker = box.center();
        const QPoint steps[] = { { 1, 0 }, { -1, 0 }, { 0, 1 }, { 0, -1 } };
        while (holePixels < target) {
            punch(walker.x(), walker.y());
            const QPoint next = walker + steps[random.bounded(4)];
            if (box.contains(next))
                walker = next;
        }
    }
};

// Processor seconds of all threads so far: the work done, whatever else
// the machine is busy with.
double processorSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec
        + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void run(const char* name, const Scene& scene, EventGapMeter& meter)
{
    DustRemoval removal;
    removal.elevationFile = true;
    removal.image = scene.image.copy();
    removal.mask = scene.mask;
    QElapsedTimer clock;
    meter.restart();
    double processorStart = processorSeconds();
    clock.start();
    removal.removeDust(nullptr);
    const double fillSeconds = clock.nsecsElapsed() / 1e9;
    const double fillProcessorSeconds = processorSeconds() - processorStart;
    const qint64 longestGap = meter.longestMs();
    const qint64 passes = meter.passCount();

    QImage expected = scene.image.copy();
    processorStart = processorSeconds();
    clock.restart();
    StraightforwardFill::fill(expected, scene.mask, true);
    const double referenceSeconds = clock.nsecsElapsed() / 1e9;
    const double referenceProcessorSeconds = processorSeconds() - processorStart;

    qint64 differing = 0;
    int largestDifference = 0;
    for (int y = 0; y < expected.height(); ++y) {
        for (int x = 0; x < expected.width(); ++x) {
            const int difference = std::abs(
                DustRemoval::elevation(removal.image, x, y) - DustRemoval::elevation(expected, x, y));
            differing += difference != 0;
            largestDifference = std::max(largestDifference, difference);
        }
    }

    std::printf("%s: %dx%d, %lld NODATA pixels\n", name, scene.image.width(), scene.image.height(),
        static_cast<long long>(scene.holePixels));
    std::printf("  fill %.3f s (%.3f s of processor time), longest stretch without event processing %lld ms"
                " (%lld passes)\n",
        fillSeconds, fillProcessorSeconds, static_cast<long long>(longestGap),
        static_cast<long long>(passes));
    std::printf("  plain single-threaded fill %.3f s (%.3f s of processor time), %.1f times slower\n",
        referenceSeconds, referenceProcessorSeconds, referenceSeconds / fillSeconds);
    std::printf("  differing pixels %lld, largest difference %d\n", static_cast<long long>(differing),
        largestDifference);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    EventGapMeter meter;

    Scene bigVoid(2000, 2000);
    bigVoid.punchRectangle(QRect(500, 480, 999, 1001));
    run("one void of 999,999 pixels", bigVoid, meter);

    // 40 voids from 100 to 20,000 pixels on an 8 x 5 grid, alternately
    // rectangles and ragged random walks.
    Scene manyVoids(7201, 3601);
    QRandomGenerator random(20261122);
    for (int i = 0; i < 40; ++i) {
        const qint64 pixels = 100 + i * (20000 - 100) / 39;
        const QRect cell(100 + (i % 8) * 880, 100 + (i / 8) * 690, 600, 480);
        if (i % 2 == 0) {
            const int side = int(std::sqrt(double(pixels)));
            manyVoids.punchRectangle(
                QRect(cell.center() - QPoint(side / 2, side / 2), QSize(side, int(pixels / side))));
        } else {
            manyVoids.punchWalk(cell, pixels, random);
        }
    }
    run("40 voids of 100 to 20,000 pixels", manyVoids, meter);
    return 0;
}
