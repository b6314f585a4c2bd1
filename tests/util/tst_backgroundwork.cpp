#include "tests/support/EventGapMeter.h"
#include "util/BackgroundWork.h"

#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>

// A blocked caller would leave the event loop unserved for as long as the work.
class TestBackgroundWork : public QObject {
    Q_OBJECT

    EventGapMeter meter;

private slots:
    void init() { meter.restart(); }

    void runReturnsResultWhileEventsFlow()
    {
        QThread* const caller = QThread::currentThread();
        const std::unique_ptr<int> result = BackgroundWork::run([caller] {
            QThread::msleep(500);
            return std::make_unique<int>(QThread::currentThread() != caller ? 42 : 0);
        });
        QCOMPARE(*result, 42);
        QVERIFY2(meter.longestMs() < 200, qPrintable(QString::number(meter.longestMs())));
    }

    void runOnWorkersWaitsForAll()
    {
        std::atomic<int> done { 0 };
        BackgroundWork::runOnWorkers(3, [&done] {
            QThread::msleep(300);
            ++done;
        });
        QCOMPARE(done.load(), 3);
        QVERIFY2(meter.longestMs() < 200, qPrintable(QString::number(meter.longestMs())));
    }
};

QTEST_GUILESS_MAIN(TestBackgroundWork)
#include "tst_backgroundwork.moc"
