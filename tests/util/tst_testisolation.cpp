#include "tests/support/TestIsolation.h"

#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

// Everywhere a test could write the user's settings or files, or a program it
// starts could read them, is inside the temporary home.
class TestTestIsolation : public QObject {
    Q_OBJECT

private slots:
    void insideTemporaryHome_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("settings store")
            << QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka")).fileName();
        QTest::newRow("system settings")
            << QSettings(QSettings::SystemScope, QStringLiteral("Brenholt"), QStringLiteral("relka"))
                   .fileName();
        QTest::newRow("INI settings")
            << QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Brenholt")).fileName();
        QTest::newRow("standard data location")
            << QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
        QTest::newRow("working directory") << QDir::currentPath();
        QTest::newRow("home") << QDir::homePath();
        QProcess child;
        child.start(QStringLiteral("printenv"), { QStringLiteral("XDG_CONFIG_HOME") });
        child.waitForFinished();
        QTest::newRow("a child's settings") << QString::fromLocal8Bit(child.readAllStandardOutput());
    }

    void insideTemporaryHome()
    {
        QFETCH(QString, path);
        QVERIFY2((path + u'/').startsWith(TestIsolation::home() + u'/'), qPrintable(path));
    }
};

QTEST_GUILESS_MAIN(TestTestIsolation)
#include "tst_testisolation.moc"
