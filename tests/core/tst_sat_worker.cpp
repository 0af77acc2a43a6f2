// SPDX-License-Identifier: BSD-3-Clause
// The worker's operation frame: connection states, the signal roads of a request, the exception
// capture of every place, stop() and the pipe-drain wait.
#include "worker_fixture.h"

#include <qzgui/settings_keys.h>

#include <QThread>
#include <QtTest>

#include <chrono>
#include <memory>

using namespace std::chrono_literals;
using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::sim::fault_t;
using qz::sim::plain_error;
using qz::sim::simulated_module;
using qz::test::recorder;
using qz::test::test_worker;
using W = qz::gui::sat_worker;

Q_DECLARE_METATYPE(fault_t)

namespace {

// The four exception classes a module may throw, with the line each gives after "...error ".
void add_fault_rows()
{
    QTest::addColumn<fault_t>("fault");
    QTest::addColumn<QString>("described");
    QTest::newRow("media") << fault_t::media(media_exception::read_failed, "m") << "media 4 m";
    QTest::newRow("proto") << fault_t::proto(proto_exception::crc_error, "p") << "proto 6 p";
    QTest::newRow("runtime_error") << fault_t::runtime("r") << "other r";
    QTest::newRow("plain std::exception") << fault_t::plain("x") << "other x";
}

// Starts fn in a fresh thread; the caller waits for it.
std::unique_ptr<qz::test::test_thread> start_thread(std::function<void()> fn)
{
    auto thread = std::make_unique<qz::test::test_thread>(std::move(fn));
    thread->start();
    return thread;
}

// A worker with hooks that record themselves and may act on the worker.
class hook_worker : public test_worker {
public:
    using test_worker::test_worker;
    std::function<void()> pre = [] {};
    std::function<void()> post = [] {};
    QStringList trace;

protected:
    void _execute_pre_ops() override
    {
        trace.append(QStringLiteral("pre"));
        pre();
    }
    void _execute_post_ops() override
    {
        trace.append(QStringLiteral("post"));
        post();
    }
};

// A worker whose own connect override throws, as a concrete worker's may.
class throwing_connect_worker : public test_worker {
public:
    using test_worker::test_worker;
    std::function<void()> raise;

protected:
    bool _connect_module() override
    {
        raise();
        return true;
    }
};

// A module whose connect stops the worker and then finds no device.
class stopping_module : public simulated_module {
public:
    W* worker = nullptr;
    void connect() override
    {
        simulated_module::connect();
        worker->stop();
        throw media_exception(media_exception::no_device, "gone");
    }
};

} // namespace

class tst_sat_worker : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::worker_environment> _environment;

private slots:
    void initTestCase() { _environment = std::make_unique<qz::test::worker_environment>(); }

    void init() { _environment->settings.clear(); }

    void new_worker_is_idle()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        QCOMPARE(worker.get_connection_state(), W::state_disconnected);
        QCOMPARE(int(worker.get_connection_state()), 2);
        QVERIFY(!worker.is_running());
        QVERIFY(worker.param_cache.isEmpty());
        QVERIFY(module.calls().isEmpty());
        QVERIFY(!module.last_config());
    }

    void enumerations_have_fixed_numbers()
    {
        QCOMPARE(int(W::state_connecting), 0);
        QCOMPARE(int(W::state_error), 4);
        QCOMPARE(int(W::status_begin), 0);
        QCOMPARE(int(W::status_error), 2);
        QCOMPARE(int(W::op_read), 0);
        QCOMPARE(int(W::op_write), 1);
        QCOMPARE(int(W::op_download), 5);
        QCOMPARE(int(W::op_reserved_6), 6);
        QCOMPARE(int(W::op_erase), 7);
        QCOMPARE(int(W::op_dir), 8);
    }

    void destruction_leaves_the_module_alone()
    {
        simulated_module module;
        {
            test_worker worker(nullptr, &module);
            worker._connect_module();
            module.clear_calls();
        }
        QVERIFY(module.calls().isEmpty());
        QVERIFY(module.is_connected());
    }

    void stop_on_idle_worker_does_nothing()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker.stop();
        QVERIFY(module.calls().isEmpty());
        QVERIFY(events.lines().isEmpty());
        QVERIFY(!worker.is_running());
    }

    void set_persistent_changes_only_the_module()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker.set_persistent(true);
        QVERIFY(module.persistent());
        worker.set_persistent(false);
        QVERIFY(!module.persistent());
        QCOMPARE(module.count(simulated_module::call_set_persistent), 2);
        QCOMPARE(module.calls().size(), 2);
        QVERIFY(!worker.is_running());
        QCOMPARE(worker.get_connection_state(), W::state_disconnected);
        QVERIFY(events.lines().isEmpty());
    }

    void connection_state_is_emitted_even_without_change()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._set_connection_state(W::state_disconnected);
        worker._set_connection_state(W::state_error);
        QCOMPARE(worker.get_connection_state(), W::state_error);
        QCOMPARE(events.take(), QStringList({"state disconnected", "state error"}));
    }

    void emit_hooks_pass_their_arguments_unchanged()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        const proto_exception busy(proto_exception::busy, "busy");
        const qz::gui::error_descriptor err(nullptr, &busy, nullptr);
        worker._emit_on_connection_error(err);
        worker._emit_on_operation_control(W::op_flash, W::status_error);
        worker._emit_on_operation_error(W::op_dir, err);
        QCOMPARE(events.take(),
                 QStringList({"connection_error proto 9 busy", "status_error 3", "op_error 8 proto 9 busy"}));
    }

    void sweep_with_failing_middle_id()
    {
        simulated_module module;
        module.store(1, 10);
        module.store(2, 20);
        module.store(3, 30);
        module.fail_read(2, fault_t::proto(proto_exception::crc_error, "crc"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._get_params({1, 2, 3});
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected", "get 1 = 10",
                              "get_error 2 proto 6 crc", "get 3 = 30", "state disconnected", "end read"}));
        QCOMPARE(worker.get_connection_state(), W::state_disconnected);
        QVERIFY(worker.is_running());
    }

    void failed_connect_still_disconnects_and_ends()
    {
        simulated_module module;
        module.store(1, 10);
        module.fail_next_connect(fault_t::media(media_exception::open_failed, "open"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._get_params({1});
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "connection_error media 3 open",
                              "state disconnected", "state disconnected", "end read"}));
        QCOMPARE(module.count(simulated_module::call_disconnect), 1);
        QCOMPARE(module.count(simulated_module::call_read), 0);
    }

    void failed_connect_and_failed_disconnect()
    {
        simulated_module module;
        module.fail_next_connect(fault_t::proto(proto_exception::no_device, "none"));
        module.fail_next_disconnect(fault_t::media(media_exception::not_open, "closed"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._set_params({{1, 1}});
        QCOMPARE(events.take(),
                 QStringList({"begin write", "state connecting", "connection_error proto 2 none",
                              "state disconnected", "connection_error media 2 closed", "state disconnected",
                              "end write"}));
    }

    void connect_module_catches_every_class_data() { add_fault_rows(); }
    void connect_module_catches_every_class()
    {
        QFETCH(fault_t, fault);
        QFETCH(QString, described);
        simulated_module module;
        module.set_mode(2); // no pipe drain: none of these is a no-device media failure
        module.fail_next_connect(fault);
        test_worker worker(nullptr, &module);
        recorder events(worker);
        QVERIFY(!worker._connect_module());
        QCOMPARE(events.take(),
                 QStringList({"state connecting", "connection_error " + described, "state disconnected"}));
        QVERIFY(worker.is_running());
    }

    void no_device_outside_pipe_mode_ends_at_once_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("type");
        QTest::newRow("mode 1, no device") << 1 << int(media_exception::no_device);
        QTest::newRow("mode 0, no device") << 0 << int(media_exception::no_device);
        QTest::newRow("mode -5, no device") << -5 << int(media_exception::no_device);
        QTest::newRow("pipe mode, other media kind") << 2 << int(media_exception::open_failed);
        QTest::newRow("pipe mode, stopped kind") << 3 << int(media_exception::stopped);
    }

    void no_device_outside_pipe_mode_ends_at_once()
    {
        QFETCH(int, mode);
        QFETCH(int, type);
        // A pipe-drain wait here would take an hour.
        _environment->settings.set(QLatin1String(qz::gui::command_settings::timeout_pipe.key), 3600000);
        simulated_module module;
        module.set_mode(mode);
        module.fail_next_connect(fault_t::media(media_exception::exception_type_e(type), "f"));
        test_worker worker(nullptr, &module);
        worker._set_module_config();
        recorder events(worker);
        QVERIFY(!worker._connect_module());
        QCOMPARE(events.take(),
                 QStringList({"state connecting", QStringLiteral("connection_error media %1 f").arg(type),
                              "state disconnected"}));
    }

    void pipe_drain_waits_timeout_pipe()
    {
        _environment->settings.set(QLatin1String(qz::gui::command_settings::timeout_pipe.key), 200);
        simulated_module module;
        module.set_mode(2);
        module.fail_next_connect(fault_t::media(media_exception::no_device, "no device"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        QElapsedTimer timer;
        timer.start();
        worker._get_params({1});
        QVERIFY2(timer.elapsed() >= 190, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "connection_error media 1 no device",
                              "state pipe_drain", "state disconnected", "state disconnected", "end read"}));
        QCOMPARE(module.count(simulated_module::call_media), 1);
    }

    void stop_ends_pipe_drain_wait_at_once()
    {
        _environment->settings.set(QLatin1String(qz::gui::command_settings::timeout_pipe.key), 3600000);
        simulated_module module;
        module.set_mode(2);
        module.fail_next_connect(fault_t::media(media_exception::no_device, "no device"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        auto thread = start_thread([&] { worker._get_params({1, 2}); });
        QTRY_VERIFY_WITH_TIMEOUT(events.has("state pipe_drain"), 60000);
        // The wait begins just after the state is reported, and a stop() in between does not
        // shorten it (by design); re-arm and stop again until the wait has ended.
        while (!thread->finished_within(20ms)) {
            worker.running = true;
            worker.stop();
        }
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "connection_error media 1 no device",
                              "state pipe_drain", "state disconnected", "state disconnected", "end read"}));
        QVERIFY(!worker.is_running());
        QVERIFY(module.count(simulated_module::call_abort) >= 1);
    }

    void no_device_after_stop_returns_at_once()
    {
        stopping_module module;
        module.set_mode(2);
        test_worker worker(nullptr, &module);
        module.worker = &worker;
        recorder events(worker);
        QVERIFY(!worker._connect_module());
        // Left at connecting: no pipe drain, no state change; the caller's disconnect puts it right.
        QCOMPARE(events.take(), QStringList({"state connecting", "connection_error media 1 gone"}));
        QCOMPARE(worker.get_connection_state(), W::state_connecting);
        QCOMPARE(module.count(simulated_module::call_media), 0);
        worker._disconnect_module();
        QCOMPARE(worker.get_connection_state(), W::state_disconnected);
    }

    void disconnect_module_catches_runtime_errors_data()
    {
        QTest::addColumn<fault_t>("fault");
        QTest::addColumn<QString>("described");
        QTest::newRow("media") << fault_t::media(media_exception::write_failed, "m") << "media 5 m";
        QTest::newRow("proto") << fault_t::proto(proto_exception::pipe_error, "p") << "proto 7 p";
        QTest::newRow("runtime_error") << fault_t::runtime("r") << "other r";
    }

    void disconnect_module_catches_runtime_errors()
    {
        QFETCH(fault_t, fault);
        QFETCH(QString, described);
        simulated_module module;
        module.fail_next_disconnect(fault);
        test_worker worker(nullptr, &module);
        worker._set_connection_state(W::state_connected);
        recorder events(worker);
        worker._disconnect_module();
        QCOMPARE(events.take(), QStringList({"connection_error " + described, "state disconnected"}));
    }

    void disconnect_module_lets_a_plain_exception_pass()
    {
        simulated_module module;
        module.fail_next_disconnect(fault_t::plain("plain"));
        test_worker worker(nullptr, &module);
        worker._set_connection_state(W::state_connected);
        recorder events(worker);
        QVERIFY_EXCEPTION_THROWN(worker._disconnect_module(), plain_error);
        QVERIFY(events.lines().isEmpty());
        QCOMPARE(worker.get_connection_state(), W::state_connected);
    }

    void plain_exception_from_disconnect_is_an_operation_error()
    {
        simulated_module module;
        module.store(1, 10);
        module.fail_next_disconnect(fault_t::plain("plain"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._get_params({1});
        // The frame skips its own disconnect on this road: no disconnected state at all.
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected", "get 1 = 10",
                              "op_error read other plain", "end read"}));
        QCOMPARE(worker.get_connection_state(), W::state_connected);
    }

    void frame_reports_what_escapes_an_override_data() { add_fault_rows(); }
    void frame_reports_what_escapes_an_override()
    {
        QFETCH(fault_t, fault);
        QFETCH(QString, described);
        simulated_module module;
        throwing_connect_worker worker(nullptr, &module);
        worker.raise = [&] { fault.raise(); };
        recorder events(worker);
        bool body = false;
        worker._connect_exec_disconnect(W::op_write, [&] { body = true; });
        QCOMPARE(events.take(), QStringList({"begin write", "op_error write " + described, "end write"}));
        QVERIFY(!body);
        QCOMPARE(module.count(simulated_module::call_disconnect), 0);
    }

    void frame_lets_other_exceptions_pass()
    {
        simulated_module module;
        throwing_connect_worker worker(nullptr, &module);
        worker.raise = [] { throw 42; };
        recorder events(worker);
        QVERIFY_EXCEPTION_THROWN(worker._connect_exec_disconnect(W::op_read, {}), int);
        QCOMPARE(events.take(), QStringList({"begin read"}));
    }

    void body_failure_is_a_connection_error_data() { add_fault_rows(); }
    void body_failure_is_a_connection_error()
    {
        QFETCH(fault_t, fault);
        QFETCH(QString, described);
        simulated_module module;
        hook_worker worker(nullptr, &module);
        QStringList& trace = worker.trace;
        recorder events(worker);
        worker._connect_exec_disconnect(W::op_read, [&] { fault.raise(); });
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected",
                              "connection_error " + described, "state disconnected", "end read"}));
        // The follow-up is skipped after a failed body.
        QCOMPARE(trace, QStringList({"pre"}));
    }

    void hooks_run_around_the_body()
    {
        simulated_module module;
        hook_worker worker(nullptr, &module);
        QStringList& trace = worker.trace;
        worker._connect_exec_disconnect(W::op_read, [&] {
            trace.append(module.is_connected() ? "body connected" : "body disconnected");
        });
        QCOMPARE(trace, QStringList({"pre", "body connected", "post"}));
        QVERIFY(!module.is_connected());
    }

    void failing_preparation_skips_body_and_follow_up()
    {
        simulated_module module;
        hook_worker worker(nullptr, &module);
        QStringList& trace = worker.trace;
        worker.pre = [] { throw proto_exception(proto_exception::busy, "busy"); };
        recorder events(worker);
        worker._connect_exec_disconnect(W::op_read, [&] { trace.append("body"); });
        QCOMPARE(trace, QStringList({"pre"}));
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected",
                              "connection_error proto 9 busy", "state disconnected", "end read"}));
    }

    void failing_follow_up_is_reported_and_ends_normally()
    {
        simulated_module module;
        hook_worker worker(nullptr, &module);
        QStringList& trace = worker.trace;
        worker.post = [] { throw std::runtime_error("late"); };
        recorder events(worker);
        worker._connect_exec_disconnect(W::op_write, [&] { trace.append("body"); });
        QCOMPARE(trace, QStringList({"pre", "body", "post"}));
        QCOMPARE(events.take(),
                 QStringList({"begin write", "state connecting", "state connected",
                              "connection_error other late", "state disconnected", "end write"}));
    }

    void stop_in_preparation_skips_the_body()
    {
        simulated_module module;
        hook_worker worker(nullptr, &module);
        QStringList& trace = worker.trace;
        worker.pre = [&] { worker.stop(); };
        worker._connect_exec_disconnect(W::op_read, [&] { trace.append("body"); });
        QCOMPARE(trace, QStringList({"pre"}));
        QCOMPARE(module.count(simulated_module::call_disconnect), 1);
    }

    void try_exec_func_data() { add_fault_rows(); }
    void try_exec_func()
    {
        QFETCH(fault_t, fault);
        QFETCH(QString, described);
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        bool called = false;
        // Not running: nothing is called.
        QVERIFY(!worker._try_exec_func(W::op_read, [&] { called = true; }));
        QVERIFY(!called);
        worker._connect_module();
        events.take();
        QVERIFY(worker._try_exec_func(W::op_read, {}));
        QVERIFY(worker._try_exec_func(W::op_read, [&] { called = true; }));
        QVERIFY(called);
        QVERIFY(!worker._try_exec_func(W::op_write, [&] { fault.raise(); }));
        QCOMPARE(events.take(), QStringList({"connection_error " + described}));
        QVERIFY_EXCEPTION_THROWN(worker._try_exec_func(W::op_read, [] { throw 7; }), int);
    }

    void try_exec_op_data() { add_fault_rows(); }
    void try_exec_op()
    {
        QFETCH(fault_t, fault);
        QFETCH(QString, described);
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        bool called = false;
        // Before the first connect nothing happens at all.
        worker._try_exec_op(W::op_flash, [&] { called = true; });
        worker._try_exec_op(W::op_flash, {});
        QVERIFY(!called);
        QVERIFY(events.lines().isEmpty());
        QVERIFY(module.calls().isEmpty());

        worker._connect_module();
        events.take();
        module.clear_calls();
        worker._try_exec_op(W::op_flash, [&] { called = true; });
        QVERIFY(called);
        QVERIFY(events.lines().isEmpty());
        QCOMPARE(module.count(simulated_module::call_set_config), 1);
        QCOMPARE(module.count(simulated_module::call_connect), 0);

        worker._try_exec_op(W::op_upload, [&] { fault.raise(); });
        QCOMPARE(events.take(), QStringList({"op_error 4 " + described}));
        QVERIFY_EXCEPTION_THROWN(worker._try_exec_op(W::op_read, [] { throw 7; }), int);
    }

    void try_exec_op_with_empty_function_is_an_operation_error()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        worker._connect_module();
        recorder events(worker);
        worker._try_exec_op(W::op_erase, {});
        const QStringList lines = events.take();
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines[0].startsWith("op_error 7 other "), qPrintable(lines[0]));
        QVERIFY2(lines[0].contains("bad_function_call"), qPrintable(lines[0]));
    }

    void request_after_stop_still_runs()
    {
        simulated_module module;
        module.store(1, 10);
        test_worker worker(nullptr, &module);
        worker._connect_module();
        worker.stop();
        QVERIFY(!worker.is_running());
        recorder events(worker);
        worker._get_params({1});
        QVERIFY(events.has("get 1 = 10"));
        QVERIFY(worker.is_running());
    }

    void stop_from_another_thread_aborts_a_slow_read()
    {
        simulated_module module;
        for (uint32_t id = 1; id <= 5; ++id)
            module.store(id, id * 10);
        module.set_read_latency(3600s);
        test_worker worker(nullptr, &module);
        recorder events(worker);
        auto thread = start_thread([&] { worker._get_params({1, 2, 3, 4, 5}); });
        QTRY_COMPARE_WITH_TIMEOUT(module.count(simulated_module::call_read), 1, 60000);
        // The module records a read and begins its wait under one lock, so the read is waiting now.
        worker.stop();
        QVERIFY(thread->finished_within(60s));
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected",
                              "get_error 1 media 6 stopped", "state disconnected", "end read"}));
        QCOMPARE(module.count(simulated_module::call_read), 1);
    }
};

QTEST_GUILESS_MAIN(tst_sat_worker)
#include "tst_sat_worker.moc"
