// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/worker_thread.h"

#include "qzgui/sat_worker.h"

#include <QSemaphore>

#include <stdexcept>

namespace qz::gui {

worker_thread::worker_thread(std::unique_ptr<sat_worker> worker)
{
    if (!worker || worker->parent())
        throw std::invalid_argument("worker_thread takes a worker without a parent");
    worker->moveToThread(&_thread);
    QObject::connect(&_thread, &QThread::finished, worker.get(), &QObject::deleteLater);
    _worker = worker.release();
    _thread.start();
}

worker_thread::~worker_thread()
{
    end();
}

void worker_thread::end()
{
    if (!_worker)
        return;
    // Every request made from this thread is in the worker's queue by now. A fence queued behind
    // them runs once they have all ended; each that starts meanwhile is stopped in turn.
    QSemaphore fence;
    QMetaObject::invokeMethod(
        _worker, [&fence] { fence.release(); }, Qt::QueuedConnection);
    do
        _worker->stop();
    while (!fence.tryAcquire(1, 50));
    // Idle now: the thread ends, and deletes the worker as it finishes.
    _thread.quit();
    _thread.wait();
    _worker = nullptr;
}

} // namespace qz::gui
