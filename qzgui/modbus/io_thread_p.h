// SPDX-License-Identifier: BSD-3-Clause
// Internal: the thread a Modbus module's Qt client lives in. Not installed.
#ifndef QZGUI_MODBUS_IO_THREAD_P_H
#define QZGUI_MODBUS_IO_THREAD_P_H

#include <QThread>

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class QObject;

namespace qz::modbus {

/**
 * A thread with an event loop of its own, which runs the tasks handed to it in the order they
 * came. Callers wait for what a task leaves behind on the condition variable, under the mutex,
 * both standard ones: a waiting caller's thread then delivers none of its own events, so a
 * request queued to a worker during an operation cannot run inside that operation.
 *
 * Everything the tasks and their callers share is handed over under the mutex, which
 * ThreadSanitizer sees; Qt's event queue only wakes the thread up.
 */
class io_thread {
public:
    /// Starts the thread.
    io_thread();
    /// Ends the thread; tasks not yet run are dropped.
    ~io_thread();

    io_thread(const io_thread&) = delete;
    io_thread& operator=(const io_thread&) = delete;

    /// Runs @p task in the thread, after every task posted before it; returns at once.
    void post(std::function<void()> task);

    /// Runs @p task in the thread and waits until it has returned. @p task must not throw.
    void call(const std::function<void()>& task);

    /// @return the object that lives in the thread, as a context for connections made there
    QObject* context() const;

    /// Guards what the thread's tasks and their callers share.
    std::mutex lock;
    /// Notified, under lock, whenever a task leaves something for a caller; abort() too.
    std::condition_variable changed;

private:
    class runner_t;
    void _run_posted();

    std::deque<std::function<void()>> _tasks; // under lock
    bool _wake_posted = false;                // under lock: a wake-up is on its way
    QThread _thread;
    std::unique_ptr<runner_t> _runner;
};

} // namespace qz::modbus

#endif
