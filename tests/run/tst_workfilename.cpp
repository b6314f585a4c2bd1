#include "run/WorkFileName.h"

#include <QTest>

class TestWorkFileName : public QObject {
    Q_OBJECT

private slots:
    void baseFileName_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<QList<double>>("borders"); // north, south, west, east
        QTest::addColumn<QString>("name");
        QTest::newRow("two minus signs before east")
            << QStringLiteral(".") << QList<double> { 40.5, 40.375, -105, -104.75 }
            << QStringLiteral("./40.50000N-40.37500S_-105.00000W--104.75000E");
        QTest::newRow("southern hemisphere")
            << QStringLiteral(".") << QList<double> { -33.5, -34, -71, -70 }
            << QStringLiteral("./-33.50000N--34.00000S_-71.00000W--70.00000E");
        QTest::newRow("no plus sign, rounded to five decimals")
            << QStringLiteral("/w") << QList<double> { 1.123456, 0, 179.999999, 180 }
            << QStringLiteral("/w/1.12346N-0.00000S_180.00000W-180.00000E");
        QTest::newRow("empty directory: root") << QString() << QList<double> { 1, 0, 2, 3 }
                                               << QStringLiteral("/1.00000N-0.00000S_2.00000W-3.00000E");
    }

    void baseFileName()
    {
        QFETCH(QString, directory);
        QFETCH(QList<double>, borders);
        QTEST(WorkFileName::baseFileName(directory, borders[0], borders[1], borders[2], borders[3]), "name");
    }
};

QTEST_GUILESS_MAIN(TestWorkFileName)
#include "tst_workfilename.moc"
