// SPDX-License-Identifier: BSD-3-Clause
// Cost of logging, the batch that shows a burst, and memory over many lines.
//
//   cmake --build build --target bench_log && QT_QPA_PLATFORM=offscreen build/bench/bench_log
//
// a. 100,000 log() calls with a list attached, against a baseline that appends the same rendered
//    lines to a file by opening, appending and closing it per line (target: ratio at most 1.5).
// b. The one batch that shows a burst of 10,000 and of 100,000 messages with 200 visible lines:
//    the time of one processEvents() after the 800 ms have passed (targets: the 100,000 batch
//    under 100 ms and at most 12 times the 10,000 one).
// c. 1,000,000 log() calls without a list: the growth of resident memory (target: flat).
// Log files go to a temporary directory.
#include "bench_util.h"

#include "qzgui/log_controller.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QListWidget>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <memory>

using qz::gui::log_controller;
using qz::gui::log_item;

namespace {

constexpr int calls = 100000;
constexpr int runs = 3;

QString message(int i)
{
    return QStringLiteral("parameter 0x%1 read: value %2").arg(i, 4, 16, QLatin1Char('0')).arg(i * 7);
}

double time_log_calls(const QTemporaryDir& dir)
{
    QListWidget list;
    log_controller log(nullptr, QStringLiteral("bench"), &list);
    log.set_log_file_name(dir.filePath(QStringLiteral("controller.log")));
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < calls; ++i)
        log.log(log_item::log_level_e(i % 3), message(i));
    return timer.nsecsElapsed() / 1e9;
}

double time_baseline(const QTemporaryDir& dir, const QStringList& lines)
{
    const QString name = dir.filePath(QStringLiteral("baseline.log"));
    QElapsedTimer timer;
    timer.start();
    for (const QString& line : lines) {
        QFile file(name);
        if (file.open(QIODevice::Append))
            file.write((line + QStringLiteral("\r\n")).toUtf8());
    }
    return timer.nsecsElapsed() / 1e9;
}

void bench_log_calls(const QTemporaryDir& dir)
{
    QStringList lines;
    for (int i = 0; i < calls; ++i)
        lines << log_item(log_item::log_level_e(i % 3), message(i), QDateTime::currentDateTime()).toString();
    std::vector<double> logged;
    std::vector<double> baseline;
    for (int run = 0; run < runs; ++run) {
        baseline.push_back(time_baseline(dir, lines));
        logged.push_back(time_log_calls(dir));
        std::printf("  run %d: baseline %.0f ms, log() %.0f ms\n", run + 1, baseline.back() * 1e3,
                    logged.back() * 1e3);
    }
    const double b = qz::bench::median(baseline);
    const double l = qz::bench::median(logged);
    std::printf(
        "a. log() with a list: %.2f us per call; baseline %.2f us per line; ratio %.2f (target <= 1.5)\n",
        l / calls * 1e6, b / calls * 1e6, l / b);
}

double time_burst_batch(int burst, bool* as_described)
{
    QListWidget list;
    list.resize(600, 400);
    list.show();
    log_controller log(nullptr, QStringLiteral("burst"), &list);
    log.set_log_file_name(QString()); // the batch alone, not the file
    QCoreApplication::processEvents();
    for (int i = 0; i < burst; ++i)
        log.log(log_item::log_level_e(i % 3), message(i));
    QThread::msleep(900); // the batch interval passes without events being processed
    QElapsedTimer timer;
    timer.start();
    QCoreApplication::processEvents();
    const double seconds = timer.nsecsElapsed() / 1e9;
    *as_described = list.count() == 200 && list.currentRow() == 199
        && list.item(199)->text().endsWith(message(burst - 1))
        && list.item(0)->text().endsWith(message(burst - 200));
    return seconds;
}

void bench_bursts()
{
    std::vector<double> small;
    std::vector<double> large;
    bool ok = true;
    for (int run = 0; run < runs; ++run) {
        bool as_described = false;
        small.push_back(time_burst_batch(10000, &as_described));
        ok = ok && as_described;
        large.push_back(time_burst_batch(100000, &as_described));
        ok = ok && as_described;
    }
    const double s = qz::bench::median(small);
    const double l = qz::bench::median(large);
    std::printf("b. batch of a burst, 200 visible lines: 10,000 messages %.1f ms, 100,000 messages %.1f ms "
                "(target < 100 ms), ratio %.1f (target <= 12); end state %s\n",
                s * 1e3, l * 1e3, l / s, ok ? "as described" : "WRONG");
}

void bench_memory(const QTemporaryDir& dir)
{
    log_controller log(nullptr, QStringLiteral("memory"), nullptr);
    log.set_log_file_name(dir.filePath(QStringLiteral("memory.log")));
    // Warm up, so that lazily built tables do not count as growth.
    for (int i = 0; i < 10000; ++i)
        log.log(log_item::INFO, message(i));
    const qint64 before = qz::bench::resident_bytes();
    for (int i = 0; i < 1000000; ++i)
        log.log(log_item::log_level_e(i % 4), message(i));
    const qint64 after = qz::bench::resident_bytes();
    std::printf("c. 1,000,000 log() calls without a list: resident memory grew by %lld KiB (target: flat)\n",
                (after - before) / 1024);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QTemporaryDir dir;
    QCoreApplication::setOrganizationName(QStringLiteral("qzgui-bench"));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path());
    QSettings().setValue(QStringLiteral("common/log_location"), dir.path());
    bench_log_calls(dir);
    bench_bursts();
    bench_memory(dir);
    return 0;
}
