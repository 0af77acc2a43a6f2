// SPDX-License-Identifier: BSD-3-Clause
// Shared by the worker tests: a simulated worker with its protected members opened up, a recorder
// that renders every report signal as one line, and a private settings store.
#ifndef QZGUI_TESTS_WORKER_FIXTURE_H
#define QZGUI_TESTS_WORKER_FIXTURE_H

#include "simulator/simulated_module.h"
#include "simulator/simulated_worker.h"
#include "temporary_settings.h"
#include "test_thread.h"

#include <QStringList>

#include <mutex>

namespace qz::test {

using gui::sat_worker;

/// A simulated worker whose protected operations and members the tests may reach.
class test_worker : public sim::simulated_worker {
public:
    using simulated_worker::simulated_worker;

    using sat_worker::_cache_parameter_and_emit_signal;
    using sat_worker::_connect_exec_disconnect;
    using sat_worker::_connect_module;
    using sat_worker::_disconnect_module;
    using sat_worker::_emit_on_connection_error;
    using sat_worker::_emit_on_operation_control;
    using sat_worker::_emit_on_operation_error;
    using sat_worker::_emit_param_value_from_cache;
    using sat_worker::_get_params;
    using sat_worker::_set_connection_state;
    using sat_worker::_set_module_config;
    using sat_worker::_set_params;
    using sat_worker::_try_exec_func;
    using sat_worker::_try_exec_op;
    using sat_worker::_try_get_param;
    using sat_worker::_try_set_param;
    using sat_worker::command_config;
    using sat_worker::param_cache;
    using sat_worker::running;
};

inline QString op_name(sat_worker::operation_type_e op)
{
    return op == sat_worker::op_read ? QStringLiteral("read")
        : op == sat_worker::op_write ? QStringLiteral("write")
                                     : QString::number(op);
}

inline QString state_name(sat_worker::connection_state_e cs)
{
    static const char* const names[] = {"connecting", "connected", "disconnected", "pipe_drain", "error"};
    return QString::fromLatin1(names[cs]);
}

/// "media 1 text", "proto 6 text" or "other text": which slot the descriptor was built from.
inline QString describe(const gui::error_descriptor& err)
{
    if (err.media_type)
        return QStringLiteral("media %1 %2").arg(err.media_type).arg(err.message);
    if (err.proto_type)
        return QStringLiteral("proto %1 %2").arg(err.proto_type).arg(err.message);
    return QStringLiteral("other %1").arg(err.message);
}

/**
 * Records every report signal of a worker, in the emitting thread, as one line each:
 * "begin read", "state connecting", "connection_error media 1 msg", "get 7 = 70",
 * "get_error 7 proto 6 msg", "set 7 = 70", "set_error 7 other msg", "op_error read other msg",
 * "end read".
 */
class recorder {
public:
    explicit recorder(sat_worker& worker)
    {
        using W = sat_worker;
        const auto direct = Qt::DirectConnection;
        QObject::connect(
            &worker, &W::on_operation_control, &worker,
            [this](W::operation_type_e op, W::operation_status_e status) {
                add((status == W::status_begin     ? QStringLiteral("begin ")
                         : status == W::status_end ? QStringLiteral("end ")
                                                   : QStringLiteral("status_error "))
                    + op_name(op));
            },
            direct);
        QObject::connect(
            &worker, &W::on_connection_state, &worker,
            [this](W::connection_state_e cs) { add(QStringLiteral("state ") + state_name(cs)); }, direct);
        QObject::connect(
            &worker, &W::on_connection_error, &worker,
            [this](const gui::error_descriptor& e) {
                add(QStringLiteral("connection_error ") + describe(e));
            },
            direct);
        QObject::connect(
            &worker, &W::on_operation_error, &worker,
            [this](W::operation_type_e op, const gui::error_descriptor& e) {
                add(QStringLiteral("op_error %1 %2").arg(op_name(op), describe(e)));
            },
            direct);
        QObject::connect(
            &worker, &W::on_get_param, &worker,
            [this](uint32_t p, const QVariant& v) {
                add(QStringLiteral("get %1 = %2").arg(p).arg(v.toString()));
            },
            direct);
        QObject::connect(
            &worker, &W::on_get_param_request_error, &worker,
            [this](uint32_t p, const gui::error_descriptor& e) {
                add(QStringLiteral("get_error %1 %2").arg(p).arg(describe(e)));
            },
            direct);
        QObject::connect(
            &worker, &W::on_set_param, &worker,
            [this](uint32_t p, const QVariant& v) {
                add(QStringLiteral("set %1 = %2").arg(p).arg(v.toString()));
            },
            direct);
        QObject::connect(
            &worker, &W::on_set_param_request_error, &worker,
            [this](uint32_t p, const gui::error_descriptor& e) {
                add(QStringLiteral("set_error %1 %2").arg(p).arg(describe(e)));
            },
            direct);
    }

    /// @return the lines recorded so far, and forgets them
    QStringList take()
    {
        std::lock_guard<std::mutex> guard(_mutex);
        QStringList lines;
        lines.swap(_lines);
        return lines;
    }

    /// @return the lines recorded so far
    QStringList lines() const
    {
        // A list of its own: a copy sharing the recorder's would let the worker's thread grow that
        // array in place once this copy is gone, ordered only by Qt's relaxed reference count.
        std::lock_guard<std::mutex> guard(_mutex);
        QStringList copy;
        copy.reserve(_lines.size());
        for (const QString& line : _lines)
            copy.append(line);
        return copy;
    }

    /// @return whether @p line has been recorded
    bool has(const QString& line) const
    {
        std::lock_guard<std::mutex> guard(_mutex);
        return _lines.contains(line);
    }

private:
    void add(const QString& line)
    {
        std::lock_guard<std::mutex> guard(_mutex);
        _lines.append(line);
    }

    mutable std::mutex _mutex;
    QStringList _lines;
};

/// What the worker tests need first: the signature types registered and a private settings store.
struct worker_environment {
    worker_environment() { gui::register_meta_types(); }
    temporary_settings settings;
};

} // namespace qz::test

#endif
