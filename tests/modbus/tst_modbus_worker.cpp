// SPDX-License-Identifier: BSD-3-Clause
// The Modbus worker against the project's device simulator on 127.0.0.1: grouped sweeps, the
// order of reports, faults the device was told to show, stop, writes and the value cache.
#include "modbus_fixture.h"
#include "modbus_worker_fixture.h"
#include "worker_fixture.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>

#include <QTcpServer>
#include <QtTest>

#include <chrono>

using namespace std::chrono_literals;
using qz::test::device_process;
using qz::test::framed;
using qz::test::kinds_only;
using qz::test::probe_worker;
using qz::test::recorder;
using qz::test::run_sweep;

namespace {

const QByteArray mixed_map = R"({"version": 1, "parameters": [
    {"id": "0x10", "table": "holding", "address": 0, "type": "uint16", "initial": 12},
    {"id": "0x11", "table": "holding", "address": 1, "type": "float32", "word_order": "little", "initial": 50.5},
    {"id": "0x12", "table": "input", "address": 0, "type": "int16", "scale": 0.1, "initial": -1.5},
    {"id": "0x13", "table": "coil", "address": 0, "type": "bool", "initial": true},
    {"id": "0x14", "table": "holding", "address": 3, "type": "string", "registers": 4, "initial": "pump 1"},
    {"id": "0x15", "table": "holding", "address": 7, "type": "int32", "initial": -70000},
    {"id": "0x16", "table": "holding", "address": 9, "type": "uint16", "read_only": true, "initial": 7},
    {"id": "0x17", "table": "coil", "address": 1, "type": "bool"},
    {"id": "0x18", "table": "holding", "address": 20, "type": "int16", "scale": 0.1}
]})";

} // namespace

class tst_modbus_worker : public QObject {
    Q_OBJECT

    qz::test::worker_environment _environment;
    QTemporaryDir _dir;

    QString _map_file(const QByteArray& text)
    {
        static int serial = 0;
        const QString path = _dir.filePath(QStringLiteral("map%1.json").arg(++serial));
        return qz::test::write_text(path, text) ? path : QString();
    }

private slots:
    void init()
    {
        // Short enough for a test, long enough for a loaded machine's loopback.
        qz::test::set_reply_timeouts(_environment.settings, 2000);
    }

    void reads_in_blocks_and_reports_in_request_order()
    {
        device_process device;
        const QString map_path = _map_file(mixed_map);
        QVERIFY(device.start(map_path));
        qz::modbus::modbus_module module(device.address());
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(map_path));
        recorder log(worker);
        const QVector<uint32_t> ids{0x13, 0x10, 0x99, 0x12, 0x14, 0x11, 0x15, 0x16, 0x17, 0x10, 0x99};
        QVERIFY(run_sweep(worker, [&] { worker._get_params(ids); }));

        QCOMPARE(kinds_only(log.take()),
                 framed("read",
                        {"get 19 = true", "get 16 = 12", "get_error 153 proto 5", "get 18 = -1.5",
                         "get 20 = pump 1", "get 17 = 50.5", "get 21 = -70000", "get 22 = 7",
                         "get 23 = false", "get 16 = 12", "get_error 153 proto 5"}));
        // One request per table, in the order the request first needs them; none for the unknown id.
        QCOMPARE(device.requests(),
                 QStringList({"unit 1: read coil 0 to 1: ok", "unit 1: read holding 0 to 9: ok",
                              "unit 1: read input 0 to 0: ok"}));
        // Every value read went into the cache.
        QVERIFY(worker._emit_param_value_from_cache(0x15));
        QCOMPARE(log.take(), QStringList{"get 21 = -70000"});
    }

    void a_thousand_parameters_with_one_bad_address()
    {
        device_process device;
        const QString map_path = _map_file(qz::test::holding_map(1000));
        QVERIFY(
            device.start(map_path, QStringLiteral("tcp://127.0.0.1:0"), {"--exception", "holding:500=2"}));
        qz::modbus::modbus_module module(device.address());
        const auto map = qz::modbus::register_map::load(map_path);
        probe_worker worker(nullptr, &module, map);
        recorder log(worker);
        QVERIFY(run_sweep(worker, [&] { worker._get_params(map.ids()); }));

        QStringList body;
        for (int i = 0; i < 1000; ++i)
            body.append(i == 500 ? QStringLiteral("get_error %1 proto 5").arg(0x1000 + i)
                                 : QStringLiteral("get %1 = %2").arg(0x1000 + i).arg(i));
        const QStringList lines = log.take();
        QCOMPARE(kinds_only(lines), framed("read", body));
        QVERIFY2(lines.filter(QStringLiteral("Modbus exception 0x02 (illegal data address)")).size() == 1,
                 qPrintable(lines.filter(QStringLiteral("get_error")).join(QLatin1Char('\n'))));
        // Eight blocks of 125; the failing one read again parameter by parameter.
        QStringList expected;
        for (int block = 0; block < 8; ++block) {
            const bool bad = block == 4;
            expected.append(QStringLiteral("unit 1: read holding %1 to %2: %3")
                                .arg(block * 125)
                                .arg(block * 125 + 124)
                                .arg(bad ? QStringLiteral("exception 0x02") : QStringLiteral("ok")));
            for (int a = block * 125; bad && a < block * 125 + 125; ++a)
                expected.append(QStringLiteral("unit 1: read holding %1 to %1: %2")
                                    .arg(a)
                                    .arg(a == 500 ? QStringLiteral("exception 0x02") : QStringLiteral("ok")));
        }
        QCOMPARE(device.requests(), expected);
    }

    void a_failed_block_costs_one_request_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<QStringList>("fault");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("request");
        // A device that does not answer costs one time-out per block, not per parameter.
        QTest::newRow("silent") << 20 << QStringList{"--silent", "holding:10"} << "media 4"
                                << "unit 1: read holding 0 to 19: no answer";
        // Exception 0x0B says that the gateway's target did not answer: no parameter's fault, so
        // the block is not read again id by id, which would cost a gateway time-out each.
        QTest::newRow("gateway target") << 5 << QStringList{"--exception", "holding:2=11"} << "proto 1"
                                        << "unit 1: read holding 0 to 4: exception 0x0b";
    }

    void a_failed_block_costs_one_request()
    {
        QFETCH(int, count);
        QFETCH(QStringList, fault);
        QFETCH(QString, kind);
        QFETCH(QString, request);
        _environment.settings.set(QStringLiteral("command/timeout_s"), 300);
        device_process device;
        const QString map_path = _map_file(qz::test::holding_map(count));
        QVERIFY(device.start(map_path, QStringLiteral("tcp://127.0.0.1:0"), fault));
        qz::modbus::modbus_module module(device.address());
        const auto map = qz::modbus::register_map::load(map_path);
        probe_worker worker(nullptr, &module, map);
        recorder log(worker);
        QVERIFY(run_sweep(worker, [&] { worker._get_params(map.ids()); }));

        QStringList body;
        for (int i = 0; i < count; ++i)
            body.append(QStringLiteral("get_error %1 %2").arg(0x1000 + i).arg(kind));
        QCOMPARE(kinds_only(log.take()), framed("read", body));
        QCOMPARE(device.requests(), QStringList{request});
    }

    void each_failure_maps_onto_its_kind()
    {
        _environment.settings.set(QStringLiteral("command/timeout_s"), 300);
        device_process device;
        const QString map_path = _map_file(qz::test::holding_map(7));
        // Exception codes 1, 2, 3, 4 and 6, a reply one value short, and an address that answers.
        QVERIFY(device.start(map_path, QStringLiteral("tcp://127.0.0.1:0"),
                             {"--exception", "holding:0=1", "--exception", "holding:1=2", "--exception",
                              "holding:2=3", "--exception", "holding:3=4", "--exception", "holding:4=6",
                              "--garble", "holding:5"}));
        qz::modbus::modbus_module module(device.address());
        const auto map = qz::modbus::register_map::load(map_path);
        probe_worker worker(nullptr, &module, map);
        recorder log(worker);
        QVERIFY(run_sweep(worker, [&] { worker._get_params(map.ids()); }));
        const QStringList lines = log.take();
        QCOMPARE(kinds_only(lines),
                 framed("read",
                        {"get_error 4096 proto 3", "get_error 4097 proto 5", "get_error 4098 proto 5",
                         "get_error 4099 proto 1", "get_error 4100 proto 9", "get_error 4101 proto 4",
                         "get 4102 = 6"}));
        // The messages name the place, the code and Qt's text.
        QVERIFY2(
            lines.filter(QStringLiteral(", holding 3 to 3: Modbus exception 0x04 (server device failure)"))
                    .size()
                == 1,
            qPrintable(lines.join(QLatin1Char('\n'))));

        // A unit that is not there does not answer: a time-out.
        qz::modbus::modbus_module other_unit(
            device.address().replace(QLatin1String("unit=1"), QLatin1String("unit=7")));
        probe_worker stranger(nullptr, &other_unit, map);
        recorder stranger_log(stranger);
        QVERIFY(run_sweep(stranger, [&] { stranger._get_params({0x1006}); }));
        QCOMPARE(kinds_only(stranger_log.take()), framed("read", {"get_error 4102 media 4"}));
        QVERIFY(!device.requests().filter(QStringLiteral("unit 7: not this device's unit")).isEmpty());
    }

    void a_refused_connection_is_no_device()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const QString address = QStringLiteral("tcp://127.0.0.1:%1").arg(probe.serverPort());
        probe.close();
        qz::modbus::modbus_module module(address);
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(_map_file(mixed_map)));
        recorder log(worker);
        QVERIFY(run_sweep(worker, [&] { worker._get_params({0x10}); }));
        QCOMPARE(kinds_only(log.take()),
                 QStringList({"begin read", "state connecting", "connection_error media 1",
                              "state disconnected", "state disconnected", "end read"}));
    }

    void stop_ends_a_hanging_read_and_the_sweep()
    {
        _environment.settings.set(QStringLiteral("command/timeout_s"), 60000);
        device_process device;
        const QString map_path = _map_file(mixed_map);
        QVERIFY(device.start(map_path, QStringLiteral("tcp://127.0.0.1:0"), {"--silent", "holding:0"}));
        qz::modbus::modbus_module module(device.address());
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(map_path));
        recorder log(worker);
        qz::test::test_thread thread([&] { worker._get_params({0x10, 0x11, 0x13}); });
        thread.adopt(worker);
        thread.start();
        QVERIFY(device.wait_for_request(QStringLiteral("read holding 0 to 2")));
        worker.stop();
        QVERIFY(thread.finished_within(30s));
        // The block in progress fails as stopped; the coil block is never asked for.
        QCOMPARE(kinds_only(log.take()), framed("read", {"get_error 16 media 6", "get_error 17 media 6"}));
        QCOMPARE(device.requests(), QStringList{"unit 1: read holding 0 to 2: no answer"});
    }

    void a_stop_drops_the_block_sent_ahead()
    {
        device_process device;
        const QString map_path = _map_file(qz::test::holding_map(300));
        // The second block's reply comes late, so that the stop surely comes before it: the third
        // block would go out once it is in.
        QVERIFY(device.start(map_path, QStringLiteral("tcp://127.0.0.1:0"), {"--delay", "holding:125=300"}));
        qz::modbus::modbus_module module(device.address());
        const auto map = qz::modbus::register_map::load(map_path);
        probe_worker worker(nullptr, &module, map);
        recorder log(worker);
        // Stopped at the first value: the second block is on its way by then.
        connect(
            &worker, &qz::gui::sat_worker::on_get_param, &worker, [&worker] { worker.stop(); },
            Qt::DirectConnection);
        QVERIFY(run_sweep(worker, [&] { worker._get_params(map.ids()); }));

        // The block in progress is reported whole; nothing of the one sent ahead.
        QStringList body;
        for (int i = 0; i < 125; ++i)
            body.append(QStringLiteral("get %1 = %2").arg(0x1000 + i).arg(i));
        QCOMPARE(kinds_only(log.take()), framed("read", body));
        QVERIFY2(device.wait_for_request(QStringLiteral("read holding 125 to 249")),
                 qPrintable(device.requests().join("; ")));
        QCOMPARE(device.requests(),
                 QStringList({"unit 1: read holding 0 to 124: ok",
                              "unit 1: read holding 125 to 249: ok after 300 ms"}));
    }

    void writes_send_only_what_fits()
    {
        device_process device;
        const QString map_path = _map_file(mixed_map);
        QVERIFY(device.start(map_path));
        qz::modbus::modbus_module module(device.address());
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(map_path));
        recorder log(worker);
        const QVector<QPair<uint32_t, QVariant>> writes{
            {0x16, 8u},                          // read-only
            {0x10, 70000u},                      // out of range
            {0x99, 1},                           // not in the map
            {0x14, QStringLiteral("too long!")}, // nine characters in four registers
            {0x12, 1.0},                         // an input register
            {0x10, 99},                          // an int for a uint16: converts exactly
            {0x13, false},
            {0x18, 1.26}, // scaled: between two steps, refused rather than rounded
            {0x18, 1.3}};
        QVERIFY(run_sweep(worker, [&] { worker._set_params(writes); }));
        QCOMPARE(kinds_only(log.take()),
                 framed("write",
                        {"set_error 22 proto 5", "set_error 16 proto 5", "set_error 153 proto 5",
                         "set_error 20 proto 5", "set_error 18 proto 5", "set 16 = 99", "set 19 = false",
                         "set_error 24 proto 5", "set 24 = 1.3"}));
        QCOMPARE(device.requests(),
                 QStringList({"unit 1: write holding 0 to 0: ok", "unit 1: write coil 0 to 0: ok",
                              "unit 1: write holding 20 to 20: ok"}));
        // The cache holds what the device now holds, without a signal at the write.
        QVERIFY(worker._emit_param_value_from_cache(0x18));
        QCOMPARE(log.take(), QStringList{"get 24 = 1.3"});

        QVERIFY(run_sweep(worker, [&] { worker._get_params({0x10, 0x13, 0x18, 0x16}); }));
        QCOMPARE(log.take(), framed("read", {"get 16 = 99", "get 19 = false", "get 24 = 1.3", "get 22 = 7"}));
    }

    void writes_keep_the_maps_bounds_and_choices()
    {
        device_process device;
        const QString map_path = _map_file(R"({"version": 1, "parameters": [
            {"id": "0x30", "table": "holding", "address": 0, "type": "int16", "minimum": -10, "maximum": 40},
            {"id": "0x31", "table": "holding", "address": 1, "type": "uint16",
             "choices": [{"value": 0, "text": "Idle"}, {"value": 1, "text": "Receive"}, {"value": 2, "text": "Transmit"}]},
            {"id": "0x32", "table": "holding", "address": 2, "type": "uint32", "scale": 0.001,
             "minimum": 430, "maximum": 440}
        ]})");
        QVERIFY(device.start(map_path));
        qz::modbus::modbus_module module(device.address());
        probe_worker worker(nullptr, &module, qz::modbus::register_map::load(map_path));
        recorder log(worker);
        const QVector<QPair<uint32_t, QVariant>> writes{{0x30, 41},      {0x30, -11},   {0x30, 40},
                                                        {0x31, 3u},      {0x31, 2u},    {0x32, 429.999},
                                                        {0x32, 440.001}, {0x32, 433.92}};
        QVERIFY(run_sweep(worker, [&] { worker._set_params(writes); }));
        QCOMPARE(
            kinds_only(log.take()),
            framed("write",
                   {"set_error 48 proto 5", "set_error 48 proto 5", "set 48 = 40", "set_error 49 proto 5",
                    "set 49 = 2", "set_error 50 proto 5", "set_error 50 proto 5", "set 50 = 433.92"}));
        // Nothing was sent for a refused value.
        QCOMPARE(device.requests(),
                 QStringList({"unit 1: write holding 0 to 0: ok", "unit 1: write holding 1 to 1: ok",
                              "unit 1: write holding 2 to 3: ok"}));
    }
};

QTEST_GUILESS_MAIN(tst_modbus_worker)
#include "tst_modbus_worker.moc"
