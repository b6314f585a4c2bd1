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
        QTest::newRow("at the maximum") << 8000.0 << 0 << 8000 << 959;
        QTest::newRow("far above, beyond any int") << 1e300 << 0 << 8000 << 959;
        QTest::newRow("below a shifted range") << 400.0 << 500 << 1460 << 0;
        QTest::newRow("NaN") << std::numeric_limits<double>::quiet_NaN() << 0 << 8000 << 0;
        QTest::newRow("equal bounds") << 200.0 << 100 << 100 << 0;
        // 959.88, truncated.
        QTest::newRow("reversed bounds, just below the top") << 1.0 << 8000 << 0 << 959;
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
