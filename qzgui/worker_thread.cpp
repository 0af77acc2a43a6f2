// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/worker_thread.h"

#include "qzgui/sat_worker.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace qz::gui {

namespace {

// The fence's event type, registered once.
QEvent::Type fence_type()
{
    static const auto type = QEvent::Type(QEvent::registerEventType());
    return type;
}

} // namespace

/*
 * The worker's thread. Its lock orders every hand-over with the GUI thread: the fences end()
 * posts, the fences passing, and the worker's deletion after the GUI thread let go of it. Qt
 * orders these too, but through its own mutexes, which ThreadSanitizer cannot see.
 */
class worker_thread::runner : public QThread {
public:
    explicit runner(sat_worker* worker)
        : _worker(worker)
        , _fences(new fence_receiver(*this))
    {
        _fences->moveToThread(this);
        worker->moveToThread(this);
        start();
        // Back only once the thread runs: from then on every request posted to it also wakes its
        // event dispatcher, through a file descriptor whose order ThreadSanitizer sees.
        std::unique_lock<std::mutex> lock(_lock);
        _changed.wait(lock, [this] { return _running; });
    }

    ~runner() override { finish(); }

    /// Posts a fence behind every event posted to the thread so far; @return its number.
    int post_fence()
    {
        // Posted under the lock: the worker's thread takes it before it looks at the event.
        std::lock_guard<std::mutex> guard(_lock);
        QCoreApplication::postEvent(_fences, new QEvent(fence_type()));
        return ++_posted;
    }

    /// @return whether fence @p number has passed within @p timeout
    bool passed_within(int number, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(_lock);
        return _changed.wait_for(lock, timeout, [this, number] { return _passed >= number; });
    }

    /// Ends the event loop and waits until the worker is gone; does nothing the second time.
    void finish()
    {
        // Whatever this thread did to the worker comes before this, and so before its deletion.
        _raise(_letting_go);
        quit();
        std::unique_lock<std::mutex> lock(_lock);
        _changed.wait(lock, [this] { return _ended; });
        lock.unlock();
        wait();
    }

protected:
    void run() override
    {
        _raise(_running);
        exec();
        {
            // An event loop ended by anyone else keeps the worker until finish() lets go of it.
            std::unique_lock<std::mutex> lock(_lock);
            _changed.wait(lock, [this] { return _letting_go; });
        }
        delete _fences;
        delete _worker;
        _raise(_ended);
    }

private:
    // Sets @p flag under the lock and wakes whoever waits for it.
    void _raise(bool& flag)
    {
        std::lock_guard<std::mutex> guard(_lock);
        flag = true;
        _changed.notify_all();
    }

    // Counts the fences that reached the worker's thread.
    class fence_receiver : public QObject {
    public:
        explicit fence_receiver(runner& owner)
            : _owner(owner)
        {}

        bool event(QEvent* event) override
        {
            // Taken before the event is looked at: post_fence() made it under the lock.
            std::unique_lock<std::mutex> guard(_owner._lock);
            if (event->type() != fence_type()) {
                guard.unlock();
                return QObject::event(event);
            }
            ++_owner._passed;
            _owner._changed.notify_all();
            return true;
        }

    private:
        runner& _owner;
    };

    sat_worker* _worker;
    std::mutex _lock;
    std::condition_variable _changed;
    fence_receiver* _fences; // deleted in its own thread, with the worker
    int _posted = 0;
    int _passed = 0;
    bool _running = false;
    bool _letting_go = false;
    bool _ended = false;
};

worker_thread::worker_thread(std::unique_ptr<sat_worker> worker)
{
    if (!worker || worker->parent())
        throw std::invalid_argument("worker_thread takes a worker without a parent");
    _worker = worker.get();
    _runner = std::make_unique<runner>(worker.release());
}

worker_thread::~worker_thread()
{
    end();
}

void worker_thread::end()
{
    if (!_worker)
        return;
    // Every request made from this thread is in the worker's queue by now. A fence posted behind
    // them passes once they have all ended; each that starts meanwhile is stopped in turn.
    const int fence = _runner->post_fence();
    do
        _worker->stop();
    while (!_runner->passed_within(fence, std::chrono::milliseconds(50)));
    // Idle now: the thread ends, and deletes the worker as it finishes.
    _worker = nullptr;
    _runner->finish();
}

} // namespace qz::gui
