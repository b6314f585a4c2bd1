#include "bil/BackgroundWork.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <memory>

class TestBackgroundWork : public QObject {
    Q_OBJECT

private slots:
    // A zero timer fires once per pass of the event loop.
    void initTestCase()
    {
        connect(&ticker, &QTimer::timeout, this,
            [this] { longestGap = std::max(longestGap, sinceEvent.restart()); });
        ticker.start(0);
    }
    void init()
    {
        longestGap = 0;
        sinceEvent.start();
    }

    // A blocked caller would leave a gap as long as the work.
    void runReturnsResultWhileEventsFlow()
    {
        QThread* const caller = QThread::currentThread();
        const std::unique_ptr<int> result = BackgroundWork::run([caller] {
            QThread::msleep(500);
            return std::make_unique<int>(QThread::currentThread() != caller ? 42 : 0);
        });
        QCOMPARE(*result, 42);
        QVERIFY2(longestGap < 200, qPrintable(QString::number(longestGap)));
    }

    void runOnWorkersWaitsForAll()
    {
        std::atomic<int> done { 0 };
        BackgroundWork::runOnWorkers(3, [&done] {
            QThread::msleep(300);
            ++done;
        });
        QCOMPARE(done.load(), 3);
        QVERIFY2(longestGap < 200, qPrintable(QString::number(longestGap)));
    }

private:
    QTimer ticker;
    QElapsedTimer sinceEvent;
    qint64 longestGap = 0;
};

QTEST_GUILESS_MAIN(TestBackgroundWork)
#include "tst_backgroundwork.moc"
