// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_TESTS_TEST_THREAD_H
#define QZGUI_TESTS_TEST_THREAD_H

#include <QThread>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace qz::test {

/**
 * Runs a function in its own QThread. Its end is signalled through a standard mutex as well,
 * because ThreadSanitizer cannot see QThread::wait() (Qt is not instrumented) and would take what
 * the thread left behind for a race.
 */
class test_thread {
public:
    explicit test_thread(std::function<void()> fn)
        : _thread(QThread::create([this, fn = std::move(fn)] {
            fn();
            std::lock_guard<std::mutex> guard(_mutex);
            _done = true;
            _finished.notify_all();
        }))
    {}

    ~test_thread() { finished_within(std::chrono::hours(1)); }

    /// Moves @p object into the thread; call before start().
    void adopt(QObject& object) { object.moveToThread(_thread.get()); }
    void start() { _thread->start(); }

    /// @return whether the function returned within @p timeout; the thread is then joined
    bool finished_within(std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        if (!_finished.wait_for(lock, timeout, [this] { return _done; }))
            return false;
        lock.unlock();
        return _thread->wait();
    }

private:
    std::mutex _mutex;
    std::condition_variable _finished;
    bool _done = false;
    std::unique_ptr<QThread> _thread;
};

} // namespace qz::test

#endif
