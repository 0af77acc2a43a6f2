// SPDX-License-Identifier: BSD-3-Clause
// The Modbus module against real sockets on 127.0.0.1: a Qt Modbus server in a thread of its own,
// a port nobody listens on, and a server that accepts and never answers.
#include "event_thread.h"
#include "modbus_module_fixture.h"
#include "raw_modbus_server.h"

#include "qzgui/modbus/modbus_module.h"

#include <module_api/media_exception.h>
#include <module_api/proto_exception.h>

#include <QElapsedTimer>
#include <QModbusTcpServer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

using namespace qz::modbus;
using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::test::short_config;
using qz::test::thrown;

namespace {

// A Modbus server whose chosen holding registers answer with an exception code, or late.
class test_server : public QModbusTcpServer {
public:
    void set_exceptions(const QMap<int, QModbusPdu::ExceptionCode>& exceptions)
    {
        std::lock_guard<std::mutex> guard(_lock);
        _exceptions = exceptions;
    }

    void set_delays(const QMap<int, int>& delays_ms)
    {
        std::lock_guard<std::mutex> guard(_lock);
        _delays_ms = delays_ms;
    }

protected:
    QModbusResponse processRequest(const QModbusPdu& request) override
    {
        // Every request that names a holding register first: reads and both kinds of write.
        if (request.functionCode() == QModbusPdu::ReadHoldingRegisters
            || request.functionCode() == QModbusPdu::WriteSingleRegister
            || request.functionCode() == QModbusPdu::WriteMultipleRegisters) {
            quint16 address = 0;
            request.decodeData(&address);
            int delay_ms = 0;
            {
                std::lock_guard<std::mutex> guard(_lock);
                _holding_requests.append(address);
                if (_exceptions.contains(address))
                    return QModbusExceptionResponse(request.functionCode(), _exceptions.value(address));
                delay_ms = _delays_ms.value(address);
            }
            // The server's thread answers nothing else meanwhile, as a slow device would not.
            QThread::msleep(ulong(delay_ms));
        }
        return QModbusTcpServer::processRequest(request);
    }

public:
    /// @return the first holding address of every request so far, in the order they came
    QVector<int> holding_requests()
    {
        std::lock_guard<std::mutex> guard(_lock);
        return QVector<int>(_holding_requests.cbegin(), _holding_requests.cend());
    }

private:
    std::mutex _lock;
    QMap<int, QModbusPdu::ExceptionCode> _exceptions; // holding address to code
    QMap<int, int> _delays_ms;                        // holding address to delay
    QVector<int> _holding_requests;
};

// A port on 127.0.0.1 that was free a moment ago.
quint16 free_port()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

/**
 * The server in a thread of its own, as a device is in a process of its own: the module's calls
 * block their thread until the answer is in. What the two threads share goes through a standard
 * mutex, which ThreadSanitizer sees.
 */
class server_thread : public qz::test::event_thread {
public:
    // Ended here, while the members the thread uses still exist.
    ~server_thread() override { finish(); }

    /// Starts the server; @return its port, or 0 when it could not listen
    quint16 start_server()
    {
        begin();
        std::unique_lock<std::mutex> lock(_lock);
        _changed.wait(lock, [this] { return _ready; });
        return _port;
    }

    /// @return the first holding address of every request so far, in the order they came
    QVector<int> holding_requests()
    {
        std::lock_guard<std::mutex> guard(_lock);
        return _server->holding_requests();
    }

    /// Makes the holding registers in @p exceptions answer with their code.
    void set_exceptions(const QMap<int, QModbusPdu::ExceptionCode>& exceptions)
    {
        std::lock_guard<std::mutex> guard(_lock);
        _server->set_exceptions(exceptions);
    }

    /// Makes requests that start at the holding registers in @p delays_ms answered that late.
    void set_delays(const QMap<int, int>& delays_ms)
    {
        std::lock_guard<std::mutex> guard(_lock);
        _server->set_delays(delays_ms);
    }

protected:
    void run() override
    {
        test_server server;
        QModbusDataUnitMap map;
        map.insert(QModbusDataUnit::HoldingRegisters, {QModbusDataUnit::HoldingRegisters, 0, 100});
        map.insert(QModbusDataUnit::Coils, {QModbusDataUnit::Coils, 0, 100});
        map.insert(QModbusDataUnit::InputRegisters, {QModbusDataUnit::InputRegisters, 0, 100});
        map.insert(QModbusDataUnit::DiscreteInputs, {QModbusDataUnit::DiscreteInputs, 0, 100});
        server.setMap(map);
        server.setServerAddress(1);
        quint16 port = 0;
        for (int attempt = 0; attempt < 20 && server.state() != QModbusDevice::ConnectedState; ++attempt) {
            port = free_port();
            server.setConnectionParameter(QModbusDevice::NetworkAddressParameter,
                                          QStringLiteral("127.0.0.1"));
            server.setConnectionParameter(QModbusDevice::NetworkPortParameter, port);
            server.connectDevice();
        }
        server.setData(QModbusDataUnit::InputRegisters, 7, 0xBEEF);
        server.setData(QModbusDataUnit::DiscreteInputs, 3, 1);
        {
            std::lock_guard<std::mutex> guard(_lock);
            _server = &server;
            _port = server.state() == QModbusDevice::ConnectedState ? port : 0;
            _ready = true;
            _changed.notify_all();
        }
        exec();
        {
            std::lock_guard<std::mutex> guard(_lock);
            _server = nullptr;
        }
        server.disconnectDevice();
        _mark_ended();
    }

private:
    test_server* _server = nullptr; // under _lock
    quint16 _port = 0;
    bool _ready = false;
};

} // namespace

using qz::test::raw_modbus_server;

// A raw server's answer to any read: zeros, as many registers as asked for.
raw_modbus_server::answer_t zeros_for_reads(int, const QByteArray& request)
{
    const QByteArray pdu = qz::test::pdu_of(request);
    const int count = (int(uint8_t(pdu[3])) << 8) | uint8_t(pdu[4]);
    QByteArray reply;
    reply.append(pdu[0]).append(char(2 * count)).append(QByteArray(2 * count, '\0'));
    return {qz::test::mbap(request, reply)};
}

class tst_modbus_module : public QObject {
    Q_OBJECT

    server_thread _server;
    quint16 _port = 0;

    QString tcp(const char* query = "") const
    {
        return QStringLiteral("tcp://127.0.0.1:%1%2").arg(_port).arg(QLatin1String(query));
    }

private slots:
    void initTestCase()
    {
        _port = _server.start_server();
        QVERIFY(_port != 0);
    }

    void addresses_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("fault"); // empty: valid
        QTest::newRow("tcp") << "tcp://127.0.0.1:502"
                             << "";
        QTest::newRow("tcp unit") << "tcp://localhost:1502?unit=0"
                                  << "";
        QTest::newRow("tcp ipv6") << "tcp://[::1]:502?unit=255"
                                  << "";
        QTest::newRow("rtu") << "rtu:/dev/ttyUSB0"
                             << "";
        QTest::newRow("rtu all") << "rtu:/dev/pts/3?baud=9600&parity=even&data=8&stop=2&unit=247"
                                 << "";
        QTest::newRow("no scheme") << "127.0.0.1:502"
                                   << "it starts with neither tcp:// nor rtu:";
        QTest::newRow("no port") << "tcp://127.0.0.1"
                                 << "a TCP address is tcp://HOST:PORT";
        QTest::newRow("port 0") << "tcp://127.0.0.1:0"
                                << "the port is not a whole number from 1 to 65535";
        QTest::newRow("port text") << "tcp://127.0.0.1:http"
                                   << "the port is not a whole number from 1 to 65535";
        QTest::newRow("no host") << "tcp://:502"
                                 << "a TCP address is tcp://HOST:PORT";
        QTest::newRow("path") << "tcp://host:502/x"
                              << "a TCP address is tcp://HOST:PORT";
        QTest::newRow("tcp baud") << "tcp://host:502?baud=9600"
                                  << "a TCP address takes only unit, not baud";
        QTest::newRow("unit 256") << "tcp://host:502?unit=256"
                                  << "unit is not a whole number from 0 to 255";
        QTest::newRow("rtu unit 0") << "rtu:/dev/ttyS0?unit=0"
                                    << "unit is not a whole number from 1 to 247";
        QTest::newRow("no device") << "rtu:?baud=9600"
                                   << "the serial device is missing";
        QTest::newRow("parity") << "rtu:/dev/ttyS0?parity=mark"
                                << "parity is none, even or odd";
        QTest::newRow("data bits") << "rtu:/dev/ttyS0?data=9"
                                   << "data is 8: Modbus RTU sends 8 data bits";
        QTest::newRow("seven data bits") << "rtu:/dev/ttyS0?data=7"
                                         << "data is 8: Modbus RTU sends 8 data bits";
        QTest::newRow("stop bits") << "rtu:/dev/ttyS0?stop=3"
                                   << "stop is not a whole number from 1 to 2";
        QTest::newRow("negative baud") << "rtu:/dev/ttyS0?baud=-9600"
                                       << "baud is not a whole number from 50 to 4000000";
        QTest::newRow("unknown") << "rtu:/dev/ttyS0?speed=fast"
                                 << "unknown setting speed";
        QTest::newRow("twice") << "rtu:/dev/ttyS0?unit=2&unit=3"
                               << "unit is given twice";
        QTest::newRow("no value") << "rtu:/dev/ttyS0?unit"
                                  << "\"unit\" is not KEY=VALUE";
        QTest::newRow("empty query") << "rtu:/dev/ttyS0?"
                                     << "the settings after \"?\" are missing";
    }

    void addresses()
    {
        QFETCH(QString, address);
        QFETCH(QString, fault);
        try {
            const modbus_module module(address);
            QVERIFY2(fault.isEmpty(), "accepted");
            QCOMPARE(module.address(), address);
        } catch (const std::invalid_argument& e) {
            QCOMPARE(QString::fromUtf8(e.what()),
                     QStringLiteral("bad device address \"%1\": %2").arg(address, fault));
        }
    }

    void a_control_character_is_refused_and_shown()
    {
        // A zero would end the message's C string; it is shown, and the fault still follows.
        const QString address = QStringLiteral("rtu:/dev/ttyS0") + QChar(0) + QStringLiteral("1?unit=2\n");
        try {
            const modbus_module module(address);
            QFAIL("accepted");
        } catch (const std::invalid_argument& e) {
            QCOMPARE(QString::fromUtf8(e.what()),
                     QStringLiteral("bad device address \"rtu:/dev/ttyS0\\u00001?unit=2\\u000a\": "
                                    "it holds a control character"));
        }
        // Half a surrogate pair has no UTF-8: shown the same way; a whole pair stays as it is.
        const QString half = QStringLiteral("x") + QChar(0xDBDB) + QStringLiteral("\U0001F600");
        try {
            const modbus_module module(half);
            QFAIL("accepted");
        } catch (const std::invalid_argument& e) {
            QCOMPARE(QString::fromUtf8(e.what()),
                     QStringLiteral("bad device address \"x\\udbdb\U0001F600\": "
                                    "it starts with neither tcp:// nor rtu:"));
        }
    }

    void reads_and_writes_every_table()
    {
        modbus_module module(tcp());
        module.set_config(short_config());
        module.connect();
        module.write(holding, 10, {1, 0xFFFF, 42});
        QCOMPARE(module.read(holding, 10, 3), (QVector<uint16_t>{1, 0xFFFF, 42}));
        module.write(coil, 5, {1, 0, 1});
        QCOMPARE(module.read(coil, 5, 3), (QVector<uint16_t>{1, 0, 1}));
        QCOMPARE(module.read(input, 7, 1), QVector<uint16_t>{0xBEEF});
        QCOMPARE(module.read(discrete, 2, 2), (QVector<uint16_t>{0, 1}));
        module.disconnect();
        const auto e = thrown<media_exception>([&] { module.read(holding, 0, 1); });
        QCOMPARE(e.get_type(), media_exception::not_open);
    }

    void reads_sent_ahead_get_their_own_replies()
    {
        modbus_module module(tcp());
        module.set_config(short_config());
        QCOMPARE(thrown<media_exception>([&] { module.send_read(holding, 0, 1); }).get_type(),
                 media_exception::not_open);
        module.connect();
        module.write(holding, 20, {11, 12, 13, 14});
        auto first = module.send_read(holding, 20, 2);
        auto second = module.send_read(holding, 22, 2);
        {
            auto dropped = module.send_read(holding, 20, 4); // abandoned; its reply comes all the same
        }
        // Taken in the other order, each gets its own reply; the dropped one's reply confuses nothing.
        QCOMPARE(module.finish_read(second), (QVector<uint16_t>{13, 14}));
        QCOMPARE(module.finish_read(first), (QVector<uint16_t>{11, 12}));
        QCOMPARE(module.read(holding, 20, 4), (QVector<uint16_t>{11, 12, 13, 14}));

        // A reply is taken once; a moved request carries it along.
        const auto taken = thrown<media_exception>([&] { module.finish_read(first); });
        QCOMPARE(taken.get_type(), media_exception::not_open);
        QCOMPARE(QString::fromUtf8(taken.what()),
                 tcp()
                     + QStringLiteral(" unit 1, holding 20 to 21: nothing on its way (the connection was "
                                      "closed, or the reply was taken)"));
        auto moved_from = module.send_read(coil, 5, 1);
        auto moved = std::move(moved_from);
        QCOMPARE(module.finish_read(moved).size(), 1);
        QCOMPARE(thrown<media_exception>([&] { module.finish_read(moved_from); }).get_type(),
                 media_exception::not_open);
        moved = module.send_read(holding, 21, 1); // the moved-to request drops nothing of its own
        QCOMPARE(module.finish_read(moved), QVector<uint16_t>{12});

        // Closing the connection ends what is on its way.
        auto orphan = module.send_read(holding, 20, 1);
        module.disconnect();
        QCOMPARE(thrown<media_exception>([&] { module.finish_read(orphan); }).get_type(),
                 media_exception::not_open);
    }

    void a_read_sent_after_another_goes_out_when_its_reply_is_in()
    {
        modbus_module module(tcp());
        module.set_config(short_config());
        module.connect();
        module.write(holding, 30, {31, 32, 33});
        const int before = _server.holding_requests().size();

        // Out as soon as the first is answered, before anyone asks for it.
        auto first = module.send_read(holding, 30, 1);
        auto second = module.send_read_after(first, holding, 31, 2);
        QCOMPARE(module.finish_read(first), QVector<uint16_t>{31});
        QTRY_COMPARE_WITH_TIMEOUT(_server.holding_requests().mid(before), (QVector<int>{30, 31}), 10000);
        QCOMPARE(module.finish_read(second), (QVector<uint16_t>{32, 33}));

        // After an exception reply it waits until it is finished, so that others go first.
        _server.set_exceptions({{50, QModbusPdu::IllegalDataAddress}});
        auto failing = module.send_read(holding, 50, 1);
        auto held = module.send_read_after(failing, holding, 30, 1);
        QCOMPARE(thrown<proto_exception>([&] { module.finish_read(failing); }).get_type(),
                 proto_exception::parameter_error);
        QCOMPARE(module.read(holding, 32, 1), QVector<uint16_t>{33});
        QCOMPARE(module.finish_read(held), QVector<uint16_t>{31});
        QCOMPARE(_server.holding_requests().mid(before + 2), (QVector<int>{50, 32, 30}));
        _server.set_exceptions({});

        // One whose predecessor is abandoned goes out when finished; after a finished one, at once.
        auto dropped = std::make_unique<modbus_module::pending_read>(module.send_read(holding, 31, 1));
        auto orphan = module.send_read_after(*dropped, holding, 32, 1);
        dropped.reset();
        QCOMPARE(module.finish_read(orphan), QVector<uint16_t>{33});
        auto done = module.send_read(holding, 30, 1);
        QCOMPARE(module.finish_read(done), QVector<uint16_t>{31});
        auto after_done = module.send_read_after(done, holding, 31, 1);
        QCOMPARE(module.finish_read(after_done), QVector<uint16_t>{32});

        // A stop holds back what is planned behind a read on its way, until it is finished. The
        // planned read is answered a second late, so that the stop surely comes before its reply.
        _server.set_delays({{31, 1000}});
        module.set_config(short_config(5000));
        auto on_its_way = module.send_read(holding, 30, 1);
        auto planned = module.send_read_after(on_its_way, holding, 31, 1);
        QCOMPARE(module.finish_read(on_its_way), QVector<uint16_t>{31});
        auto behind_planned = module.send_read_after(planned, holding, 32, 1);
        module.abort();
        module.connect(); // spends the stop, sending nothing
        QTRY_VERIFY_WITH_TIMEOUT(_server.holding_requests().endsWith(31), 10000);
        const int seen = _server.holding_requests().size();
        // Its reply comes after the planned one's on the same connection: by then the module's
        // thread has decided about the read behind that.
        QCOMPARE(module.read(holding, 33, 1), QVector<uint16_t>{0});
        QTest::qWait(500);
        QCOMPARE(_server.holding_requests().mid(seen), QVector<int>{33});
        QCOMPARE(module.finish_read(planned), QVector<uint16_t>{32});
        QCOMPARE(module.finish_read(behind_planned), QVector<uint16_t>{33});
        QCOMPARE(_server.holding_requests().mid(seen), (QVector<int>{33, 32}));
        _server.set_delays({});

        // Closing the connection ends one still held.
        auto pending = module.send_read(holding, 30, 1);
        auto behind = module.send_read_after(pending, holding, 31, 1);
        module.disconnect();
        QCOMPARE(thrown<media_exception>([&] { module.finish_read(behind); }).get_type(),
                 media_exception::not_open);
    }

    void a_stop_between_calls_ends_the_next_call_only_until_a_connect()
    {
        modbus_module module(tcp());
        module.set_config(short_config());
        module.connect();
        module.abort(); // no call in progress: the next one is stopped
        QCOMPARE(thrown<media_exception>([&] { module.read(holding, 0, 1); }).get_type(),
                 media_exception::stopped);
        QCOMPARE(module.read(holding, 0, 1).size(), 1);
        module.abort();
        module.disconnect();
        module.connect(); // a new operation: the earlier stop is spent
        QCOMPARE(module.read(holding, 0, 1).size(), 1);
    }

    void exception_responses_map_onto_protocol_kinds_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("name");
        QTest::newRow("illegal function")
            << int(QModbusPdu::IllegalFunction) << int(proto_exception::response_error)
            << "0x01 (illegal function)";
        QTest::newRow("illegal address")
            << int(QModbusPdu::IllegalDataAddress) << int(proto_exception::parameter_error)
            << "0x02 (illegal data address)";
        QTest::newRow("illegal value")
            << int(QModbusPdu::IllegalDataValue) << int(proto_exception::parameter_error)
            << "0x03 (illegal data value)";
        QTest::newRow("busy") << int(QModbusPdu::ServerDeviceBusy) << int(proto_exception::busy)
                              << "0x06 (server device busy)";
        QTest::newRow("failure") << int(QModbusPdu::ServerDeviceFailure)
                                 << int(proto_exception::general_error) << "0x04 (server device failure)";
    }

    void exception_responses_map_onto_protocol_kinds()
    {
        QFETCH(int, code);
        QFETCH(int, kind);
        QFETCH(QString, name);
        _server.set_exceptions({{50, QModbusPdu::ExceptionCode(code)}});
        modbus_module module(tcp("?unit=1"));
        module.set_config(short_config());
        module.connect();
        const auto read = thrown<proto_exception>([&] { module.read(holding, 50, 2); });
        QCOMPARE(int(read.get_type()), kind);
        QCOMPARE(QString::fromUtf8(read.what()),
                 tcp("?unit=1") + QStringLiteral(" unit 1, holding 50 to 51: Modbus exception ") + name);
        const auto written = thrown<proto_exception>([&] { module.write(holding, 50, {7}); });
        QCOMPARE(int(written.get_type()), kind);
        _server.set_exceptions({});
    }

    void a_refused_connection_is_no_device()
    {
        modbus_module module(QStringLiteral("tcp://127.0.0.1:%1").arg(free_port()));
        module.set_config(short_config());
        const auto e = thrown<media_exception>([&] { module.connect(); });
        QCOMPARE(e.get_type(), media_exception::no_device);
        QVERIFY2(QString::fromUtf8(e.what()).contains(QStringLiteral(": no connection (")), e.what());
    }

    void a_missing_serial_port_is_no_device()
    {
        modbus_module module(QStringLiteral("rtu:/dev/qzgui-no-such-port"));
        module.set_config(short_config());
        const auto e = thrown<media_exception>([&] { module.connect(); });
        QCOMPARE(e.get_type(), media_exception::no_device);
    }

    void a_silent_server_times_out_and_stop_ends_the_wait()
    {
        QTcpServer silent; // accepts, reads, never answers
        QVERIFY(silent.listen(QHostAddress::LocalHost, 0));
        modbus_module module(QStringLiteral("tcp://127.0.0.1:%1").arg(silent.serverPort()));
        module.set_config(short_config());
        module.connect();
        QCOMPARE(thrown<media_exception>([&] { module.read(holding, 0, 1); }).get_type(),
                 media_exception::read_failed);
        QCOMPARE(thrown<media_exception>([&] { module.write(holding, 0, {1}); }).get_type(),
                 media_exception::write_failed);

        // A long time-out, cut short by abort() from another thread.
        auto config = short_config();
        config.timeout_s = 30000;
        module.set_config(config);
        QElapsedTimer clock;
        std::thread stopper([&module] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            module.abort();
        });
        clock.start();
        const auto e = thrown<media_exception>([&] { module.read(holding, 0, 1); });
        const qint64 took = clock.elapsed();
        stopper.join();
        QCOMPARE(e.get_type(), media_exception::stopped);
        qInfo("abort ended the read after %lld ms (abort came at 300 ms)", took);
        QVERIFY2(took < 10000, qPrintable(QString::number(took)));
    }

    void a_persistent_connection_serves_many_operations()
    {
        raw_modbus_server server(zeros_for_reads);
        const quint16 port = server.start_server();
        QVERIFY(port != 0);
        modbus_module module(QStringLiteral("tcp://127.0.0.1:%1").arg(port));
        auto config = short_config(2000);
        config.persistent_time = 60000;
        module.set_config(config);
        module.set_persistent(true);
        for (int i = 0; i < 100; ++i) {
            module.connect();
            QCOMPARE(module.read(holding, 0, 2), (QVector<uint16_t>{0, 0}));
            module.disconnect();
        }
        QCOMPARE(server.requests(), 100);
        QCOMPARE(server.connections(), 1);
        QCOMPARE(server.open_connections(), 1);
        // Switched off, the idle connection closes at once; each operation then has its own.
        module.set_persistent(false);
        QTRY_COMPARE_WITH_TIMEOUT(server.open_connections(), 0, 30000);
        for (int i = 0; i < 3; ++i) {
            module.connect();
            module.read(holding, 0, 1);
            module.disconnect();
        }
        QCOMPARE(server.connections(), 4);
        QTRY_COMPARE_WITH_TIMEOUT(server.open_connections(), 0, 30000);
    }

    void a_kept_connection_closes_after_its_time_with_nothing_to_do()
    {
        raw_modbus_server server(zeros_for_reads);
        const quint16 port = server.start_server();
        modbus_module module(QStringLiteral("tcp://127.0.0.1:%1").arg(port));
        auto config = short_config(2000);
        config.persistent_time = 300;
        module.set_config(config);
        module.set_persistent(true);
        module.connect();
        module.read(holding, 0, 1);
        module.disconnect();
        QCOMPARE(server.open_connections(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(server.open_connections(), 0, 30000);
        // The next operation opens another by itself.
        module.connect();
        QCOMPARE(module.read(holding, 0, 1), QVector<uint16_t>{0});
        module.disconnect();
        QCOMPARE(server.connections(), 2);
    }

    void a_lost_connection_is_opened_again()
    {
        auto server = std::make_unique<raw_modbus_server>(zeros_for_reads);
        const quint16 port = server->start_server();
        modbus_module module(QStringLiteral("tcp://127.0.0.1:%1").arg(port));
        auto config = short_config(2000);
        config.persistent_time = 60000;
        module.set_config(config);
        module.set_persistent(true);
        module.connect();
        module.read(holding, 0, 1);
        module.disconnect();
        // The device goes away with the connection, and comes back on the same port, again and
        // again: the next operation opens a new connection whether or not the module's thread
        // has seen the close yet.
        for (int restart = 1; restart <= 20; ++restart) {
            server.reset();
            server = std::make_unique<raw_modbus_server>(zeros_for_reads);
            QCOMPARE(server->start_server(port), port);
            module.connect();
            try {
                QCOMPARE(module.read(holding, 0, 1), QVector<uint16_t>{0});
            } catch (const std::exception& e) {
                QFAIL(qPrintable(
                    QStringLiteral("restart %1: %2").arg(restart).arg(QString::fromStdString(e.what()))));
            }
            module.disconnect();
            QCOMPARE(server->connections(), 1);
        }
    }
};

QTEST_MAIN(tst_modbus_module)
#include "tst_modbus_module.moc"
