#include "BackgroundWork.h"

#include <QCoreApplication>
#include <QSemaphore>
#include <QThread>
#include <QThreadPool>

namespace {

// Work runs on Qt's global pool: image conversions and scaling started on
// one of its threads then stay on that thread instead of spreading their
// pieces over the pool, where the small pieces of the window's painting
// would queue behind them. The pool gets threads enough that painting finds
// one free beside the most work this program hands it at once.
QThreadPool* pool()
{
    static QThreadPool* const global = [] {
        QThreadPool* threads = QThreadPool::globalInstance();
        threads->setMaxThreadCount(2 * QThread::idealThreadCount() + 2);
        return threads;
    }();
    return global;
}

} // namespace

void BackgroundWork::runOnWorkers(int workers, const std::function<void()>& function)
{
    QSemaphore finished;
    for (int worker = 0; worker < workers; ++worker)
        pool()->start([&function, &finished] {
            function();
            finished.release();
        });
    do
        QCoreApplication::processEvents();
    while (!finished.tryAcquire(workers, eventIntervalMs));
}
