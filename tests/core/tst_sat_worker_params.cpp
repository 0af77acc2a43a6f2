// SPDX-License-Identifier: BSD-3-Clause
// The worker's read and write sweeps and its value cache.
#include "worker_fixture.h"

#include <QtTest>

#include <memory>

using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::sim::fault_t;
using qz::sim::simulated_module;
using qz::test::recorder;
using qz::test::test_worker;
using W = qz::gui::sat_worker;

namespace {

// A worker that can act on itself in the middle of a read.
class acting_worker : public test_worker {
public:
    using test_worker::test_worker;
    std::function<void(uint32_t)> during_read = [](uint32_t) {};

protected:
    void _get_param(uint32_t id) override
    {
        during_read(id);
        test_worker::_get_param(id);
    }
};

// A module with ids 1..n holding id * 10.
void fill(simulated_module& module, uint32_t n)
{
    for (uint32_t id = 1; id <= n; ++id)
        module.store(id, id * 10);
}

// Runs check(now) with the cache compared against the current whole second; repeats when the
// second ticked over while it ran, so the result never straddles a tick.
template <typename Check>
void at_a_steady_second(Check check)
{
    for (int attempt = 0; attempt < 100; ++attempt) {
        const qint64 before = QDateTime::currentSecsSinceEpoch();
        const bool result = check(before);
        if (QDateTime::currentSecsSinceEpoch() == before) {
            QVERIFY(result);
            return;
        }
    }
    QFAIL("the clock never held still for a check");
}

} // namespace

class tst_sat_worker_params : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::worker_environment> _environment;

private slots:
    void initTestCase() { _environment = std::make_unique<qz::test::worker_environment>(); }

    void empty_read_list_still_runs_an_operation()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._get_params({});
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected", "state disconnected",
                              "end read"}));
        QVERIFY(module.last_config());
    }

    void empty_write_list_still_runs_an_operation()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._set_params({});
        QCOMPARE(events.take(),
                 QStringList({"begin write", "state connecting", "state connected", "state disconnected",
                              "end write"}));
    }

    void same_id_twice_is_read_twice_in_order()
    {
        simulated_module module;
        fill(module, 3);
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._get_params({3, 1, 3});
        const QStringList lines = events.take().mid(3, 3);
        QCOMPARE(lines, QStringList({"get 3 = 30", "get 1 = 10", "get 3 = 30"}));
        QVector<uint32_t> read;
        for (const auto& call : module.calls())
            if (call.kind == simulated_module::call_read)
                read.append(call.id);
        QCOMPARE(read, QVector<uint32_t>({3, 1, 3}));
    }

    void unknown_id_is_reported_and_the_sweep_goes_on()
    {
        simulated_module module;
        fill(module, 2);
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._get_params({1, 99, 2});
        QCOMPARE(events.take().mid(3, 3),
                 QStringList({"get 1 = 10", "get_error 99 proto 5 unknown parameter 99", "get 2 = 20"}));
    }

    void each_exception_class_is_reported_per_parameter()
    {
        simulated_module module;
        fill(module, 5);
        module.fail_read(1, fault_t::media(media_exception::read_failed, "m"));
        module.fail_read(2, fault_t::proto(proto_exception::invalid_result, "p"));
        module.fail_read(3, fault_t::runtime("r"));
        module.fail_read(4, fault_t::plain("x"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._get_params({1, 2, 3, 4, 5});
        QCOMPARE(events.take().mid(3, 5),
                 QStringList({"get_error 1 media 4 m", "get_error 2 proto 4 p", "get_error 3 other r",
                              "get_error 4 other x", "get 5 = 50"}));
    }

    void write_sweep_writes_in_order_and_reports_each()
    {
        simulated_module module;
        module.fail_write(2, fault_t::proto(proto_exception::parameter_error, "refused"));
        module.fail_write(3, fault_t::plain("x"));
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._set_params({{1, QStringLiteral("a")}, {2, 5}, {3, 6}, {4, 2.5}});
        QCOMPARE(events.take(),
                 QStringList({"begin write", "state connecting", "state connected", "set 1 = a",
                              "set_error 2 proto 5 refused", "set_error 3 other x", "set 4 = 2.5",
                              "state disconnected", "end write"}));
        QCOMPARE(module.stored(1), QVariant(QStringLiteral("a")));
        QVERIFY(!module.stored(2).isValid());
        QCOMPARE(module.stored(4), QVariant(2.5));
        // Writes do not fill the cache.
        QVERIFY(worker.param_cache.isEmpty());
    }

    void other_exceptions_leave_the_sweep()
    {
        simulated_module module;
        fill(module, 3);
        acting_worker worker(nullptr, &module);
        worker.during_read = [](uint32_t id) {
            if (id == 2)
                throw 2;
        };
        recorder events(worker);
        QVERIFY_EXCEPTION_THROWN(worker._get_params({1, 2, 3}), int);
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected", "get 1 = 10"}));
        QVERIFY_EXCEPTION_THROWN(worker._try_get_param(2), int);
    }

    void stop_during_second_of_five_ends_after_it()
    {
        simulated_module module;
        fill(module, 5);
        acting_worker worker(nullptr, &module);
        worker.during_read = [&](uint32_t id) {
            if (id == 2)
                worker.stop();
        };
        recorder events(worker);
        worker._get_params({1, 2, 3, 4, 5});
        QCOMPARE(events.take(),
                 QStringList({"begin read", "state connecting", "state connected", "get 1 = 10", "get 2 = 20",
                              "state disconnected", "end read"}));
        QCOMPARE(module.count(simulated_module::call_read), 2);
    }

    void stopped_worker_guards_single_operations()
    {
        simulated_module module;
        fill(module, 1);
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._try_get_param(1);
        worker._try_set_param(1, 5);
        QVERIFY(events.lines().isEmpty());
        QVERIFY(module.calls().isEmpty());
    }

    void read_fills_the_cache()
    {
        simulated_module module;
        fill(module, 2);
        test_worker worker(nullptr, &module);
        const QDateTime before = QDateTime::currentDateTime();
        worker._get_params({1, 2});
        QCOMPARE(worker.param_cache.size(), 2);
        QCOMPARE(worker.param_cache.value(2).second, QVariant(20));
        QVERIFY(worker.param_cache.value(2).first >= before);
        QCOMPARE(worker.param_cache.value(2).first.timeSpec(), Qt::LocalTime);
    }

    void cache_without_signal_then_fresh_emission()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._cache_parameter_and_emit_signal(7, 70, false);
        QVERIFY(events.lines().isEmpty());
        QCOMPARE(worker.param_cache.value(7).second, QVariant(70));
        QVERIFY(worker._emit_param_value_from_cache(7));
        QCOMPARE(events.take(), QStringList({"get 7 = 70"}));
        QCOMPARE(worker.param_cache.size(), 1);
    }

    void caching_replaces_time_and_value()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        worker._cache_parameter_and_emit_signal(7, 70);
        worker.param_cache[7].first = QDateTime::currentDateTime().addSecs(-3600);
        worker._cache_parameter_and_emit_signal(7, QStringLiteral("new"));
        QCOMPARE(worker.param_cache.size(), 1);
        QCOMPARE(worker.param_cache.value(7).second, QVariant(QStringLiteral("new")));
        QVERIFY(worker.param_cache.value(7).first.secsTo(QDateTime::currentDateTime()) < 60);
        QCOMPARE(events.take(), QStringList({"get 7 = 70", "get 7 = new"}));
    }

    void unknown_id_is_not_in_the_cache()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        QVERIFY(!worker._emit_param_value_from_cache(5));
        QVERIFY(!worker.param_cache.contains(5));
        QVERIFY(events.lines().isEmpty());
    }

    void freshness_counts_whole_seconds()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        const auto stored_at = [](qint64 second, int msecs) {
            return QDateTime::fromMSecsSinceEpoch(second * 1000 + msecs);
        };
        // Stored at xx:00.900, now xx:01.nnn: age 1, fresh (a real age of up to just under 2 s).
        at_a_steady_second([&](qint64 now) {
            worker.param_cache.insert(1, qMakePair(stored_at(now - 1, 900), QVariant(1)));
            return worker._emit_param_value_from_cache(1);
        });
        // Stored at xx:00.000, now xx:01.nnn: age 1, fresh.
        at_a_steady_second([&](qint64 now) {
            worker.param_cache.insert(2, qMakePair(stored_at(now - 1, 0), QVariant(2)));
            return worker._emit_param_value_from_cache(2);
        });
        // Stored at xx:00.999, now xx:02.nnn: age 2, stale, though just over 1 s old at xx:02.000.
        at_a_steady_second([&](qint64 now) {
            worker.param_cache.insert(3, qMakePair(stored_at(now - 2, 999), QVariant(3)));
            return !worker._emit_param_value_from_cache(3);
        });
        // Stored in the current second: age 0, fresh.
        at_a_steady_second([&](qint64 now) {
            worker.param_cache.insert(4, qMakePair(stored_at(now, 0), QVariant(4)));
            return worker._emit_param_value_from_cache(4);
        });
        // A clock that went back: negative age, fresh.
        at_a_steady_second([&](qint64 now) {
            worker.param_cache.insert(5, qMakePair(stored_at(now + 3600, 0), QVariant(5)));
            return worker._emit_param_value_from_cache(5);
        });
        const QStringList lines = events.take();
        QVERIFY(lines.contains("get 1 = 1"));
        QVERIFY(lines.contains("get 2 = 2"));
        QVERIFY(!lines.contains("get 3 = 3"));
        QVERIFY(lines.contains("get 4 = 4"));
        QVERIFY(lines.contains("get 5 = 5"));
        // A stale entry stays where it is.
        QVERIFY(worker.param_cache.contains(3));
    }

    void stale_entry_is_read_from_the_device()
    {
        simulated_module module;
        module.store(1, 10);
        test_worker worker(nullptr, &module);
        worker.set_serve_from_cache(true);
        worker.param_cache.insert(1, qMakePair(QDateTime::currentDateTime().addSecs(-10), QVariant(1)));
        recorder events(worker);
        worker._get_params({1});
        QVERIFY(events.has("get 1 = 10"));
        QCOMPARE(module.count(simulated_module::call_read), 1);
    }

    void fresh_entry_is_served_from_the_cache()
    {
        simulated_module module;
        module.store(1, 10);
        test_worker worker(nullptr, &module);
        worker.set_serve_from_cache(true);
        worker._get_params({1});
        module.store(1, 11);
        recorder events(worker);
        worker._get_params({1});
        QVERIFY(events.has("get 1 = 10"));
        QCOMPARE(module.count(simulated_module::call_read), 1);
    }
};

QTEST_GUILESS_MAIN(tst_sat_worker_params)
#include "tst_sat_worker_params.moc"
