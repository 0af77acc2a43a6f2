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

class QEventLoop;
class QObject;

namespace qz::modbus {

/**
 * A thread with an event loop of its own, which runs the tasks handed to it in the order they
 * came. Callers wait for what a task leaves behind on the condition variable, under the mutex,
 * both standard ones: a waiting caller's thread then delivers none of its own events, so a
 * request queued to a worker during an operation cannot run inside that operation.
 *
 * Tasks are handed over under the mutex, and a byte on a pipe wakes the thread: ThreadSanitizer
 * sees both, where Qt's event queue it does not. POSIX only, as the pipe is.
 */
class io_thread {
public:
    /// Starts the thread; returns once it waits for tasks.
    /// @throws std::system_error when no pipe can be made
    io_thread();
    /// Ends the thread after the tasks posted before.
    ~io_thread();

    io_thread(const io_thread&) = delete;
    io_thread& operator=(const io_thread&) = delete;

    /// Runs @p task in the thread, after every task posted before it; returns at once.
    void post(std::function<void()> task);

    /// Runs @p task in the thread and waits until it has returned. @p task must not throw.
    void call(const std::function<void()>& task);

    /// @return an object that lives in the thread, as the context of connections made there
    QObject* context() const;

    /// Guards what the thread's tasks and their callers share.
    std::mutex lock;
    /// Notified, under lock, whenever a task leaves something for a caller; abort() too.
    std::condition_variable changed;

private:
    void _run();
    void _run_posted();

    std::deque<std::function<void()>> _tasks; // under lock
    bool _wake_posted = false;                // under lock: a wake-up byte is on its way
    QObject* _context = nullptr;              // set under lock once the thread runs
    QEventLoop* _loop = nullptr;              // the thread's own; ended by a task
    bool _ended = false;                      // under lock
    int _wake[2] = {-1, -1};                  // the wake-up pipe: read end, write end
    std::unique_ptr<QThread> _thread;
};

} // namespace qz::modbus

#endif
