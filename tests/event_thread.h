// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_TESTS_EVENT_THREAD_H
#define QZGUI_TESTS_EVENT_THREAD_H

#include <QThread>

#include <condition_variable>
#include <mutex>

namespace qz::test {

/**
 * A QThread that runs an event loop, as a worker's thread in an application does. Its end is
 * signalled through a standard mutex as well, because ThreadSanitizer cannot see QThread::wait()
 * (Qt is not instrumented) and would take what the thread left behind for a race.
 *
 * A subclass whose run() uses members of its own calls finish() in its own destructor: by the
 * time this one runs, they are gone.
 */
class event_thread : public QThread {
public:
    ~event_thread() override { finish(); }

    /// Ends the event loop and waits for the thread; does nothing for a thread never started.
    void finish()
    {
        {
            std::lock_guard<std::mutex> guard(_lock);
            if (!_began)
                return;
        }
        quit();
        std::unique_lock<std::mutex> lock(_lock);
        _changed.wait(lock, [this] { return _ended; });
        lock.unlock();
        wait();
    }

    /// Starts the thread.
    void begin()
    {
        {
            std::lock_guard<std::mutex> guard(_lock);
            _began = true;
        }
        start();
    }

protected:
    void run() override
    {
        exec();
        _mark_ended();
    }

    /// Tells finish() that the thread is done with everything it shares; last thing run() does.
    void _mark_ended()
    {
        std::lock_guard<std::mutex> guard(_lock);
        _ended = true;
        _changed.notify_all();
    }

    /// Guards what a subclass's thread shares with its callers.
    std::mutex _lock;
    /// Notified under _lock.
    std::condition_variable _changed;

private:
    bool _began = false;
    bool _ended = false;
};

} // namespace qz::test

#endif
