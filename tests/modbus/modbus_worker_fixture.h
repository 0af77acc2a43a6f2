// SPDX-License-Identifier: BSD-3-Clause
// Shared by the Modbus worker tests: the worker with its sweeps opened up, and a sweep run in a
// thread of its own.
#ifndef QZGUI_TESTS_MODBUS_WORKER_FIXTURE_H
#define QZGUI_TESTS_MODBUS_WORKER_FIXTURE_H

#include "temporary_settings.h"
#include "test_thread.h"

#include <qzgui/modbus/modbus_worker.h>

#include <QRegularExpression>
#include <QStringList>
#include <QThread>

#include <chrono>
#include <functional>

namespace qz::test {

/// The worker's sweeps opened up, so a test thread can run one by a direct call.
class probe_worker : public modbus::modbus_worker {
public:
    using modbus_worker::_get_params;
    using modbus_worker::modbus_worker;
    using sat_worker::_emit_param_value_from_cache;
    using sat_worker::_set_params;
};

/// Runs @p sweep on @p worker in a thread of its own, then hands the worker back to this thread,
/// so that the next sweep may take it to another. @return whether it ended within two minutes
inline bool run_sweep(probe_worker& worker, const std::function<void()>& sweep)
{
    QThread* const home = QThread::currentThread();
    test_thread thread([&] {
        sweep();
        worker.moveToThread(home);
    });
    thread.adopt(worker);
    thread.start();
    return thread.finished_within(std::chrono::minutes(2));
}

/// Clears @p settings, then gives reads and writes @p timeout_ms to answer, without repeats.
inline void set_reply_timeouts(temporary_settings& settings, int timeout_ms)
{
    settings.clear();
    settings.set(QStringLiteral("command/timeout_s"), timeout_ms);
    settings.set(QStringLiteral("command/timeout_m"), timeout_ms);
    settings.set(QStringLiteral("command/repeats_s"), 0);
    settings.set(QStringLiteral("command/repeats_m"), 0);
}

/// The report lines of an operation @p op that connected, around @p body.
inline QStringList framed(const QString& op, const QStringList& body)
{
    return QStringList{QStringLiteral("begin ") + op, QStringLiteral("state connecting"),
                       QStringLiteral("state connected")}
    + body + QStringList{QStringLiteral("state disconnected"), QStringLiteral("end ") + op};
}

/// Drops the messages of error lines ("get_error 16 proto 5 ..." → "get_error 16 proto 5").
inline QStringList kinds_only(QStringList lines)
{
    static const QRegularExpression kind(QStringLiteral("^(\\S*error .*?(media|proto) \\d+) .*$"));
    for (QString& line : lines)
        line.replace(kind, QStringLiteral("\\1"));
    return lines;
}

} // namespace qz::test

#endif
