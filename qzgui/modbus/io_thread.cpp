// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/io_thread_p.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <utility>

namespace qz::modbus {

namespace {
const QEvent::Type run_posted_event = QEvent::Type(QEvent::User + 17);
} // namespace

// Lives in the thread and runs the posted tasks when Qt's event queue wakes it. The wake-up is a
// bare event: the tasks themselves are handed over under the mutex.
class io_thread::runner_t : public QObject {
public:
    explicit runner_t(io_thread* owner)
        : _owner(owner)
    {}

protected:
    bool event(QEvent* e) override
    {
        if (e->type() != run_posted_event)
            return QObject::event(e);
        _owner->_run_posted();
        return true;
    }

private:
    io_thread* _owner;
};

io_thread::io_thread()
    : _runner(std::make_unique<runner_t>(this))
{
    _thread.setObjectName(QStringLiteral("qzgui modbus io"));
    _runner->moveToThread(&_thread);
    _thread.start();
}

io_thread::~io_thread()
{
    _thread.quit();
    _thread.wait();
    // The thread has ended: nothing runs in it any more, so its object may go from here.
    _runner.reset();
}

void io_thread::post(std::function<void()> task)
{
    bool wake = false;
    {
        std::lock_guard<std::mutex> guard(lock);
        _tasks.push_back(std::move(task));
        wake = !std::exchange(_wake_posted, true);
    }
    if (wake)
        QCoreApplication::postEvent(_runner.get(), new QEvent(run_posted_event));
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
    return _runner.get();
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
