#include "BackgroundWork.h"

#include <QCoreApplication>
#include <QSemaphore>
#include <QThreadPool>

void BackgroundWork::runOnWorkers(int workers, const std::function<void()>& function)
{
    QSemaphore finished;
    for (int worker = 0; worker < workers; ++worker)
        QThreadPool::globalInstance()->start([&function, &finished] {
            function();
            finished.release();
        });
    do
        QCoreApplication::processEvents();
    while (!finished.tryAcquire(workers, eventIntervalMs));
}
