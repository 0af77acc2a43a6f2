// SPDX-License-Identifier: BSD-3-Clause
// Modbus RTU on a real serial line: the device simulator on one end of a pseudo-terminal pair made
// by socat, the worker on the other. (qzparam's turn on such a line is in tst_qzparam.)
#include "modbus_fixture.h"
#include "modbus_module_fixture.h"
#include "modbus_worker_fixture.h"
#include "worker_fixture.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>

#include <module_api/media_exception.h>

#include <QtTest>

#include <chrono>
#include <ctime>
#include <memory>
#include <thread>

using namespace std::chrono_literals;
using qz::api::proto::media_exception;
using qz::test::device_process;
using qz::test::probe_worker;
using qz::test::recorder;
using qz::test::run_sweep;
using qz::test::thrown;

namespace {

// CPU time this process has used so far, all its threads together.
std::chrono::milliseconds cpu_time()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return std::chrono::milliseconds(qint64(t.tv_sec) * 1000 + t.tv_nsec / 1000000);
}

const QByteArray map_text = R"({"version": 1, "parameters": [
    {"id": "0x10", "table": "holding", "address": 0, "type": "uint16", "initial": 12},
    {"id": "0x11", "table": "holding", "address": 1, "type": "int32", "word_order": "little", "initial": -5},
    {"id": "0x12", "table": "discrete", "address": 4, "type": "bool", "initial": true},
    {"id": "0x13", "table": "holding", "address": 3, "type": "string", "registers": 3, "initial": "rtu"},
    {"id": "0x14", "table": "holding", "address": 20, "type": "uint16"},
    {"id": "0x15", "table": "holding", "address": 21, "type": "uint16"}
]})";

} // namespace

class tst_modbus_rtu : public QObject {
    Q_OBJECT

    qz::test::worker_environment _environment;
    QTemporaryDir _dir;
    QString _map;
    qz::test::pty_pair _line;
    device_process _device;

    QString _client(int unit) const
    {
        return QStringLiteral("rtu:%1?baud=19200&parity=even&unit=%2").arg(_line.second()).arg(unit);
    }

private slots:
    void initTestCase()
    {
        _map = _dir.filePath(QStringLiteral("map.json"));
        QVERIFY(qz::test::write_text(_map, map_text));
        const QString fault = _line.start();
        QVERIFY2(fault.isEmpty(), qPrintable(fault));
        QVERIFY(_device.start(_map, QStringLiteral("rtu:%1?baud=19200&parity=even&unit=3").arg(_line.first()),
                              {"--exception", "holding:20=2", "--silent", "holding:21"}));
        QCOMPARE(_device.address(), QStringLiteral("rtu:%1?baud=19200&unit=3").arg(_line.first()));
    }

    void init() { qz::test::set_reply_timeouts(_environment.settings, 1000); }

    void reads_and_writes_over_the_line()
    {
        qz::modbus::modbus_module module(_client(3));
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(_map));
        recorder log(worker);
        const int before = _device.requests().size();
        QVERIFY(run_sweep(worker, [&] { worker._get_params({0x13, 0x10, 0x12, 0x11}); }));
        QCOMPARE(
            log.take(),
            QStringList({"begin read", "state connecting", "state connected", "get 19 = rtu", "get 16 = 12",
                         "get 18 = true", "get 17 = -5", "state disconnected", "end read"}));
        QCOMPARE(_device.requests().mid(before),
                 QStringList({"unit 3: read holding 0 to 5: ok", "unit 3: read discrete 4 to 4: ok"}));

        QVERIFY(run_sweep(worker, [&] {
            worker._set_params({{0x11, 70000}, {0x13, QStringLiteral("abcdef")}});
        }));
        QVERIFY(run_sweep(worker, [&] { worker._get_params({0x11, 0x13}); }));
        const QStringList lines = log.take();
        QVERIFY2(lines.contains(QStringLiteral("get 17 = 70000"))
                     && lines.contains(QStringLiteral("get 19 = abcdef")),
                 qPrintable(lines.join(QLatin1Char('\n'))));
        QVERIFY(run_sweep(worker, [&] { worker._set_params({{0x11, -5}, {0x13, QStringLiteral("rtu")}}); }));
    }

    void faults_over_the_line()
    {
        qz::modbus::modbus_module module(_client(3));
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(_map));
        recorder log(worker);
        QVERIFY(run_sweep(worker, [&] { worker._get_params({0x14, 0x15}); }));
        const QStringList lines = log.take();
        // One block, refused; read again one by one: an exception, then no answer.
        QCOMPARE(lines.size(), 7);
        QVERIFY2(lines[3].startsWith(QLatin1String("get_error 20 proto 5 ")), qPrintable(lines[3]));
        QVERIFY2(lines[4].startsWith(QLatin1String("get_error 21 media 4 ")), qPrintable(lines[4]));
    }

    void another_unit_does_not_answer()
    {
        qz::modbus::modbus_module module(_client(4));
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(_map));
        recorder log(worker);
        const int before = _device.requests().size();
        QVERIFY(run_sweep(worker, [&] { worker._get_params({0x10}); }));
        const QStringList lines = log.take();
        QCOMPARE(lines.size(), 6);
        QVERIFY2(lines[3].startsWith(QLatin1String("get_error 16 media 4 ")), qPrintable(lines[3]));
        QCOMPARE(_device.requests().mid(before),
                 QStringList{"unit 4: not this device's unit (3): no answer"});
    }

    void a_late_reply_is_dropped_not_taken_for_the_next_request()
    {
        // Register N holds N. The reply for register 1 comes 500 ms after its time-out, while the
        // request for register 2, itself answered late, would still wait for its own.
        qz::test::pty_pair line;
        const QString fault = line.start();
        QVERIFY2(fault.isEmpty(), qPrintable(fault));
        const QString map = _dir.filePath(QStringLiteral("late.json"));
        QVERIFY(qz::test::write_text(map, qz::test::holding_map(4)));
        device_process device;
        QVERIFY(device.start(map, QStringLiteral("rtu:%1").arg(line.first()),
                             {"--delay", "holding:1=1500", "--delay", "holding:2=800"}));
        qz::modbus::modbus_module module(QStringLiteral("rtu:%1").arg(line.second()));
        module.set_config(qz::test::short_config(1000));
        module.connect();
        QCOMPARE(thrown<media_exception>([&] { module.read(qz::modbus::holding, 1, 1); }).get_type(),
                 media_exception::read_failed);
        QCOMPARE(module.read(qz::modbus::holding, 2, 1), QVector<uint16_t>{2});
        QCOMPARE(module.read(qz::modbus::holding, 3, 1), QVector<uint16_t>{3});
    }

    void a_vanished_port_is_no_device_without_a_busy_loop()
    {
        auto line = std::make_unique<qz::test::pty_pair>();
        const QString fault = line->start();
        QVERIFY2(fault.isEmpty(), qPrintable(fault));
        auto device = std::make_unique<device_process>();
        QVERIFY(device->start(_map, QStringLiteral("rtu:%1?unit=3").arg(line->first())));
        qz::modbus::modbus_module module(QStringLiteral("rtu:%1?unit=3").arg(line->second()));
        module.set_config(qz::test::short_config(1000));
        module.connect();
        QCOMPARE(module.read(qz::modbus::holding, 0, 1), QVector<uint16_t>{12});
        // The adapter is pulled out: both ends of the line go.
        line.reset();
        device.reset();
        const auto lost = thrown<media_exception>([&] { module.read(qz::modbus::holding, 0, 1); });
        QCOMPARE(lost.get_type(), media_exception::no_device);
        QVERIFY2(QString::fromUtf8(lost.what()).contains(QLatin1String(": connection lost (")), lost.what());
        QCOMPARE(thrown<media_exception>([&] { module.write(qz::modbus::holding, 0, {1}); }).get_type(),
                 media_exception::no_device);
        // The module's thread waits without spinning on the port's errors.
        const auto before = cpu_time();
        std::this_thread::sleep_for(1s);
        const auto used = cpu_time() - before;
        qInfo("CPU time in the second after the port went: %lld ms", qint64(used.count()));
        QVERIFY2(used < 500ms, qPrintable(QString::number(used.count())));
    }

    void stop_ends_a_read_on_a_silent_line()
    {
        _environment.settings.set(QStringLiteral("command/timeout_s"), 60000);
        qz::modbus::modbus_module module(_client(3));
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(_map));
        recorder log(worker);
        const int before = _device.requests().size();
        qz::test::test_thread thread([&] { worker._get_params({0x15, 0x10}); });
        thread.adopt(worker);
        thread.start();
        QVERIFY(_device.wait_for_request(QStringLiteral("read holding 21 to 21"), before));
        worker.stop();
        QVERIFY(thread.finished_within(30s));
        const QStringList lines = log.take();
        QCOMPARE(lines.size(), 6);
        QVERIFY2(lines[3].startsWith(QLatin1String("get_error 21 media 6 ")), qPrintable(lines[3]));
    }
};

QTEST_GUILESS_MAIN(tst_modbus_rtu)
#include "tst_modbus_rtu.moc"
