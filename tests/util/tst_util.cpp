#include "tests/support/EventGapMeter.h"
#include "tests/support/TestIsolation.h"
#include "util/BackgroundWork.h"

#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>

// The background work helper, and the isolation every test relies on.
class TestUtil : public QObject {
    Q_OBJECT

    EventGapMeter meter;

private slots:
    void init() { meter.restart(); }

    // A blocked caller would leave the event loop unserved for as long as the work.
    void backgroundWorkLetsEventsFlow()
    {
        QThread* const caller = QThread::currentThread();
        const std::unique_ptr<int> result = BackgroundWork::run([caller] {
            QThread::msleep(500);
            return std::make_unique<int>(QThread::currentThread() != caller ? 42 : 0);
        });
        QCOMPARE(*result, 42);
        std::atomic<int> done { 0 };
        BackgroundWork::runOnWorkers(3, [&done] {
            QThread::msleep(300);
            ++done;
        });
        QCOMPARE(done.load(), 3);
        QVERIFY2(meter.longestMs() < 200, qPrintable(QString::number(meter.longestMs())));
    }

    // Everywhere a test could write the user's settings or files, or a
    // program it starts could read them, is inside the temporary home.
    void isolationKeepsToTheTemporaryHome()
    {
        QProcess child;
        child.start(QStringLiteral("printenv"), { QStringLiteral("XDG_CONFIG_HOME") });
        QVERIFY(child.waitForFinished());
        const QStringList paths { QSettings(QStringLiteral("Brenholt"), QStringLiteral("relka")).fileName(),
            QSettings(QSettings::SystemScope, QStringLiteral("Brenholt"), QStringLiteral("relka")).fileName(),
            QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Brenholt")).fileName(),
            QStandardPaths::writableLocation(QStandardPaths::AppDataLocation), QDir::currentPath(),
            QDir::homePath(), QString::fromLocal8Bit(child.readAllStandardOutput()) };
        for (const QString& path : paths)
            QVERIFY2((path + u'/').startsWith(TestIsolation::home() + u'/'), qPrintable(path));
    }
};

QTEST_GUILESS_MAIN(TestUtil)
#include "tst_util.moc"
