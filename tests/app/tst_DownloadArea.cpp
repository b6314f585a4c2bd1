#include "app/DownloadArea.h"

#include <QTest>

class TestDownloadArea : public QObject
{
    Q_OBJECT

private slots:
    void size_data();
    void size();
};

void TestDownloadArea::size_data()
{
    QTest::addColumn<QString>("area");
    QTest::addColumn<double>("width");
    QTest::addColumn<double>("height");

    QTest::newRow("2 by 1") << QStringLiteral("2° (lon) by 1° (lat)") << 2.0 << 1.0;
    QTest::newRow("1 by 0.5") << QStringLiteral("1° (lon) by 0.5° (lat)") << 1.0 << 0.5;
    QTest::newRow("0.5 by 0.25") << QStringLiteral("0.5° (lon) by 0.25° (lat)") << 0.5 << 0.25;
    QTest::newRow("0.25 by 0.125") << QStringLiteral("0.25° (lon) by 0.125° (lat)") << 0.25 << 0.125;
    QTest::newRow("empty") << QString() << 0.0 << 0.0;
    QTest::newRow("unknown") << QStringLiteral("3° (lon) by 2° (lat)") << 0.0 << 0.0;
    QTest::newRow("text appended still matches")
        << QStringLiteral("0.5° (lon) by 0.25° (lat) (large)") << 0.5 << 0.25;
    QTest::newRow("leading blank does not match") << QStringLiteral(" 1° (lon) by 0.5° (lat)") << 0.0 << 0.0;
    QTest::newRow("case matters") << QStringLiteral("1° (LON) by 0.5° (LAT)") << 0.0 << 0.0;
    QTest::newRow("letter o instead of degree sign") << QStringLiteral("1o (lon) by 0.5o (lat)") << 0.0 << 0.0;
    QTest::newRow("truncated") << QStringLiteral("2° (lon) by 1°") << 0.0 << 0.0;
}

void TestDownloadArea::size()
{
    QFETCH(QString, area);
    QFETCH(double, width);
    QFETCH(double, height);
    QCOMPARE(DownloadArea::width(area), width);
    QCOMPARE(DownloadArea::height(area), height);
}

QTEST_GUILESS_MAIN(TestDownloadArea)
#include "tst_DownloadArea.moc"
