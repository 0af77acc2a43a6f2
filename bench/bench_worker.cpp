// SPDX-License-Identifier: BSD-3-Clause
// Read sweep throughput and value cache memory of the device worker.
//
//   cmake --build build --target bench_worker && build/bench/bench_worker
//
// 1. A read sweep of 100,000 ids on a zero-latency simulated worker in its own thread, every value
//    received in the main thread: timed from the emission of get_params until the end of the
//    operation and every value have arrived. The baseline sends 100,000 bare queued signals
//    carrying (uint32_t, QVariant) between the same two threads. Five runs of each, interleaved;
//    the ratio of the medians is printed (target: at most 1.5).
// 2. The resident memory the value cache holds per id after caching 1,000,000 int values
//    (target: under 150 bytes).
#include "bench_util.h"

#include "simulator/simulated_module.h"
#include "simulator/simulated_worker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

#include <cstdio>

using qz::gui::sat_worker;
using qz::sim::simulated_module;
using qz::sim::simulated_worker;

namespace {

constexpr uint32_t sweep_ids = 100000;
constexpr int runs = 5;

// Emits bare (uint32_t, QVariant) signals from its own thread: the cost of the queued delivery alone.
class baseline_sender : public QObject {
    Q_OBJECT
public:
    void send(uint32_t count)
    {
        for (uint32_t id = 0; id < count; ++id)
            emit value(id, QVariant(int(id)));
        emit done();
    }
Q_SIGNALS:
    void value(uint32_t p, const QVariant& v);
    void done();
};

// Counts arrivals in the main thread and ends the loop when the expected count and the end marker
// are both in.
class receiver : public QObject {
public:
    uint32_t received = 0;
    bool ended = false;
    uint32_t expected = 0;
    QEventLoop loop;

    void on_value(uint32_t, const QVariant& v)
    {
        received += v.isValid();
        finish_if_done();
    }
    void on_end()
    {
        ended = true;
        finish_if_done();
    }
    void reset(uint32_t count)
    {
        received = 0;
        ended = false;
        expected = count;
    }

private:
    void finish_if_done()
    {
        if (ended && received == expected)
            loop.quit();
    }
};

class cache_worker : public simulated_worker {
public:
    using sat_worker::_cache_parameter_and_emit_signal;
    using simulated_worker::simulated_worker;
};

double time_sweep(sat_worker& worker, receiver& r, const QVector<uint32_t>& ids)
{
    r.reset(ids.size());
    QElapsedTimer timer;
    timer.start();
    emit worker.get_params(ids);
    r.loop.exec();
    return timer.nsecsElapsed() / 1e9;
}

double time_baseline(baseline_sender& sender, receiver& r, uint32_t count)
{
    r.reset(count);
    QElapsedTimer timer;
    timer.start();
    QMetaObject::invokeMethod(
        &sender, [&sender, count] { sender.send(count); }, Qt::QueuedConnection);
    r.loop.exec();
    return timer.nsecsElapsed() / 1e9;
}

void bench_sweep()
{
    simulated_module module;
    module.set_recording(false);
    QVector<uint32_t> ids;
    for (uint32_t id = 0; id < sweep_ids; ++id) {
        module.store(id, int(id));
        ids.append(id);
    }
    QThread thread;
    simulated_worker worker(nullptr, &module);
    baseline_sender sender;
    worker.moveToThread(&thread);
    sender.moveToThread(&thread);
    thread.start();

    receiver r;
    QObject::connect(&worker, &sat_worker::on_get_param, &r, &receiver::on_value);
    QObject::connect(&worker, &sat_worker::on_operation_control, &r,
                     [&r](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                         if (status == sat_worker::status_end)
                             r.on_end();
                     });
    QObject::connect(&sender, &baseline_sender::value, &r, &receiver::on_value);
    QObject::connect(&sender, &baseline_sender::done, &r, &receiver::on_end);

    // One warm-up of each, then the interleaved runs.
    time_baseline(sender, r, sweep_ids);
    time_sweep(worker, r, ids);
    std::vector<double> baseline;
    std::vector<double> sweep;
    for (int i = 0; i < runs; ++i) {
        baseline.push_back(time_baseline(sender, r, sweep_ids));
        sweep.push_back(time_sweep(worker, r, ids));
        std::printf("  run %d: baseline %.1f ms, sweep %.1f ms\n", i + 1, baseline.back() * 1e3,
                    sweep.back() * 1e3);
    }
    const double b = qz::bench::median(baseline);
    const double s = qz::bench::median(sweep);
    std::printf("read sweep of %u ids: median %.1f ms, %.0f parameters/s\n", sweep_ids, s * 1e3,
                sweep_ids / s);
    std::printf("baseline of %u bare queued signals: median %.1f ms\n", sweep_ids, b * 1e3);
    std::printf("ratio sweep / baseline: %.2f (target <= 1.5)\n", s / b);

    thread.quit();
    thread.wait();
}

void bench_cache_memory()
{
    constexpr uint32_t count = 1000000;
    simulated_module module;
    cache_worker worker(nullptr, &module);
    const qint64 before = qz::bench::resident_bytes();
    for (uint32_t id = 0; id < count; ++id)
        worker._cache_parameter_and_emit_signal(id, QVariant(int(id)), false);
    const qint64 after = qz::bench::resident_bytes();
    std::printf("value cache: %.1f bytes per cached id over %u ids (target < 150)\n",
                double(after - before) / count, count);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("qzgui-bench"));
    QCoreApplication::setApplicationName(QStringLiteral("bench_worker"));
    qz::gui::register_meta_types();
    bench_sweep();
    bench_cache_memory();
    return 0;
}

#include "bench_worker.moc"
