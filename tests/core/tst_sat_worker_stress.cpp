// SPDX-License-Identifier: BSD-3-Clause
// Many sweeps in the worker's own thread while another thread calls stop() at random moments:
// every begin has exactly one end, a stop lets at most the parameter in progress be reported, and
// nothing deadlocks. Built to run under ThreadSanitizer: the sweeps start by direct calls in the
// worker's thread, and the log below is guarded by a standard mutex that TSan can see.
#include "worker_fixture.h"

#include <QtTest>

#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using qz::sim::simulated_module;
using qz::test::test_thread;
using qz::test::test_worker;
using W = qz::gui::sat_worker;

namespace {

constexpr int sweeps = 500;
constexpr uint32_t ids_per_sweep = 100;

enum event_e { begin, end, connecting, parameter, stop };

// What happened, in the order it happened across both threads.
class event_log {
public:
    void add(event_e event)
    {
        std::lock_guard<std::mutex> guard(_mutex);
        _events.push_back(event);
    }

    // Logs the stop and stops the worker under one lock, so that no report can fall in between.
    void stop(W& worker)
    {
        std::lock_guard<std::mutex> guard(_mutex);
        _events.push_back(event_e::stop);
        worker.stop();
    }

    std::vector<event_e> events() const
    {
        std::lock_guard<std::mutex> guard(_mutex);
        return _events;
    }

private:
    mutable std::mutex _mutex;
    std::vector<event_e> _events;
};

} // namespace

class tst_sat_worker_stress : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::temporary_settings> _settings;

private slots:
    void initTestCase() { _settings = std::make_unique<qz::test::temporary_settings>(); }

    void sweeps_under_random_stops()
    {
        simulated_module module;
        module.set_recording(false);
        QVector<uint32_t> ids;
        for (uint32_t id = 0; id < ids_per_sweep; ++id) {
            module.store(id, id);
            ids.append(id);
        }
        test_worker worker(nullptr, &module);
        event_log log;
        const auto direct = Qt::DirectConnection;
        connect(
            &worker, &W::on_operation_control, &worker,
            [&](W::operation_type_e, W::operation_status_e s) {
                log.add(s == W::status_begin ? begin : end);
            },
            direct);
        connect(
            &worker, &W::on_connection_state, &worker,
            [&](W::connection_state_e cs) {
                if (cs == W::state_connecting)
                    log.add(connecting);
            },
            direct);
        connect(
            &worker, &W::on_get_param, &worker, [&](uint32_t, const QVariant&) { log.add(parameter); },
            direct);
        connect(
            &worker, &W::on_get_param_request_error, &worker,
            [&](uint32_t, const qz::gui::error_descriptor&) { log.add(parameter); }, direct);

        std::atomic<bool> sweeping{true};
        test_thread sweeper([&] {
            for (int i = 0; i < sweeps; ++i)
                worker._get_params(ids);
            sweeping = false;
        });
        sweeper.adopt(worker);
        const unsigned seed = std::random_device{}();
        qInfo("random seed %u", seed);
        test_thread stopper([&] {
            std::mt19937 random(seed);
            std::uniform_int_distribution<int> pause_us(0, 400);
            while (sweeping) {
                std::this_thread::sleep_for(std::chrono::microseconds(pause_us(random)));
                log.stop(worker);
            }
        });
        sweeper.start();
        stopper.start();
        // A deadlock shows as a sweep thread that never finishes.
        QVERIFY2(sweeper.finished_within(10min), "the sweeps did not finish");
        QVERIFY(stopper.finished_within(1min));

        int begins = 0;
        int ends = 0;
        int cut_short = 0;
        bool in_sweep = false;
        bool armed = false;   // the sweep's connect has armed the worker
        bool stopped = false; // a stop came after that
        int after_stop = 0;   // parameters reported after that stop
        int reported = 0;
        for (const event_e event : log.events()) {
            switch (event) {
            case begin:
                QVERIFY2(!in_sweep, "a begin inside a sweep");
                in_sweep = true;
                armed = stopped = false;
                after_stop = reported = 0;
                ++begins;
                break;
            case end:
                QVERIFY2(in_sweep, "an end without a begin");
                in_sweep = false;
                cut_short += reported < int(ids_per_sweep);
                ++ends;
                break;
            case connecting:
                armed = true;
                break;
            case parameter:
                QVERIFY(in_sweep);
                ++reported;
                if (stopped)
                    QVERIFY2(++after_stop <= 1, "more than the parameter in progress after a stop");
                break;
            case event_e::stop:
                stopped = stopped || (in_sweep && armed);
                break;
            }
        }
        QVERIFY(!in_sweep);
        QCOMPARE(begins, sweeps);
        QCOMPARE(ends, sweeps);
        QVERIFY2(cut_short > 0, "no stop ever landed in a sweep");
        qInfo("%d of %d sweeps were cut short", cut_short, sweeps);
    }
};

QTEST_GUILESS_MAIN(tst_sat_worker_stress)
#include "tst_sat_worker_stress.moc"
