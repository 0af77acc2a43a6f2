// SPDX-License-Identifier: BSD-3-Clause
// Polling 1,000 parameters back to back over loopback TCP: the poller and its worker against bare
// Qt block reads on one open connection.
//
//   cmake --build build --target bench_poll qz-modbus-device && build/bench/bench_poll
//
// The device is qz-modbus-device on 127.0.0.1 (see bench_device.h). In turns, for a few seconds each:
//   poller   a qz::gui::poller with interval 0 over a modbus_worker in its own thread, in
//            persistent mode; every value received in this thread;
//   bare     one QModbusTcpClient, connected once, reading the same blocks one after another,
//            decoding nothing.
// Prints sweeps per second of each and poller/bare (target: at least 0.8), the median of the
// ratios of the rounds: a round's two runs share the machine's state of the moment.
#include "bench_device.h"
#include "bench_util.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>
#include <qzgui/poller.h>
#include <qzgui/worker_thread.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QModbusTcpClient>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <tuple>

namespace {

constexpr int rounds = 5;
constexpr int run_ms = 3000;

// Sweeps per second of a poller polling every parameter back to back; -1 when values went missing.
double poll_rate(const QString& address, const qz::modbus::register_map& map)
{
    qz::modbus::modbus_module module(address);
    qz::gui::worker_thread thread(std::make_unique<qz::modbus::modbus_worker>(nullptr, &module, map));
    qz::gui::poller poller(thread.worker());
    long long values = 0;
    int sweeps = 0;
    QObject::connect(&poller, &qz::gui::poller::on_sample, &poller, [&] { ++values; });
    QObject::connect(&poller, &qz::gui::poller::on_request_end, &poller,
                     [&](qz::gui::sat_worker::operation_type_e, bool sweep) { sweeps += sweep ? 1 : 0; });
    QEventLoop loop;
    QTimer::singleShot(run_ms, &loop, &QEventLoop::quit);
    QElapsedTimer clock;
    clock.start();
    poller.start(map.ids(), 0);
    loop.exec();
    poller.stop();
    const double seconds = clock.nsecsElapsed() / 1e9;
    const int counted = sweeps;
    // The sweep in progress ends before the worker goes; it is not counted.
    thread.end();
    return values >= static_cast<long long>(counted) * map.ids().size() && counted > 0 ? counted / seconds
                                                                                       : -1;
}

// Sweeps per second of a bare client reading the blocks back to back on one connection.
double bare_rate(const QUrl& url, const QVector<QPair<int, int>>& blocks)
{
    QModbusTcpClient client;
    if (!qz::bench::connect_bare(client, url))
        return -1;
    int sweeps = 0;
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < run_ms) {
        if (!qz::bench::read_bare(client, blocks))
            return -1;
        ++sweeps;
    }
    const double seconds = clock.nsecsElapsed() / 1e9;
    client.disconnectDevice();
    return sweeps / seconds;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qz::bench::device_setup setup;
    if (!setup.start())
        return 1;
    const auto& [address, map, blocks] = std::tie(setup.address, setup.map, setup.blocks);

    std::vector<double> polled, bare, ratios;
    for (int round = 0; round < rounds; ++round) {
        double p = 0, b = 0;
        if (round % 2) {
            b = bare_rate(QUrl(address), blocks);
            p = poll_rate(address, map);
        } else {
            p = poll_rate(address, map);
            b = bare_rate(QUrl(address), blocks);
        }
        if (p < 0 || b < 0) {
            std::fprintf(stderr, "bench_poll: a run failed\n");
            return 1;
        }
        polled.push_back(p);
        bare.push_back(b);
        ratios.push_back(p / b);
    }
    std::printf("polling %d parameters (%d blocks) back to back over loopback TCP, %d rounds of %d ms\n",
                int(map.ids().size()), int(blocks.size()), rounds, run_ms);
    std::printf("  poller and modbus_worker:            %8.1f sweeps/s (median)\n",
                qz::bench::median(polled));
    std::printf("  bare QModbusTcpClient, one connection: %6.1f sweeps/s (median)\n",
                qz::bench::median(bare));
    std::printf("poller / bare, median of the rounds' ratios: %.2f (target: at least 0.8)\n",
                qz::bench::median(ratios));
    return 0;
}
