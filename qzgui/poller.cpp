// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/poller.h"

#include "qzgui/resource_manager.h"
#include "qzgui/worker_log.h"

#include <QDateTime>
#include <QTimer>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace qz::gui {

using qz::api::proto::media_exception;

/**
 * The values and failures of read sweeps, on their way from the worker's thread: a queued signal
 * per value would wake the poller's thread a thousand times in a sweep of a thousand parameters,
 * where one hand-over a batch does. Shared with the worker's connections, so that a report on its
 * way as the poller goes finds no poller rather than a dangling one.
 */
struct poller::inbox_t {
    struct report_t {
        uint32_t id;
        QVariant value;
        error_descriptor error;
        bool failed;
        qint64 time;
    };

    /// Called in the worker's thread; the first report of a batch asks the poller to take them.
    void put(report_t&& report)
    {
        const std::lock_guard<std::mutex> guard(lock);
        if (!receiver)
            return;
        reports.push_back(std::move(report));
        if (reports.size() == 1)
            QMetaObject::invokeMethod(receiver, &poller::_drain, Qt::QueuedConnection);
    }

    std::mutex lock;
    std::vector<report_t> reports;
    poller* receiver = nullptr; // null once the poller goes
};

namespace {

// While the device is away, sweeps come no closer than this.
constexpr int lost_interval_ms = 1000;

} // namespace

poller::poller(sat_worker* worker, QObject* parent)
    : QObject(parent)
    , _worker(worker)
    , _timer(new QTimer(this))
{
    _timer->setSingleShot(true);
    // Never early: a coarse timer may fire 5% before the interval is over.
    _timer->setTimerType(Qt::PreciseTimer);
    connect(_timer, &QTimer::timeout, this, &poller::_sweep);
    // Every read and write request, the application's and ours, in the order the worker takes
    // them: each ends in one operation, so the oldest open request is the one that ends next.
    // Direct: they are made in this thread, and must be counted before any report of them.
    const auto made = [this] { ++_requests; };
    connect(worker, &sat_worker::get_params, this, made, Qt::DirectConnection);
    connect(worker, &sat_worker::set_params, this, made, Qt::DirectConnection);
    // The reports come from the worker's thread, queued to this one.
    connect(worker, &sat_worker::on_operation_control, this, &poller::_on_operation);
    connect(worker, &sat_worker::on_connection_state, this, [this](sat_worker::connection_state_e state) {
        if (_asked && state == sat_worker::state_connected)
            _connected = true;
    });
    connect(worker, &sat_worker::on_connection_error, this, [this](const error_descriptor& error) {
        if (_asked && !_link_down)
            _lose(error);
    });
    // Values and failures are taken in the worker's thread and handed over in batches.
    _inbox = std::make_shared<inbox_t>();
    _inbox->receiver = this;
    const std::shared_ptr<inbox_t> inbox = _inbox;
    _value_connection =
        connect(worker, &sat_worker::on_get_param, [inbox](uint32_t id, const QVariant& value) {
            inbox->put({id, value, error_descriptor(), false, QDateTime::currentMSecsSinceEpoch()});
        });
    _error_connection = connect(
        worker, &sat_worker::on_get_param_request_error, [inbox](uint32_t id, const error_descriptor& error) {
            inbox->put({id, QVariant(), error, true, QDateTime::currentMSecsSinceEpoch()});
        });
}

poller::~poller()
{
    stop();
    // A report on its way in the worker's thread finds no poller from here on.
    {
        const std::lock_guard<std::mutex> lock(_inbox->lock);
        _inbox->receiver = nullptr;
    }
    disconnect(_value_connection);
    disconnect(_error_connection);
}

void poller::_drain()
{
    std::vector<inbox_t::report_t> reports;
    {
        const std::lock_guard<std::mutex> lock(_inbox->lock);
        reports.swap(_inbox->reports);
    }
    for (const inbox_t::report_t& report : reports) {
        if (!_active)
            return;
        if (report.failed) {
            _note_failure(report.error);
            emit on_sample_error(report.id, report.error, report.time);
        } else {
            ++_answers;
            emit on_sample(report.id, report.value, report.time);
        }
    }
}

void poller::start(const QVector<uint32_t>& ids, int interval_ms)
{
    _ids = ids;
    _interval = std::max(interval_ms, 0);
    if (_active)
        return;
    _active = true;
    _since_sweep.invalidate(); // the first sweep goes at once
    _worker->set_persistent(true);
    _schedule();
}

void poller::stop()
{
    if (!_active)
        return;
    _active = false;
    _timer->stop();
    _worker->set_persistent(false);
}

void poller::_on_operation(sat_worker::operation_type_e op, sat_worker::operation_status_e status)
{
    if (status == sat_worker::status_begin) {
        ++_running;
        return;
    }
    _running = std::max(_running - 1, 0);
    // An operation of a request made before this poller existed is nobody's we know of.
    // A sweep is asked only when no request is open, so an asked one is the oldest: it ends first.
    const bool sweep = _asked && _requests > 0;
    _requests = std::max(_requests - 1, 0);
    // Every report of the operation came before its end: the sweep's outcome is whole.
    // After stop() the reports are dropped: such a sweep tells nothing.
    const bool silent = _active && _answers == 0 && _failures == 0 && _silence.has_value();
    const std::optional<error_descriptor> silence = std::exchange(_silence, std::nullopt);
    const bool answered = _answers > 0 || _failures > 0;
    _answers = 0;
    _failures = 0;
    emit on_request_end(op, sweep);
    if (sweep) {
        _asked = false;
        if (_connected && silent && !_link_down) {
            // A device that takes the connection and answers nothing is as lost as one that refuses it.
            _lose(*silence);
        } else if (_active && _connected && !silent && (answered || _ids.isEmpty()) && _link_down) {
            _link_down = false;
            resource_manager texts;
            emit on_link(true, texts.get_connection_state_string(sat_worker::state_connected));
        }
    }
    _schedule();
}

void poller::_note_failure(const error_descriptor& error)
{
    // A transport failure (no answer, the connection lost) is silence; any reply is an answer,
    // a Modbus exception too.
    if (error.media_type == media_exception::no_error) {
        ++_failures;
        return;
    }
    if (!_silence)
        _silence = error;
}

void poller::_lose(const error_descriptor& error)
{
    _link_down = true;
    resource_manager texts;
    texts.set_verbose_level(0);
    emit on_link(false, failure_line(texts, error));
}

bool poller::_may_ask() const
{
    // Never a request behind a running or waiting operation, ours or the application's.
    return _active && !_asked && _running == 0 && _requests == 0;
}

void poller::_schedule()
{
    if (!_may_ask())
        return;
    const int interval = _link_down ? std::max(_interval, lost_interval_ms) : _interval;
    const qint64 wait = _since_sweep.isValid() ? std::max<qint64>(0, interval - _since_sweep.elapsed()) : 0;
    _timer->start(int(wait));
}

void poller::_sweep()
{
    if (!_may_ask())
        return;
    _asked = true;
    _connected = false;
    emit _worker->get_params(_ids);
    // Timed from once the request is made: the next cannot come sooner than the interval after it.
    _since_sweep.start();
}

} // namespace qz::gui
