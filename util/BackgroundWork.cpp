#include "BackgroundWork.h"

#include <QCoreApplication>
#include <QSemaphore>
#include <QThreadPool>

// A pool of its own: Qt's painting also spreads work over the global pool and
// waits for it, which would stall a paint event behind a long import step.
Q_GLOBAL_STATIC(QThreadPool, workPool)

void BackgroundWork::runOnWorkers(int workers, const std::function<void()>& function)
{
    QSemaphore finished;
    for (int worker = 0; worker < workers; ++worker)
        workPool()->start([&function, &finished] {
            function();
            finished.release();
        });
    do
        QCoreApplication::processEvents();
    while (!finished.tryAcquire(workers, eventIntervalMs));
}
