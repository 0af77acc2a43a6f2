// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_POLLER_H
#define QZGUI_POLLER_H

#include "qzgui/qzgui_export.h"
#include "qzgui/sat_worker.h"

#include <QElapsedTimer>
#include <QObject>
#include <QVector>

#include <cstdint>
#include <memory>
#include <optional>

class QTimer;

namespace qz::gui {

/**
 * @class poller poller.h <qzgui/poller.h>
 *
 * Reads a list of parameters from a worker again and again, for monitoring: a read sweep every
 * interval, measured from the start of one sweep to the start of the next. A sweep that takes
 * longer delays the next, and no request is made while an operation of the worker is running, so
 * nothing queues up behind a slow device; the application's own requests (a Write) run between
 * two sweeps.
 *
 * While active it reports every value a read sweep of the worker reports (on_sample()) and every
 * per-parameter failure (on_sample_error()), each with the time it arrived. When a sweep cannot
 * connect, or connects but gets no answer at all (every read failed in the transport: a device
 * that takes the connection and stays silent), on_link(false) comes once and polling goes on
 * every max(interval, 1 s); the first sweep that connects and gets an answer (a value, or a reply
 * that refuses one) gives on_link(true). The worker's persistent mode is on while the poller is
 * active, so that a sweep does not open a connection each time.
 *
 * @code
 * qz::gui::poller poller(worker);                       // the worker lives in its own thread
 * connect(&poller, &qz::gui::poller::on_sample, &history_adder, ...);
 * poller.start(map.ids(), 500);
 * @endcode
 *
 * GUI thread only (the thread that made it); the worker must live in another, and requests to it
 * come from the poller's thread, so that the poller knows the order in which they run.
 */
class QZGUI_EXPORT poller : public QObject {
    Q_OBJECT
public:
    /// A poller of @p worker, which lives in its own thread and must outlive the poller.
    explicit poller(sat_worker* worker, QObject* parent = nullptr);
    /// Stops polling.
    ~poller() override;

    /**
     * Starts polling @p ids every @p interval_ms (0: back to back), with a sweep at once, or as
     * soon as the operation in progress has ended. A poller already active takes the new ids and
     * interval from its next sweep on.
     */
    void start(const QVector<uint32_t>& ids, int interval_ms);
    /// Makes no further request; at most the sweep in progress ends. Persistent mode goes off.
    void stop();
    /// @return whether the poller is polling
    bool is_active() const { return _active; }
    /// @return whether a sweep of the poller's is asked for or running; after stop() the last
    ///         one may still be, its values on their way
    bool is_sweeping() const { return _asked; }

Q_SIGNALS:
    /// A read sweep of the worker reported @p value for @p id, at @p time_ms (ms since the epoch, UTC).
    void on_sample(uint32_t id, const QVariant& value, qint64 time_ms);
    /// Reading @p id failed with @p error, at @p time_ms.
    void on_sample_error(uint32_t id, const qz::api::proto::error_descriptor& error, qint64 time_ms);
    /// The device was lost (@p up false: a sweep could not connect, or got no answer) or is back
    /// (true); @p text is the failure's line (failure_line(): the catalogue's text and what the
    /// link said), or the catalogue's text of the connected state.
    void on_link(bool up, const QString& text);
    /**
     * A read or write request to the worker has ended: @p sweep tells whether it was a sweep of
     * this poller. An application that shares the worker with the poller learns here when its own
     * request is over, as the worker's on_operation_control() cannot tell whose operation ended.
     * Counts the requests made from the poller's thread while it exists.
     */
    void on_request_end(qz::gui::sat_worker::operation_type_e op, bool sweep);

private:
    struct inbox_t;

    void _drain();
    void _note_failure(const error_descriptor& error);
    void _lose(const error_descriptor& error);
    void _on_operation(sat_worker::operation_type_e op, sat_worker::operation_status_e status);
    bool _may_ask() const;
    void _schedule();
    void _sweep();

    sat_worker* _worker;
    QTimer* _timer;
    QVector<uint32_t> _ids;
    int _interval = 0;
    bool _active = false;
    int _running = 0;        // operations of the worker begun and not yet ended, as seen here
    bool _asked = false;     // a sweep of ours is asked for and has not ended
    int _requests = 0;       // read and write requests made and not ended, ours and the application's
    bool _connected = false; // the sweep in progress connected
    bool _link_down = false; // on_link(false) was said and not yet taken back
    int _answers = 0;        // values reported since the last operation ended
    int _failures = 0;       // failures with a reply (a refusal) since then
    std::optional<error_descriptor> _silence; // the first transport failure since then
    QElapsedTimer _since_sweep;               // from the start of the last sweep; invalid before the first
    std::shared_ptr<inbox_t> _inbox;
    QMetaObject::Connection _value_connection;
    QMetaObject::Connection _error_connection;
};

} // namespace qz::gui

#endif
