// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_WORKER_THREAD_H
#define QZGUI_WORKER_THREAD_H

#include "qzgui/qzgui_export.h"

#include <memory>

namespace qz::gui {

class sat_worker;

/**
 * @class worker_thread worker_thread.h <qzgui/worker_thread.h>
 *
 * Runs a worker in a thread of its own, as a form application wants it: requests emitted from the
 * GUI thread run one after the other in the worker's thread, and at the end everything stops and
 * the worker goes with its thread.
 *
 * The thread owns the worker from the start and deletes it, in the worker's own thread, once its
 * event loop has ended. end() first waits until every request made so far has run, stopping each
 * as it starts, as sat_worker::stop() cuts short only the operation in progress; only then does
 * the thread quit, so the worker is idle and alive until it goes. Each hand-over between the two
 * threads also goes through a standard mutex, so ThreadSanitizer, which cannot see Qt's own
 * ordering, sees it too.
 *
 * @code
 * _thread = std::make_unique<qz::gui::worker_thread>(std::move(worker));
 * connect(_thread->worker(), &qz::gui::sat_worker::on_get_param, this, &window::show_value);
 * emit _thread->worker()->get_params(ids);
 * ...
 * _thread->end(); // in the window's closeEvent(), before the module the worker drives goes
 * @endcode
 *
 * GUI thread only (the thread that made it).
 */
class QZGUI_EXPORT worker_thread {
public:
    /// Moves @p worker, which has no parent, into a new thread and starts it.
    explicit worker_thread(std::unique_ptr<sat_worker> worker);
    /// Ends the thread as end() does.
    ~worker_thread();
    worker_thread(const worker_thread&) = delete;
    worker_thread& operator=(const worker_thread&) = delete;

    /// @return the worker, to connect to and emit requests on; null once end() was called
    sat_worker* worker() const { return _worker; }

    /**
     * Stops the running operation and every request queued behind it, then ends the thread, which
     * deletes the worker. Reports the worker emitted meanwhile stay queued to their receivers.
     * Does nothing the second time.
     */
    void end();

private:
    class runner;
    std::unique_ptr<runner> _runner;
    sat_worker* _worker;
};

} // namespace qz::gui

#endif
