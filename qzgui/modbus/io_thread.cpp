// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/io_thread_p.h"

#include <QEventLoop>
#include <QObject>
#include <QSocketNotifier>

#include <fcntl.h>
#include <unistd.h>

#include <system_error>
#include <utility>

namespace qz::modbus {

io_thread::io_thread()
{
    // The wake-up is a byte on a pipe, not an event posted through Qt's queue: what the thread
    // and its callers share is then ordered by the mutex and the pipe, both of which
    // ThreadSanitizer sees (Qt's queue it does not).
    if (::pipe2(_wake, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "qzgui modbus io: no pipe");
    _thread.reset(QThread::create([this] { _run(); }));
    _thread->setObjectName(QStringLiteral("qzgui modbus io"));
    _thread->start();
    std::unique_lock<std::mutex> wait(lock);
    changed.wait(wait, [this] { return _context != nullptr; });
}

io_thread::~io_thread()
{
    post([this] { _loop->quit(); });
    {
        std::unique_lock<std::mutex> wait(lock);
        changed.wait(wait, [this] { return _ended; });
    }
    _thread->wait();
    ::close(_wake[0]);
    ::close(_wake[1]);
}

void io_thread::_run()
{
    QObject context;
    QEventLoop loop;
    QSocketNotifier readable(_wake[0], QSocketNotifier::Read);
    QObject::connect(&readable, &QSocketNotifier::activated, &context, [this] {
        char bytes[64];
        while (::read(_wake[0], bytes, sizeof bytes) > 0) {}
        _run_posted();
    });
    {
        std::lock_guard<std::mutex> guard(lock);
        _context = &context;
        _loop = &loop;
        changed.notify_all();
    }
    loop.exec();
    // What the tasks left behind (a client's replies) goes while the loop's objects still exist.
    _run_posted();
    std::lock_guard<std::mutex> guard(lock);
    _context = nullptr;
    _ended = true;
    changed.notify_all();
}

void io_thread::post(std::function<void()> task)
{
    bool wake = false;
    {
        std::lock_guard<std::mutex> guard(lock);
        _tasks.push_back(std::move(task));
        wake = !std::exchange(_wake_posted, true);
    }
    if (wake) {
        const char byte = 1;
        // Full only when a wake-up is already waiting to be read: nothing is lost.
        [[maybe_unused]] const ssize_t written = ::write(_wake[1], &byte, 1);
    }
}

void io_thread::call(const std::function<void()>& task)
{
    bool done = false; // under lock
    post([&] {
        task();
        std::lock_guard<std::mutex> guard(lock);
        done = true;
        changed.notify_all();
    });
    std::unique_lock<std::mutex> wait(lock);
    changed.wait(wait, [&] { return done; });
}

QObject* io_thread::context() const
{
    return _context;
}

void io_thread::_run_posted()
{
    for (;;) {
        std::function<void()> task;
        {
            std::lock_guard<std::mutex> guard(lock);
            if (_tasks.empty()) {
                _wake_posted = false;
                return;
            }
            task = std::move(_tasks.front());
            _tasks.pop_front();
        }
        task();
    }
}

} // namespace qz::modbus
