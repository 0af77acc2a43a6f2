// SPDX-License-Identifier: BSD-3-Clause
// A Modbus read sweep over loopback TCP: what the worker adds to bare Qt, and what grouping gains.
//
//   cmake --build build --target bench_modbus qz-modbus-device && build/bench/bench_modbus
//
// The device is qz-modbus-device on 127.0.0.1, serving 1,000 holding-register parameters, uint16
// and int32 by turns, contiguous (1,500 registers). Timed, in interleaved runs, all in one thread:
//   worker   modbus_worker's read sweep of all 1,000 ids as one operation (settings, connect,
//            the blocks, decoding, the cache, a signal per value, disconnect);
//   bare     a QModbusTcpClient that connects, sends the same blocks one after another, decodes
//            nothing, and disconnects;
//   single   the same worker reading one request per parameter.
// Prints the medians and the speed-up single/worker. worker/bare (target: at most 1.3) is the
// median of the ratios of the two sweeps of each run, taken one right after the other, first one
// then the other in turns: on a shared machine a sweep's time swings by more than the worker adds,
// and a pair shares the machine's state of the moment. For reference it also times the worker in
// a thread of its own with every value received in the main thread: the hand-over of 1,000 queued
// signals, which bench_worker measures by itself.
#include "bench_device.h"
#include "bench_util.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QModbusTcpClient>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

#include <cstdio>
#include <memory>
#include <tuple>

using qz::gui::sat_worker;

namespace {

constexpr int parameters = qz::bench::device_parameters;
constexpr int runs = 51;

// The worker with its sweep callable in this thread; with @p grouped false it reads one request
// per parameter, the library's plain sweep.
class bench_worker : public qz::modbus::modbus_worker {
public:
    bench_worker(qz::modbus::modbus_module* module, const qz::modbus::register_map& map, bool grouped)
        : modbus_worker(nullptr, module, map)
        , _grouped(grouped)
    {}

    void sweep(const QVector<uint32_t>& ids) { _get_params(ids); }

protected:
    void _get_params(const QVector<uint32_t>& ids) override
    {
        if (_grouped)
            modbus_worker::_get_params(ids);
        else
            sat_worker::_get_params(ids);
    }

private:
    bool _grouped;
};

// Milliseconds of one sweep by @p worker, called in this thread; -1 when not every value came.
double time_direct(bench_worker* worker, const QVector<uint32_t>& ids)
{
    int values = 0;
    const auto counted = QObject::connect(worker, &sat_worker::on_get_param, worker, [&] { ++values; });
    QElapsedTimer clock;
    clock.start();
    worker->sweep(ids);
    const double ms = clock.nsecsElapsed() / 1e6;
    QObject::disconnect(counted);
    return values == ids.size() ? ms : -1;
}

// Milliseconds of one sweep by @p worker, living in another thread, with every value received in
// this one; -1 when not every value came.
double time_queued(sat_worker* worker, const QVector<uint32_t>& ids)
{
    int values = 0;
    QEventLoop loop;
    const auto counted = QObject::connect(worker, &sat_worker::on_get_param, &loop, [&] { ++values; });
    const auto ended = QObject::connect(worker, &sat_worker::on_operation_control, &loop,
                                        [&](sat_worker::operation_type_e, sat_worker::operation_status_e s) {
                                            if (s == sat_worker::status_end)
                                                loop.quit();
                                        });
    QElapsedTimer clock;
    clock.start();
    emit worker->get_params(ids);
    loop.exec();
    const double ms = clock.nsecsElapsed() / 1e6;
    QObject::disconnect(counted);
    QObject::disconnect(ended);
    return values == ids.size() ? ms : -1;
}

// Whether a bare Qt client, made here, connected, read the blocks and disconnected.
bool bare_sweep(const QUrl& url, const QVector<QPair<int, int>>& blocks)
{
    QModbusTcpClient client;
    if (!qz::bench::connect_bare(client, url) || !qz::bench::read_bare(client, blocks))
        return false;
    client.disconnectDevice();
    return true;
}

// Milliseconds of the same blocks sent by a bare Qt client, its teardown included as the worker's
// disconnect is; -1 on a failure.
double time_bare(const QUrl& url, const QVector<QPair<int, int>>& blocks)
{
    QElapsedTimer clock;
    clock.start();
    const bool ok = bare_sweep(url, blocks);
    return ok ? clock.nsecsElapsed() / 1e6 : -1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qz::bench::device_setup setup;
    if (!setup.start())
        return 1;
    const auto& [address, map, blocks] = std::tie(setup.address, setup.map, setup.blocks);
    const QUrl url(address);

    qz::modbus::modbus_module module(address);
    qz::modbus::modbus_module queued_module(address);
    bench_worker grouped(&module, map, true);
    bench_worker single(&module, map, false);
    QThread thread;
    auto* queued = new qz::modbus::modbus_worker(nullptr, &queued_module, map);
    queued->moveToThread(&thread);
    thread.start();

    std::vector<double> worker_ms, bare_ms, single_ms, queued_ms, ratios;
    for (int run = 0; run < runs; ++run) {
        if (run % 2) {
            bare_ms.push_back(time_bare(url, blocks));
            worker_ms.push_back(time_direct(&grouped, map.ids()));
        } else {
            worker_ms.push_back(time_direct(&grouped, map.ids()));
            bare_ms.push_back(time_bare(url, blocks));
        }
        ratios.push_back(worker_ms.back() / bare_ms.back());
        single_ms.push_back(time_direct(&single, map.ids()));
        queued_ms.push_back(time_queued(queued, map.ids()));
    }
    thread.quit();
    thread.wait();
    delete queued;

    for (const auto* series : {&worker_ms, &bare_ms, &single_ms, &queued_ms})
        for (const double ms : *series)
            if (ms < 0) {
                std::fprintf(stderr, "bench_modbus: a sweep failed\n");
                return 1;
            }
    const double worker = qz::bench::median(worker_ms);
    const double bare = qz::bench::median(bare_ms);
    const double one_by_one = qz::bench::median(single_ms);
    std::printf("read sweep of %d parameters (%d blocks) over loopback TCP, median of %d runs\n", parameters,
                int(blocks.size()), runs);
    std::printf("  modbus_worker, grouped:        %8.2f ms\n", worker);
    std::printf("  bare QModbusTcpClient:         %8.2f ms\n", bare);
    std::printf("  modbus_worker, one per id:     %8.2f ms\n", one_by_one);
    std::printf("  modbus_worker in its thread, values received here: %.2f ms\n",
                qz::bench::median(queued_ms));
    std::printf("worker / bare, median of the runs' ratios: %.2f (target: at most 1.3)\n",
                qz::bench::median(ratios));
    std::printf("speed-up of grouping: %.1fx\n", one_by_one / worker);
    return 0;
}
