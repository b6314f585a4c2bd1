#include "bil/ImageProcessor.h"

#include <QTest>

using Points = QList<QPoint>;

namespace {

// '#' black, 'g' grey, 'd' dark grey (10, 10, 10), 'r' red, anything else white.
QImage maskFromRows(const QStringList& rows)
{
    const QHash<QChar, QRgb> colours { { '#', 0xFF000000u }, { 'g', 0xFF808080u }, { 'd', 0xFF0A0A0Au },
        { 'r', 0xFFFF0000u } };
    QImage mask(int(rows.first().size()), int(rows.size()), QImage::Format_RGB32);
    for (int y = 0; y < mask.height(); ++y)
        for (int x = 0; x < mask.width(); ++x)
            mask.setPixel(x, y, colours.value(rows[y][x], 0xFFFFFFFFu));
    return mask;
}

} // namespace

// Random holes are checked against a plain filling in tst_dustremoval.
class TestImageProcessor : public QObject {
    Q_OBJECT

private slots:
    void floodFill_data()
    {
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<Points>("starts"); // filled one after the other; the last fill is checked
        QTest::addColumn<int>("tolerance");
        QTest::addColumn<Points>("spot");
        QTest::addColumn<Points>("border");
        const auto row = [](const char* name, const QStringList& rows, const Points& starts, int tolerance,
                             const Points& spot, const Points& border) {
            QTest::newRow(name) << rows << starts << tolerance << spot << border;
        };
        // Border points come column first, then row.
        row("single pixel in the middle", { "...", ".#.", "..." }, { { 1, 1 } }, 0, { { 1, 1 } },
            { { 0, 1 }, { 1, 0 }, { 1, 2 }, { 2, 1 } });
        row("corner spot", { "##.", "#..", "..." }, { { 0, 0 } }, 0, { { 0, 0 }, { 1, 0 }, { 0, 1 } },
            { { 0, 2 }, { 1, 1 }, { 2, 0 } });
        row("spans in fill order, border once", { "#.#", "###" }, { { 0, 0 } }, 0,
            { { 0, 0 }, { 0, 1 }, { 1, 1 }, { 2, 1 }, { 2, 0 } }, { { 1, 0 } });
        row("whole image, no border", { "##", "##" }, { { 1, 1 } }, 0,
            { { 0, 1 }, { 1, 1 }, { 0, 0 }, { 1, 0 } }, {});
        row("grey start fills nothing", { ".g#" }, { { 1, 0 } }, 0, {}, {});
        row("grey pixel borders", { "g#." }, { { 1, 0 } }, 0, { { 1, 0 } }, { { 0, 0 }, { 2, 0 } });
        row("tolerance widens the match", { ".d#." }, { { 2, 0 } }, 10, { { 1, 0 }, { 2, 0 } },
            { { 0, 0 }, { 3, 0 } });
        row("fill-coloured pixels border only beside a span", { "#r", "r." }, { { 0, 0 } }, 0, { { 0, 0 } },
            { { 1, 0 } });
        row("start outside the image", { "#" }, { { 1, 0 } }, 0, {}, {});
        row("second fill of a spot is empty", { ".#", "##" }, { { 1, 0 }, { 0, 1 } }, 0, {}, {});
        row("diagonal neighbours are separate spots", { "#.", ".#" }, { { 0, 0 }, { 1, 1 } }, 0, { { 1, 1 } },
            { { 0, 1 }, { 1, 0 } });
    }

    void floodFill()
    {
        QFETCH(QStringList, rows);
        QFETCH(Points, starts);
        QFETCH(int, tolerance);
        // A palette image must fill like the 32-bit one.
        for (const QImage::Format format : { QImage::Format_RGB32, QImage::Format_Indexed8 }) {
            ImageProcessor processor(maskFromRows(rows).convertToFormat(format));
            for (const QPoint& start : starts)
                processor.floodFill2(start.x(), start.y(), 0xFF000000u, 0xFFFF0000u, tolerance);
            QTEST(processor.spotPoints, "spot");
            QTEST(processor.borderPoints, "border");
        }
    }
};

QTEST_GUILESS_MAIN(TestImageProcessor)
#include "tst_imageprocessor.moc"
