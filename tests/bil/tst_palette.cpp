#include "bil/Palette.h"

#include <QColor>
#include <QSettings>
#include <QTest>

#include <limits>

class TestPalette : public QObject {
    Q_OBJECT

    static void storePaletteNumber(const QVariant& number)
    {
        QSettings settings(QStringLiteral("Brenholt"), QStringLiteral("relka"));
        number.isValid() ? settings.setValue(QStringLiteral("paletteNumber"), number)
                         : settings.remove(QStringLiteral("paletteNumber"));
    }

private slots:
    void cleanup() { storePaletteNumber({}); }

    void indexFor_data()
    {
        QTest::addColumn<double>("metres");
        QTest::addColumn<int>("minimum");
        QTest::addColumn<int>("maximum");
        QTest::addColumn<int>("index");
        QTest::newRow("minimum") << 0.0 << 0 << 8000 << 0;
        QTest::newRow("middle") << 4000.0 << 0 << 8000 << 480;
        QTest::newRow("just below maximum") << 7999.0 << 0 << 8000 << 959;
        QTest::newRow("maximum") << 8000.0 << 0 << 8000 << 959;
        QTest::newRow("far beyond int range") << 1e300 << 0 << 8000 << 959;
        QTest::newRow("below minimum") << -10.0 << 0 << 8000 << 0;
        QTest::newRow("NaN") << std::numeric_limits<double>::quiet_NaN() << 0 << 8000 << 0;
        QTest::newRow("shifted range") << 1000.0 << 500 << 1460 << 500;
        QTest::newRow("equal bounds") << 200.0 << 100 << 100 << 0;
        QTest::newRow("reversed bounds") << 2000.0 << 8000 << 0 << 720;
    }

    void indexFor()
    {
        QFETCH(double, metres);
        QFETCH(int, minimum);
        QFETCH(int, maximum);
        // Stored values are metres times 256, and so are the bounds.
        QTEST(Palette::indexFor(metres * 256, minimum * 256.0, maximum * 256.0, 960), "index");
    }

    // The pictures themselves are checked against their generator by the palette_pictures test.
    void choiceBySetting_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QColor>("first");
        QTest::addColumn<QColor>("last");
        QTest::newRow("nothing stored") << QVariant() << QColor(200, 215, 133) << QColor(0, 80, 250);
        QTest::newRow("2") << QVariant(2) << QColor(182, 186, 162) << QColor(87, 112, 163);
        QTest::newRow("3 falls back to 1") << QVariant(3) << QColor(200, 215, 133) << QColor(0, 80, 250);
    }

    void choiceBySetting()
    {
        QFETCH(QVariant, stored);
        storePaletteNumber(stored);
        const Palette palette;
        QCOMPARE(palette.size(), 960);
        QTEST(QColor::fromRgba(palette.color(0)), "first");
        QTEST(QColor::fromRgba(palette.color(959)), "last");
        QCOMPARE(qAlpha(palette.color(959)), 255);
    }
};

QTEST_GUILESS_MAIN(TestPalette)
#include "tst_palette.moc"
