// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_SAT_WORKER_H
#define QZGUI_SAT_WORKER_H

#include "qzgui/qzgui_export.h"

#include "module_api/error_descriptor.h"
#include "module_api/qz_module.h"

#include <QDateTime>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QPair>
#include <QVariant>
#include <QVector>
#include <QWaitCondition>

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>

namespace qz::gui {

// Signatures name the failure record without its namespace, as clients connect to them by name.
using api::proto::error_descriptor;

/**
 * Registers every type of the worker's signal and slot signatures under the name that stands in
 * the signature ("uint32_t", "QVector<uint32_t>", "QVector<QPair<uint32_t,QVariant> >",
 * "connection_state_e", "operation_type_e", "operation_status_e", "error_descriptor"). With Qt 6,
 * whose moc spells the two requests "QList<uint32_t>" and "QList<std::pair<uint32_t,QVariant>>",
 * those are the names.
 *
 * Qt queues a request from another thread only when these names are known, so a host application
 * calls this once, before its first queued request (for instance before it starts the worker's
 * thread). The library never calls it itself. Calling it again does no harm.
 * @see sat_worker
 */
QZGUI_EXPORT void register_meta_types();

/**
 * @class sat_worker sat_worker.h <qzgui/sat_worker.h>
 *
 * Runs requests against one device module, each as a whole operation: connect the module, run an
 * optional preparation, the request's body and an optional follow-up, then disconnect; every
 * phase, state, value and failure is reported by a signal.
 *
 * The worker is abstract: a concrete worker supplies the single-parameter read and write
 * (_get_param() and _set_param()). It is meant to live in a thread of its own. Requests are the
 * signals connect_module(), disconnect_module(), get_params() and set_params(); the constructor
 * connects each to the protected slot of the same name with a leading underscore, so an emission
 * from another thread is queued into the worker's thread and requests run one after the other.
 * stop() may be called from any thread to cut the running operation short.
 *
 * Failures of the module arrive as exceptions (media_exception, proto_exception, any other
 * std::exception); the worker catches them, turns each into an error_descriptor and reports it by
 * exactly one signal. A failing parameter never ends a sweep.
 *
 * Before each read or write sweep the worker reads the twelve "command/..." settings through a
 * default-constructed QSettings and hands them to the module (see _set_module_config()).
 *
 * The worker does not own its module, does not stop itself and does not touch the module when it
 * is destroyed: stop it, end its thread, then destroy it.
 *
 * @code
 * qz::gui::register_meta_types();
 * auto* worker = new my_worker(nullptr, &module);   // subclass of sat_worker
 * worker->moveToThread(&thread);
 * connect(worker, &sat_worker::on_get_param, form, &my_form::show_value);
 * thread.start();
 * emit worker->get_params({0x10, 0x11, 0x12});
 * @endcode
 */
class QZGUI_EXPORT sat_worker : public QObject {
    Q_OBJECT

public:
    /// The state of the link to the device; the numbers key the message catalogue.
    enum connection_state_e : int {
        state_connecting = 0,   ///< the worker has begun to connect the module
        state_connected = 1,    ///< the module's connect returned
        state_disconnected = 2, ///< initial state; after every disconnect and failed connect
        state_pipe_drain = 3,   ///< a pipe-mode connect failed; the worker waits before giving up
        state_error = 4         ///< for clients and subclasses; the worker never sets it
    };

    /// The phase of an operation; the numbers key the message catalogue.
    enum operation_status_e : int {
        status_begin = 0, ///< an operation starts
        status_end = 1,   ///< an operation is over, successful or not
        status_error = 2  ///< for clients and subclasses; the worker never emits it
    };

    /// The kind of an operation. The worker itself runs op_read and op_write; the others are
    /// for concrete workers. The numbers key the message catalogue.
    enum operation_type_e : int {
        op_read = 0,       ///< a read sweep, "READ"
        op_write = 1,      ///< a write sweep, "WRITE"
        op_reset = 2,      ///< "RESET"
        op_flash = 3,      ///< "FLASH"
        op_upload = 4,     ///< "UPLOAD"
        op_download = 5,   ///< "DOWNLOAD"
        op_reserved_6 = 6, ///< skipped on purpose; has no text
        op_erase = 7,      ///< "ERASE"
        op_dir = 8         ///< "DIR"
    };

    /**
     * Creates an idle worker: not running, disconnected, with an empty cache. Touches neither the
     * module nor the settings.
     * @param parent the parent object
     * @param module the device module; not owned, and must outlive the worker
     */
    sat_worker(QObject* parent, api::proto::qz_module* module);

    /**
     * Cuts the running operation short; callable from any thread. Clears the running flag, asks
     * the module to abort its exchange and ends a pipe-drain wait. A sweep ends after the
     * parameter in progress. Does nothing when the worker is not running. The next connect
     * arms the worker again, so later requests still run.
     */
    virtual void stop();

    /// @return whether the worker may go on working (set by a connect, cleared by stop())
    bool is_running() const;

    /// @return the current connection state; safe from any thread
    connection_state_e get_connection_state();

    /**
     * Switches the module's persistent connection mode; the worker's own state is unchanged and it
     * still disconnects after every operation, leaving it to the module to keep the link.
     * @param persistent passed to qz_module::set_persistent() unchanged
     */
    void set_persistent(bool persistent);

Q_SIGNALS:
    /// Request: connect the module. @see _connect_module()
    void connect_module();
    /// Request: disconnect the module. @see _disconnect_module()
    void disconnect_module();
    /// Request: read @p params, in order, as one operation. @see _get_params()
    void get_params(const QVector<uint32_t>& params);
    /// Request: write the (id, value) pairs @p params, in order, as one operation. @see _set_params()
    void set_params(const QVector<QPair<uint32_t, QVariant>>& params);

    /// The connection state became @p cs (emitted on every change request, also without change).
    void on_connection_state(connection_state_e cs);
    /// Connecting, disconnecting or a step of an operation failed with @p err.
    void on_connection_error(const error_descriptor& err);
    /// Operation @p op began or ended.
    void on_operation_control(operation_type_e op, operation_status_e status);
    /// Operation @p op failed as a whole with @p err.
    void on_operation_error(operation_type_e op, const error_descriptor& err);
    /// Parameter @p p has the value @p v.
    void on_get_param(uint32_t p, const QVariant& v);
    /// Reading parameter @p p failed with @p err.
    void on_get_param_request_error(uint32_t p, const error_descriptor& err);
    /// Parameter @p p was written with @p v (emitted by the concrete worker's _set_param()).
    void on_set_param(uint32_t p, const QVariant& v);
    /// Writing parameter @p p failed with @p err.
    void on_set_param_request_error(uint32_t p, const error_descriptor& err);

protected Q_SLOTS:
    /**
     * Arms the worker and connects the module. Emits on_connection_state() with state_connecting,
     * then state_connected. On failure emits on_connection_error() and ends in
     * state_disconnected; a pipe-mode transport that found no device is first given up to
     * "command/timeout_pipe" milliseconds (state_pipe_drain) unless stop() ends the wait.
     * @return whether the module is connected
     */
    virtual bool _connect_module();

    /**
     * Disconnects the module. A module failure (media, protocol or other std::runtime_error) is
     * reported by on_connection_error(); the state becomes state_disconnected in either case.
     */
    virtual void _disconnect_module();

    /**
     * The read sweep: reads the command settings, then, as one op_read operation, calls
     * _try_get_param() for each id in order while the worker is running.
     */
    virtual void _get_params(const QVector<uint32_t>& params);

    /**
     * The write sweep: like _get_params(), as one op_write operation of _try_set_param() calls.
     */
    virtual void _set_params(const QVector<QPair<uint32_t, QVariant>>& params);

    /**
     * Stores @p v for @p p in the value cache with the current local time, replacing an earlier
     * entry, and emits on_get_param() unless @p emit_signal is false.
     */
    virtual void _cache_parameter_and_emit_signal(uint32_t p, const QVariant& v, bool emit_signal = true);

protected:
    /**
     * One guarded read: calls _get_param() unless the worker was stopped, and reports a
     * protocol, media or other std::exception by on_get_param_request_error().
     */
    virtual void _try_get_param(uint32_t id);

    /**
     * Reads one parameter from the module. Ends in on_get_param(), normally through
     * _cache_parameter_and_emit_signal(); fails only by throwing.
     */
    virtual void _get_param(uint32_t id) = 0;

    /**
     * Reads the twelve "command/..." keys through a default-constructed QSettings (missing keys
     * give their defaults, values that are not numbers give 0) and hands them to the module.
     */
    virtual void _set_module_config();

    /**
     * One guarded write: calls _set_param() unless the worker was stopped, and reports a
     * protocol, media or other std::exception by on_set_param_request_error().
     */
    virtual void _try_set_param(uint32_t id, const QVariant& value);

    /**
     * Writes one parameter to the module and emits on_set_param(); fails only by throwing.
     */
    virtual void _set_param(uint32_t id, const QVariant& value) = 0;

    /**
     * Runs @p access, one parameter's read or write, as _try_get_param() and _try_set_param() do:
     * a protocol, media or other std::exception it throws (caught in that order) comes back as
     * its descriptor; anything else propagates. For workers that access several parameters at
     * once and report each one's failure themselves.
     * @return the failure's descriptor, or nothing when @p access returned normally
     */
    static std::optional<error_descriptor> _parameter_failure(const std::function<void()>& access);

    /**
     * Runs one step of an operation.
     * @return false without calling @p fn when the worker is not running; true for an empty
     *         @p fn; false after reporting a media, protocol or other std::exception by
     *         on_connection_error(); true otherwise
     */
    virtual bool _try_exec_func(operation_type_e op, const std::function<void()>& fn);

    /**
     * The frame of a request: emits on_operation_control(op, status_begin), connects, runs
     * _execute_pre_ops(), @p fn and _execute_post_ops() while the worker is running, disconnects
     * and emits on_operation_control(op, status_end). What escapes these steps is reported by
     * on_operation_error() before the end, and the disconnect is then skipped.
     */
    virtual void _connect_exec_disconnect(operation_type_e op, const std::function<void()>& fn);

    /**
     * Runs @p fn as operation @p op on an already connected module: nothing when the worker is not
     * running; otherwise hands the module the current settings and calls @p fn, reporting a
     * failure (an empty @p fn included) by on_operation_error(). No begin, end or connect.
     */
    virtual void _try_exec_op(operation_type_e op, std::function<void()> fn);

    /// Preparation run after the connect of every operation; empty here.
    virtual void _execute_pre_ops();

    /// Follow-up run after the body of every operation; empty here.
    virtual void _execute_post_ops();

    /**
     * Re-emits the cached value of @p id by on_get_param() when it is fresh: its whole-second
     * time stamp differs from the current one by at most 1 (a clock that went back counts too).
     * @return whether the value was emitted; false for an unknown id, which stays unknown
     */
    virtual bool _emit_param_value_from_cache(uint32_t id);

    /// Stores @p cs and emits on_connection_state(cs).
    virtual void _set_connection_state(connection_state_e cs);

    /// Emits on_connection_error(err); for a concrete worker's own operations.
    virtual void _emit_on_connection_error(const error_descriptor& err);

    /// Emits on_operation_control(op, status); for a concrete worker's own operations.
    virtual void _emit_on_operation_control(operation_type_e op, operation_status_e status);

    /// Emits on_operation_error(op, err); for a concrete worker's own operations.
    virtual void _emit_on_operation_error(operation_type_e op, const error_descriptor& err);

    /// True while the worker may go on working; set by a connect, cleared by stop().
    std::atomic<bool> running{false};
    /// The device module; not owned.
    api::proto::qz_module* module;
    /// Guards the pipe-drain wait; the only lock of the worker.
    QMutex wait_mutex;
    /// The pipe-drain wait; stop() wakes it.
    QWaitCondition wait_condition;
    /// The command settings last handed to the module; zero until the first operation.
    qz::api::proto::command_config command_config{};
    /// The value cache: id to (time stored, value); never pruned.
    QMap<uint32_t, QPair<QDateTime, QVariant>> param_cache;
    /// The current connection state, readable from any thread.
    std::atomic<connection_state_e> connection_state{state_disconnected};

private:
    void _try_param(uint32_t id, const std::function<void()>& access,
                    void (sat_worker::*report)(uint32_t, const error_descriptor&));
    void _wait_for_pipe_drain();
    void _run_sweep(operation_type_e op, int count, const std::function<void(int)>& step);
};

} // namespace qz::gui

Q_DECLARE_METATYPE(qz::gui::sat_worker::connection_state_e)
Q_DECLARE_METATYPE(qz::gui::sat_worker::operation_status_e)
Q_DECLARE_METATYPE(qz::gui::sat_worker::operation_type_e)

#endif
