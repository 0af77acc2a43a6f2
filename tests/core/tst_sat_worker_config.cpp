// SPDX-License-Identifier: BSD-3-Clause
// The command settings the worker reads from the application's settings and hands to the module.
#include "worker_fixture.h"

#include <qzgui/settings_keys.h>

#include <QtTest>

#include <iterator>
#include <memory>

using qz::sim::simulated_module;
using qz::test::test_worker;

namespace {

// The record as a list, in the module's field order.
QList<qint64> fields(const qz::api::proto::command_config& c)
{
    return {c.persistent_time, c.timeout_pipe, c.timeout_xs, c.timeout_s, c.timeout_m, c.timeout_l,
            c.timeout_xl,      c.repeats_xs,   c.repeats_s,  c.repeats_m, c.repeats_l, c.repeats_xl};
}

const QList<qint64> defaults = {9500, 10000, 400, 800, 1000, 4000, 9000, 10, 4, 2, 1, 0};

} // namespace

class tst_sat_worker_config : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::temporary_settings> _settings;

private slots:
    void initTestCase() { _settings = std::make_unique<qz::test::temporary_settings>(); }
    void init() { _settings->clear(); }

    void constructor_hands_over_nothing()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        QVERIFY(!module.last_config());
        QCOMPARE(fields(worker.command_config), QVector<qint64>(12, 0).toList());
    }

    void empty_store_gives_the_defaults()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        worker._get_params({});
        QVERIFY(module.last_config());
        QCOMPARE(fields(*module.last_config()), defaults);
        QCOMPARE(fields(worker.command_config), defaults);
    }

    void public_keys_name_what_the_worker_reads()
    {
        // The keys and defaults are written out here, once, against the library's constants.
        const char* const keys[] = {"command/persistent_time", "command/timeout_pipe", "command/timeout_xs",
                                    "command/timeout_s",       "command/timeout_m",    "command/timeout_l",
                                    "command/timeout_xl",      "command/repeats_xs",   "command/repeats_s",
                                    "command/repeats_m",       "command/repeats_l",    "command/repeats_xl"};
        QCOMPARE(int(std::size(qz::gui::command_settings::all)), 12);
        for (int i = 0; i < 12; ++i) {
            QCOMPARE(qz::gui::command_settings::all[i].key, keys[i]);
            QCOMPARE(qint64(qz::gui::command_settings::all[i].default_value), defaults[i]);
        }
        QCOMPARE(qz::gui::log_location_key, "common/log_location");
    }

    void every_key_is_read()
    {
        const char* const keys[] = {"persistent_time", "timeout_pipe", "timeout_xs", "timeout_s",
                                    "timeout_m",       "timeout_l",    "timeout_xl", "repeats_xs",
                                    "repeats_s",       "repeats_m",    "repeats_l",  "repeats_xl"};
        QList<qint64> expected;
        for (int i = 0; i < 12; ++i) {
            _settings->set(QStringLiteral("command/") + keys[i], 100 + i);
            expected.append(100 + i);
        }
        simulated_module module;
        test_worker worker(nullptr, &module);
        worker._set_module_config();
        QCOMPARE(fields(*module.last_config()), expected);
        QCOMPARE(module.count(simulated_module::call_set_config), 1);
    }

    void text_that_is_no_number_gives_zero()
    {
        _settings->set(QStringLiteral("command/timeout_s"), QStringLiteral("abc"));
        _settings->set(QStringLiteral("command/persistent_time"), QStringLiteral("abc"));
        simulated_module module;
        test_worker worker(nullptr, &module);
        worker._set_module_config();
        QCOMPARE(module.last_config()->timeout_s, 0);
        QCOMPARE(module.last_config()->persistent_time, 0u);
        QCOMPARE(module.last_config()->timeout_m, 1000);
    }

    void values_pass_unchecked()
    {
        _settings->set(QStringLiteral("command/repeats_l"), -3);
        _settings->set(QStringLiteral("command/timeout_pipe"), QStringLiteral("-20"));
        _settings->set(QStringLiteral("command/persistent_time"), QStringLiteral("4294967295"));
        simulated_module module;
        test_worker worker(nullptr, &module);
        worker._set_module_config();
        QCOMPARE(module.last_config()->repeats_l, -3);
        QCOMPARE(module.last_config()->timeout_pipe, -20);
        QCOMPARE(module.last_config()->persistent_time, 4294967295u);
    }

    void change_between_sweeps_reaches_the_module()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        worker._get_params({});
        QCOMPARE(module.last_config()->repeats_m, 2);
        _settings->set(QStringLiteral("command/repeats_m"), 7);
        worker._set_params({});
        QCOMPARE(module.last_config()->repeats_m, 7);
        QCOMPARE(module.count(simulated_module::call_set_config), 2);
    }

    void settings_are_read_before_the_connect()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        worker._get_params({});
        const auto calls = module.calls();
        QVERIFY(calls.size() >= 2);
        QCOMPARE(calls[0].kind, simulated_module::call_set_config);
        QCOMPARE(calls[1].kind, simulated_module::call_connect);
    }

    void stopped_worker_still_reads_settings_for_a_sweep()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        QVERIFY(!worker.is_running());
        worker._set_params({});
        QCOMPARE(module.count(simulated_module::call_set_config), 1);
    }
};

QTEST_GUILESS_MAIN(tst_sat_worker_config)
#include "tst_sat_worker_config.moc"
