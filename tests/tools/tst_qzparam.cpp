// SPDX-License-Identifier: BSD-3-Clause
// qzparam and qz-modbus-device as a user runs them: two processes talking Modbus TCP on 127.0.0.1,
// or RTU over a pseudo-terminal pair made by socat.
#include "modbus_fixture.h"

#include <QProcessEnvironment>
#include <QTcpServer>
#include <QtTest>

#include <csignal>
#include <pthread.h>

using qz::test::device_process;

namespace {

const QByteArray map_text = R"({"version": 1, "parameters": [
    {"id": "0x0010", "name": "Gain", "table": "holding", "address": 0, "type": "uint16", "initial": 12},
    {"id": "0x0011", "table": "holding", "address": 1, "type": "float32", "initial": 0.1},
    {"id": "0x0012", "table": "input", "address": 0, "type": "int16", "scale": 0.1, "initial": 0.3},
    {"id": "0x0013", "table": "coil", "address": 0, "type": "bool", "initial": true},
    {"id": "0x0014", "table": "holding", "address": 3, "type": "string", "registers": 4, "initial": "pump 1"},
    {"id": "0x12345", "table": "holding", "address": 7, "type": "int32", "initial": -70000},
    {"id": "0x0015", "table": "holding", "address": 30, "type": "string", "registers": 3, "initial": "x\u0000y\nz"},
    {"id": "0x0020", "table": "holding", "address": 40, "type": "uint16", "initial": 0,
     "choices": [{"value": 0, "text": "Idle"}, {"value": 1, "text": "Receive"}, {"value": 2, "text": "Transmit"}]},
    {"id": "0x0021", "table": "holding", "address": 41, "type": "int16", "minimum": -10, "maximum": 40, "initial": 12}
]})";

// What a finished qzparam run left.
struct run_t {
    int status = -1; // -1: did not end on its own
    QStringList out;
    QStringList err;
};

QStringList lines_of(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

class tst_qzparam : public QObject {
    Q_OBJECT

    QTemporaryDir _dir;
    QString _map;
    device_process _device;

    QProcess* _start(const QStringList& arguments)
    {
        auto* process = new QProcess(this);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        // Settings of the user running the tests stay out of it.
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), _dir.filePath(QStringLiteral("config")));
        process->setProcessEnvironment(environment);
        process->start(QStringLiteral(QZGUI_QZPARAM), arguments);
        return process;
    }

    run_t _finish(QProcess* process)
    {
        run_t run;
        if (process->waitForFinished(60000) && process->exitStatus() == QProcess::NormalExit)
            run.status = process->exitCode();
        else
            process->kill();
        process->waitForFinished(10000);
        run.out = lines_of(process->readAllStandardOutput());
        run.err = lines_of(process->readAllStandardError());
        delete process;
        return run;
    }

    run_t _qzparam(const QStringList& arguments) { return _finish(_start(arguments)); }

    QStringList _on_device(const QStringList& rest) const
    {
        return QStringList{QStringLiteral("--device"), _device.address(), QStringLiteral("--map"), _map}
        + rest;
    }

private slots:
    void initTestCase()
    {
        _map = _dir.filePath(QStringLiteral("map.json"));
        QVERIFY(qz::test::write_text(_map, map_text));
        QVERIFY(_device.start(_map, QStringLiteral("tcp://127.0.0.1:0"),
                              {"--exception", "holding:20=4", "--silent", "holding:21", "--exception",
                               "holding:22=2", "--exception", "holding:23=6"}));
    }

    void reads_every_id_of_the_map()
    {
        const run_t run = _qzparam(_on_device({"read"}));
        QCOMPARE(run.err, QStringList());
        QCOMPARE(
            run.out,
            QStringList({"0x0010 = 12", "0x0011 = 0.1", "0x0012 = 0.3", "0x0013 = true", "0x0014 = pump 1",
                         "0x12345 = -70000", "0x0015 = x\\u0000y\\u000az", "0x0020 = 0", "0x0021 = 12"}));
        QCOMPARE(run.status, 0);
    }

    void a_string_stays_one_line_whatever_it_holds()
    {
        // A line feed, a tab and a backslash: escaped so that a script can split on lines and undo it.
        run_t run = _qzparam(_on_device({"write", "0x14=a\nb\t\\"}));
        QCOMPARE(run.out, QStringList{"0x0014 = a\\u000ab\\u0009\\\\"});
        run = _qzparam(_on_device({"read", "0x14", "0x15"}));
        QCOMPARE(run.out, QStringList({"0x0014 = a\\u000ab\\u0009\\\\", "0x0015 = x\\u0000y\\u000az"}));
        QCOMPARE(_qzparam(_on_device({"write", "0x14=pump 1"})).status, 0);
    }

    void reads_the_ids_given_in_their_order()
    {
        const run_t run = _qzparam(_on_device({"read", "0x13", "16", "0x0010"}));
        QCOMPARE(run.out, QStringList({"0x0013 = true", "0x0010 = 12", "0x0010 = 12"}));
        QCOMPARE(run.status, 0);
    }

    void writes_and_prints_what_was_written()
    {
        run_t run = _qzparam(
            _on_device({"write", "0x10=0x2A", "0x11=2.5e-3", "0x14=ab c", "0x13=false", "0x12345=-5"}));
        QCOMPARE(run.err, QStringList());
        QCOMPARE(run.out,
                 QStringList(
                     {"0x0010 = 42", "0x0011 = 0.0025", "0x0014 = ab c", "0x0013 = false", "0x12345 = -5"}));
        QCOMPARE(run.status, 0);
        run = _qzparam(_on_device({"read", "0x10", "0x14", "0x13"}));
        QCOMPARE(run.out, QStringList({"0x0010 = 42", "0x0014 = ab c", "0x0013 = false"}));
        run =
            _qzparam(_on_device({"write", "0x10=12", "0x11=0.1", "0x14=pump 1", "0x13=1", "0x12345=-70000"}));
        QCOMPARE(run.status, 0);
    }

    void a_choice_is_written_by_its_text()
    {
        run_t run = _qzparam(_on_device({"write", "0x20=Transmit", "0x21=-10"}));
        QCOMPARE(run.err, QStringList());
        QCOMPARE(run.out, QStringList({"0x0020 = 2", "0x0021 = -10"}));
        QCOMPARE(run.status, 0);
        run = _qzparam(_on_device({"read", "0x20", "0x21"}));
        QCOMPARE(run.out, QStringList({"0x0020 = 2", "0x0021 = -10"}));
        QCOMPARE(_qzparam(_on_device({"write", "0x20=Idle", "0x21=12"})).status, 0);
    }

    void a_failed_id_is_reported_and_the_others_go_on()
    {
        // A read-only input register refused before sending; an id that the device refuses.
        QTemporaryDir dir;
        const QString map = dir.filePath(QStringLiteral("faults.json"));
        QVERIFY(qz::test::write_text(map, R"({"version": 1, "parameters": [
            {"id": 1, "table": "holding", "address": 0, "type": "uint16"},
            {"id": 2, "table": "holding", "address": 20, "type": "uint16"},
            {"id": 3, "table": "input", "address": 0, "type": "int16"},
            {"id": 4, "table": "holding", "address": 22, "type": "uint16"},
            {"id": 5, "table": "holding", "address": 23, "type": "uint16"}]})"));
        const QStringList device{QStringLiteral("--device"), _device.address(), QStringLiteral("--map"), map};
        run_t run = _qzparam(device + QStringList{"read", "2", "1"});
        QCOMPARE(run.out, QStringList{"0x0001 = 12"});
        // The catalogue's text first, then what the device said, without --verbose.
        QCOMPARE(run.err,
                 QStringList{"0x0002: general error: Modbus exception 0x04 (server device failure)"});
        QCOMPARE(run.status, 1);
        run = _qzparam(device + QStringList{"write", "3=1", "1=12", "4=1"});
        QCOMPARE(run.out, QStringList{"0x0001 = 12"});
        QCOMPARE(run.err,
                 QStringList({"0x0003: parameter error: read-only",
                              "0x0004: parameter error: Modbus exception 0x02 (illegal data address)"}));
        QCOMPARE(run.status, 1);
        run = _qzparam(device + QStringList{"read", "5"});
        QCOMPARE(run.err,
                 QStringList{"0x0005: another command is in progress: Modbus exception 0x06 (server "
                             "device busy)"});
        // --verbose shows the whole message.
        run = _qzparam(device + QStringList{"--verbose", "read", "2"});
        QCOMPARE(run.err.size(), 1);
        QVERIFY2(run.err.first().startsWith(QLatin1String("0x0002: general error: "))
                     && run.err.first().contains(QLatin1String("Modbus exception 0x04")),
                 qPrintable(run.err.first()));
    }

    void bad_input_sends_nothing_data()
    {
        QTest::addColumn<QStringList>("arguments"); // "DEVICE" and "MAP" stand for the real ones
        QTest::addColumn<QString>("message");
        QTest::newRow("no command") << QStringList{"--device", "DEVICE", "--map", "MAP"}
                                    << "qzparam: the command is read, write or watch";
        QTest::newRow("other command") << QStringList{"--device", "DEVICE", "--map", "MAP", "erase"}
                                       << "qzparam: the command is read, write or watch";
        QTest::newRow("no device") << QStringList{"--map", "MAP", "read"}
                                   << "qzparam: --device and --map are needed";
        QTest::newRow("bad device") << QStringList{
            "--device", "tcp://127.0.0.1", "--map", "MAP",
            "read"} << "qzparam: bad device address \"tcp://127.0.0.1\": a TCP address is tcp://HOST:PORT";
        QTest::newRow("no map file") << QStringList{"--device", "DEVICE", "--map", "/nonexistent/map.json",
                                                    "read"}
                                     << "qzparam: /nonexistent/map.json: ";
        QTest::newRow("unknown id") << QStringList{"--device", "DEVICE", "--map", "MAP",
                                                   "read",     "0x10",   "0x99"}
                                    << "qzparam: 0x99 is not an id of MAP";
        QTest::newRow("id text") << QStringList{"--device", "DEVICE", "--map", "MAP", "read", "gain"}
                                 << "qzparam: gain is not an id of MAP";
        QTest::newRow("bad value") << QStringList{"--device", "DEVICE",  "--map",     "MAP",
                                                  "write",    "0x10=12", "0x13=maybe"}
                                   << "qzparam: \"maybe\" is not a value of 0x0013";
        QTest::newRow("out of range")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x10=65536"}
            << "qzparam: \"65536\" is not a value of 0x0010: uint16 takes whole numbers from 0 to 65535";
        QTest::newRow("group separator")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x10=1,000"}
            << "qzparam: \"1,000\" is not a value of 0x0010: not a number: decimal digits";
        QTest::newRow("float group separator")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x11=1,000"}
            << "qzparam: \"1,000\" is not a value of 0x0011: not a number: decimal digits";
        QTest::newRow("between two steps")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x12=0.35"}
            << "qzparam: \"0.35\" is not a value of 0x0012: scale 0.1 holds 0.3 and 0.4 nearest, not 0.35";
        QTest::newRow("not a choice")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x20=Beacon"}
            << "qzparam: \"Beacon\" is not a value of 0x0020: not a number";
        QTest::newRow("a choice's value that is none")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x20=3"}
            << "qzparam: \"3\" is not a value of 0x0020: 3 is not one of the choices: 0 (Idle), 1 (Receive), "
               "2 "
               "(Transmit)";
        QTest::newRow("above the maximum")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x21=41"}
            << "qzparam: \"41\" is not a value of 0x0021: 41 is above the maximum 40";
        QTest::newRow("no value") << QStringList{"--device", "DEVICE", "--map", "MAP", "write", "0x10"}
                                  << "qzparam: \"0x10\" is not ID=VALUE";
        QTest::newRow("write nothing")
            << QStringList{"--device", "DEVICE", "--map", "MAP", "write"} << "qzparam: write needs ID=VALUE";
        QTest::newRow("bad timeout") << QStringList{"--device",  "DEVICE", "--map", "MAP",
                                                    "--timeout", "soon",   "read"}
                                     << "qzparam: --timeout takes a whole number from 10 to 3600000";
        QTest::newRow("bad repeats") << QStringList{"--device",  "DEVICE", "--map", "MAP",
                                                    "--repeats", "-1",     "read"}
                                     << "qzparam: --repeats takes a whole number from 0 to 100";
    }

    void bad_input_sends_nothing()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        arguments.replaceInStrings(QStringLiteral("DEVICE"), _device.address());
        arguments.replaceInStrings(QStringLiteral("MAP"), _map);
        message.replace(QStringLiteral("MAP"), _map);
        const int before = _device.requests().size();
        const run_t run = _qzparam(arguments);
        QCOMPARE(run.status, 2);
        QCOMPARE(run.out, QStringList());
        QCOMPARE(run.err.size(), 1);
        QVERIFY2(run.err.first().startsWith(message), qPrintable(run.err.first()));
        QTest::qWait(50);
        QCOMPARE(_device.requests().size(), before);
    }

    void a_bad_map_is_a_bad_argument()
    {
        QTemporaryDir dir;
        const QString map = dir.filePath(QStringLiteral("bad.json"));
        QVERIFY(qz::test::write_text(
            map,
            R"({"version": 1, "parameters": [{"id": 1, "table": "desk", "address": 0, "type": "uint16"}]})"));
        const run_t run = _qzparam({"--device", _device.address(), "--map", map, "read"});
        QCOMPARE(run.status, 2);
        QCOMPARE(run.err,
                 QStringList{QStringLiteral("qzparam: %1: parameter 1 (id 0x0001): \"table\" is not coil, "
                                            "discrete, input or holding")
                                 .arg(map)});
    }

    void no_connection_is_status_3()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const QString address = QStringLiteral("tcp://127.0.0.1:%1").arg(probe.serverPort());
        probe.close();
        const run_t run = _qzparam({"--device", address, "--map", _map, "read"});
        QCOMPARE(run.status, 3);
        QCOMPARE(run.out, QStringList());
        QCOMPARE(run.err.size(), 1);
        QVERIFY2(run.err.first().startsWith(
                     QStringLiteral("qzparam: %1: please check com port and device address: no connection (")
                         .arg(address)),
                 qPrintable(run.err.first()));
    }

    void timeout_and_repeats_apply_to_the_run()
    {
        QTemporaryDir dir;
        const QString map = dir.filePath(QStringLiteral("silent.json"));
        QVERIFY(qz::test::write_text(map, R"({"version": 1, "parameters": [
            {"id": 7, "table": "holding", "address": 21, "type": "uint16"}]})"));
        const int before = _device.requests().size();
        const run_t run = _qzparam(
            {"--device", _device.address(), "--map", map, "--timeout", "200", "--repeats", "2", "read"});
        QCOMPARE(run.status, 1);
        QCOMPARE(run.err, QStringList{"0x0007: error while reading data: no answer within 200 ms, 3 times"});
        // The first request and two repeats, none answered.
        QCOMPARE(_device.requests().mid(before),
                 QStringList({"unit 1: read holding 21 to 21: no answer",
                              "unit 1: read holding 21 to 21: no answer",
                              "unit 1: read holding 21 to 21: no answer"}));
    }

    void ctrl_c_stops_the_worker_and_exits_cleanly()
    {
        QTemporaryDir dir;
        const QString map = dir.filePath(QStringLiteral("silent.json"));
        QVERIFY(qz::test::write_text(map, R"({"version": 1, "parameters": [
            {"id": 7, "table": "holding", "address": 21, "type": "uint16"},
            {"id": 8, "table": "holding", "address": 0, "type": "uint16"}]})"));
        const int before = _device.requests().size();
        QProcess* process =
            _start({"--device", _device.address(), "--map", map, "--timeout", "600000", "read", "7", "8"});
        QVERIFY(process->waitForStarted(10000));
        QVERIFY(_device.wait_for_request(QStringLiteral("read holding 21 to 21"), before));
        ::kill(pid_t(process->processId()), SIGINT);
        const run_t run = _finish(process);
        QCOMPARE(run.status, 1);
        QCOMPARE(run.out, QStringList());
        QVERIFY2(run.err == QStringList({"0x0007: stopped", "qzparam: stopped"}),
                 qPrintable(run.err.join(QLatin1String(" | "))));
        // The sweep ended there: the second id was never asked for.
        QCOMPARE(_device.requests().mid(before), QStringList{"unit 1: read holding 21 to 21: no answer"});
    }

    void a_ctrl_c_before_the_operation_began_still_stops_it()
    {
        // SIGINT blocked while qzparam starts (the child inherits the mask): it arrives before
        // anything of qzparam runs, and is taken once its handler is in place, at the latest
        // before the operation begins. Without the stop, the silent id would be waited for ten minutes.
        QTemporaryDir dir;
        const QString map = dir.filePath(QStringLiteral("silent.json"));
        QVERIFY(qz::test::write_text(map, R"({"version": 1, "parameters": [
            {"id": 7, "table": "holding", "address": 21, "type": "uint16"}]})"));
        sigset_t interrupt, before;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        pthread_sigmask(SIG_BLOCK, &interrupt, &before);
        QProcess* process =
            _start({"--device", _device.address(), "--map", map, "--timeout", "600000", "read", "7"});
        const bool started = process->waitForStarted(10000);
        if (started)
            ::kill(pid_t(process->processId()), SIGINT);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        QVERIFY(started);
        const run_t run = _finish(process);
        QCOMPARE(run.status, 1);
        QVERIFY2(!run.err.isEmpty() && run.err.last() == QLatin1String("qzparam: stopped"),
                 qPrintable(run.err.join(QLatin1String(" | "))));
    }

    void the_device_logs_each_request_and_stops_on_sigterm()
    {
        device_process device;
        QVERIFY(device.start(_map));
        QCOMPARE(_qzparam({"--device", device.address(), "--map", _map, "read", "0x10", "0x13"}).status, 0);
        QCOMPARE(device.requests(),
                 QStringList({"unit 1: read holding 0 to 0: ok", "unit 1: read coil 0 to 0: ok"}));
        QByteArray rest;
        QCOMPARE(device.terminate(&rest), 0);
        QCOMPARE(rest, QByteArray("stopped\n"));
    }

    void the_device_combines_its_fault_rules_in_command_line_order()
    {
        // Both delays, then the first of the exception and the silence as given.
        device_process device;
        QVERIFY(
            device.start(_map, QStringLiteral("tcp://127.0.0.1:0"),
                         {"--delay", "holding:0=100", "--exception", "holding:0=3", "--silent", "holding:0",
                          "--delay", "holding:0=50", "--silent", "coil:0", "--exception", "coil:0=4"}));
        QCOMPARE(
            _qzparam({"--device", device.address(), "--map", _map, "--timeout", "2000", "read", "0x10"}).err,
            QStringList{"0x0010: parameter error: Modbus exception 0x03 (illegal data value)"});
        QCOMPARE(_qzparam({"--device", device.address(), "--map", _map, "--timeout", "300", "--repeats", "0",
                           "read", "0x13"})
                     .status,
                 1);
        QCOMPARE(device.requests(),
                 QStringList({"unit 1: read holding 0 to 0: exception 0x03 after 150 ms",
                              "unit 1: read coil 0 to 0: no answer"}));
    }

    void a_short_bit_reply_is_an_error_not_false()
    {
        // Nine coils take two bytes; the garbled reply has one. No coil reads as false.
        QTemporaryDir dir;
        const QString map = dir.filePath(QStringLiteral("coils.json"));
        QByteArray text = "{\"version\": 1, \"parameters\": [";
        for (int i = 0; i < 9; ++i)
            text += QStringLiteral("%1{\"id\": %2, \"table\": \"coil\", \"address\": %3, \"type\": \"bool\", "
                                   "\"initial\": true}")
                        .arg(i ? QStringLiteral(",") : QString())
                        .arg(0x20 + i)
                        .arg(i)
                        .toUtf8();
        QVERIFY(qz::test::write_text(map, text + "]}"));
        device_process device;
        QVERIFY(device.start(map, QStringLiteral("tcp://127.0.0.1:0"), {"--garble", "coil:8"}));
        const run_t run = _qzparam({"--device", device.address(), "--map", map, "read"});
        QCOMPARE(run.status, 1);
        QCOMPARE(run.out, QStringList());
        QCOMPARE(run.err.size(), 9);
        QCOMPARE(run.err.last(),
                 QStringLiteral("0x0028: invalid result value in response: the reply does not fit "
                                "the request (1 bytes of values where 9 values take 2)"));
    }

    void help_shows_the_default_time_outs_and_repeats()
    {
        const run_t run = _qzparam({"--help"});
        QCOMPARE(run.status, 0);
        const QString text = run.out.join(QLatin1Char(' ')).simplified();
        QVERIFY2(text.contains(QLatin1String("4000 ms to connect, 800 ms per read, 1000 ms per write")),
                 qPrintable(text));
        QVERIFY2(text.contains(QLatin1String("4 for reads, 2 for writes")), qPrintable(text));
    }

    void localhost_serves_and_reaches_the_device()
    {
        device_process device;
        QVERIFY(device.start(_map, QStringLiteral("tcp://localhost:0")));
        QVERIFY2(device.address().startsWith(QLatin1String("tcp://localhost:")),
                 qPrintable(device.address()));
        const run_t run = _qzparam({"--device", device.address(), "--map", _map, "read", "0x10"});
        QCOMPARE(run.err, QStringList());
        QCOMPARE(run.out, QStringList{"0x0010 = 12"});
    }

    void the_device_refuses_bad_arguments_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no map") << QStringList{"--listen", "tcp://127.0.0.1:0"}
                                << "qz-modbus-device: --listen and --map are needed";
        QTest::newRow("bad listen") << QStringList{"--listen", "udp://127.0.0.1:0", "--map", "MAP"}
                                    << "qz-modbus-device: bad device address \"udp://127.0.0.1:0\"";
        QTest::newRow("bad exception")
            << QStringList{"--listen", "tcp://127.0.0.1:0", "--map", "MAP", "--exception", "holding:1"}
            << "qz-modbus-device: --exception: \"holding:1\" is not TABLE:ADDRESS=NUMBER";
        QTest::newRow("code 0")
            << QStringList{"--listen", "tcp://127.0.0.1:0", "--map", "MAP", "--exception", "coil:1=0"}
            << "qz-modbus-device: --exception: \"coil:1=0\": an exception code is 1 to 255";
        QTest::newRow("bad silent") << QStringList{"--listen", "tcp://127.0.0.1:0", "--map",
                                                   "MAP",      "--silent",          "desk:1"}
                                    << "qz-modbus-device: --silent: \"desk:1\" is not TABLE:ADDRESS";
        QTest::newRow("bad delay")
            << QStringList{"--listen", "tcp://127.0.0.1:0", "--map", "MAP", "--delay", "input:70000=5"}
            << "qz-modbus-device: --delay: \"input:70000=5\" is not TABLE:ADDRESS=NUMBER";
    }

    void the_device_refuses_bad_arguments()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        arguments.replaceInStrings(QStringLiteral("MAP"), _map);
        QProcess process;
        process.start(QStringLiteral(QZGUI_MODBUS_DEVICE), arguments);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 2);
        const QString err = QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(err.startsWith(message), qPrintable(err));
    }

    void reads_and_writes_over_a_serial_line()
    {
        qz::test::pty_pair line;
        const QString fault = line.start();
        QVERIFY2(fault.isEmpty(), qPrintable(fault));
        device_process device;
        QVERIFY(device.start(_map, QStringLiteral("rtu:%1?baud=19200&unit=5").arg(line.first())));
        const QStringList on_line{
            QStringLiteral("--device"),  QStringLiteral("rtu:%1?baud=19200&unit=5").arg(line.second()),
            QStringLiteral("--map"),     _map,
            QStringLiteral("--timeout"), QStringLiteral("2000")};
        run_t run = _qzparam(on_line + QStringList{"write", "0x10=513"});
        QCOMPARE(run.out, QStringList{"0x0010 = 513"});
        QCOMPARE(run.status, 0);
        run = _qzparam(on_line + QStringList{"read", "0x10", "0x13", "0x14"});
        QCOMPARE(run.out, QStringList({"0x0010 = 513", "0x0013 = true", "0x0014 = pump 1"}));
        QCOMPARE(run.status, 0);
        QCOMPARE(device.requests(),
                 QStringList({"unit 5: write holding 0 to 0: ok", "unit 5: read holding 0 to 0: ok",
                              "unit 5: read coil 0 to 0: ok", "unit 5: read holding 3 to 6: ok"}));
    }

    void a_late_answer_still_arrives()
    {
        device_process device;
        QVERIFY(device.start(_map, QStringLiteral("tcp://127.0.0.1:0"), {"--delay", "holding:0=300"}));
        const run_t run =
            _qzparam({"--device", device.address(), "--map", _map, "--timeout", "20000", "read", "0x10"});
        QCOMPARE(run.out, QStringList{"0x0010 = 12"});
        QCOMPARE(device.requests(), QStringList{"unit 1: read holding 0 to 0: ok after 300 ms"});
    }
};

QTEST_GUILESS_MAIN(tst_qzparam)
#include "tst_qzparam.moc"
