// SPDX-License-Identifier: BSD-3-Clause
// The Modbus module against a device whose replies are wrong in the ways field devices' are: cut
// short, from another unit, with another function, late, or a write's echo that differs. Each is
// a failure of the right kind within its deadline, never a value, and the next request still
// gets its own reply. The device is raw Modbus TCP frames from a server on 127.0.0.1.
#include "modbus_module_fixture.h"
#include "raw_modbus_server.h"

#include <qzgui/modbus/modbus_module.h>

#include <module_api/media_exception.h>
#include <module_api/proto_exception.h>

#include <QElapsedTimer>
#include <QtTest>

#include <memory>

using namespace qz::modbus;
using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::test::mbap;
using qz::test::pdu_of;
using qz::test::raw_modbus_server;
using qz::test::thrown;
using answer_t = raw_modbus_server::answer_t;

namespace {

int word(const QByteArray& bytes, int at)
{
    return (int(uint8_t(bytes[at])) << 8) | uint8_t(bytes[at + 1]);
}

// The right reply PDU to the read PDU @p request, every value @p value (bits: 1 when odd).
QByteArray read_reply(const QByteArray& request, int value)
{
    const int count = word(request, 3);
    const bool bits = request[0] == 1 || request[0] == 2;
    QByteArray pdu = request.left(1);
    if (bits) {
        pdu.append(char((count + 7) / 8));
        for (int i = 0; i < (count + 7) / 8; ++i) {
            const int in_byte = std::min(8, count - 8 * i);
            pdu.append(char((value & 1) ? (1 << in_byte) - 1 : 0));
        }
    } else {
        pdu.append(char(2 * count));
        for (int i = 0; i < count; ++i)
            pdu.append(char(value >> 8)).append(char(value & 0xFF));
    }
    return pdu;
}

// The right reply to any request: reads get @p value, writes their echo.
answer_t right(const QByteArray& request, int value)
{
    const QByteArray pdu = pdu_of(request);
    if (pdu[0] >= 1 && pdu[0] <= 4)
        return {mbap(request, read_reply(pdu, value))};
    return {mbap(request, pdu[0] == 5 || pdu[0] == 6 ? pdu : pdu.left(5))};
}

// A server that answers with @p answer, and a module connected to it.
struct rig_t {
    explicit rig_t(raw_modbus_server::answer_fn answer, const QString& host = QStringLiteral("127.0.0.1"))
        : server(std::move(answer))
    {
        const quint16 port = server.start_server();
        module = std::make_unique<modbus_module>(QStringLiteral("tcp://%1:%2").arg(host).arg(port));
        module->set_config(qz::test::short_config());
        module->connect();
    }
    raw_modbus_server server;
    std::unique_ptr<modbus_module> module;
};

} // namespace

class tst_modbus_replies : public QObject {
    Q_OBJECT

private slots:
    void replies_that_do_not_fit_the_request_data()
    {
        QTest::addColumn<bool>("write");
        QTest::addColumn<int>("table");
        QTest::addColumn<int>("count");
        QTest::addColumn<QByteArray>("reply"); // hex; empty: the right one
        QTest::addColumn<int>("unit");         // the reply's; -1: the request's
        QTest::addColumn<QString>("detail");
        QTest::newRow("9 coils in 1 byte") << false << int(coil) << 9 << QByteArray("0101ff") << -1
                                           << "1 bytes of values where 9 values take 2";
        QTest::newRow("9 inputs in 3 bytes") << false << int(discrete) << 9 << QByteArray("0203ffffff") << -1
                                             << "3 bytes of values where 9 values take 2";
        QTest::newRow("2 registers in 2 bytes") << false << int(holding) << 2 << QByteArray("03020001") << -1
                                                << "2 bytes of values where 2 values take 4";
        QTest::newRow("count says 4, 2 came") << false << int(holding) << 2 << QByteArray("03040001") << -1
                                              << "4 bytes of values where 2 values take 4, and 2 came";
        QTest::newRow("another unit")
            << false << int(holding) << 1 << QByteArray() << 2 << "unit 2 answered a request to unit 1";
        QTest::newRow("function 4 for 3") << false << int(holding) << 1 << QByteArray("0402002a") << -1
                                          << "function 0x04 answers a request of function 0x03";
        QTest::newRow("exception of 3 bytes")
            << false << int(holding) << 1 << QByteArray("830200") << -1 << "an exception reply of 3 bytes";
        QTest::newRow("no PDU") << false << int(input) << 1 << QByteArray("") << -2
                                << "a header of protocol 0 and length 1";
        QTest::newRow("single write, other value")
            << true << int(holding) << 1 << QByteArray("06000a0008") << -1 << "the write's echo differs";
        QTest::newRow("multiple write, other count")
            << true << int(holding) << 3 << QByteArray("10000a0002") << -1 << "the write's echo differs";
        QTest::newRow("coil write, other address")
            << true << int(coil) << 1 << QByteArray("05000bff00") << -1 << "the write's echo differs";
        QTest::newRow("coils write, other address")
            << true << int(coil) << 9 << QByteArray("0f000b0009") << -1 << "the write's echo differs";
    }

    void replies_that_do_not_fit_the_request()
    {
        QFETCH(bool, write);
        QFETCH(int, table);
        QFETCH(int, count);
        QFETCH(QByteArray, reply);
        QFETCH(int, unit);
        QFETCH(QString, detail);
        // unit -2: a header with an empty PDU after the unit.
        rig_t rig([&](int, const QByteArray& request) {
            if (unit == -2)
                return answer_t{mbap(request, {})};
            if (reply.isEmpty())
                return answer_t{mbap(request, right(request, 7).bytes.mid(7), unit)};
            return answer_t{mbap(request, QByteArray::fromHex(reply), unit)};
        });
        const auto call = [&] {
            if (write)
                rig.module->write(table_e(table), 10, QVector<uint16_t>(count, 7));
            else
                rig.module->read(table_e(table), 10, count);
        };
        const auto e = thrown<proto_exception>(call);
        QCOMPARE(e.get_type(), proto_exception::invalid_result);
        QVERIFY2(QString::fromUtf8(e.what()).contains(QStringLiteral(": the reply does not fit the request (")
                                                      + detail),
                 e.what());
    }

    void right_replies_give_exactly_their_values()
    {
        rig_t rig([](int, const QByteArray& request) { return right(request, 0x2A); });
        QCOMPARE(rig.module->read(coil, 0, 9), QVector<uint16_t>(9, 0));
        QCOMPARE(rig.module->read(holding, 0, 3), QVector<uint16_t>(3, 0x2A));
        rig.module->write(coil, 3, {1});
        rig.module->write(coil, 3, {1, 0, 1, 1, 0, 0, 1, 0, 1});
        rig.module->write(holding, 3, {5, 6});
    }

    void a_reply_cut_short_ends_in_its_time_and_the_next_request_gets_its_own()
    {
        rig_t rig([](int n, const QByteArray& request) {
            // The header promises 5 bytes of PDU; 2 come.
            if (n == 0)
                return answer_t{mbap(request, read_reply(pdu_of(request), 1).left(2), -1, 6)};
            return right(request, 2);
        });
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(thrown<media_exception>([&] { rig.module->read(holding, 0, 2); }).get_type(),
                 media_exception::read_failed);
        QVERIFY2(clock.elapsed() < 20000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(rig.module->read(holding, 0, 2), (QVector<uint16_t>{2, 2}));
    }

    void a_header_of_length_zero_is_refused()
    {
        rig_t rig([](int n, const QByteArray& request) {
            return n == 0 ? answer_t{mbap(request, {}, -1, 0)} : right(request, 3);
        });
        const auto e = thrown<proto_exception>([&] { rig.module->read(holding, 0, 1); });
        QCOMPARE(e.get_type(), proto_exception::invalid_result);
        QVERIFY2(QString::fromUtf8(e.what()).contains(QLatin1String("a header of protocol 0 and length 0")),
                 e.what());
        QCOMPARE(rig.module->read(holding, 0, 1), QVector<uint16_t>{3});
    }

    void a_late_reply_is_dropped_not_taken_for_the_next()
    {
        // The first reply comes when the second request waits for its own.
        rig_t rig([](int n, const QByteArray& request) {
            answer_t answer = right(request, n == 0 ? 1000 : 2);
            answer.delay_ms = n == 0 ? 700 : 900;
            return answer;
        });
        rig.module->set_config(qz::test::short_config(500));
        QCOMPARE(thrown<media_exception>([&] { rig.module->read(holding, 1, 1); }).get_type(),
                 media_exception::read_failed);
        rig.module->set_config(qz::test::short_config(5000));
        QCOMPARE(rig.module->read(holding, 2, 1), QVector<uint16_t>{2});
    }

    void an_ipv6_address_is_taken_as_an_address()
    {
        // The IPv4 address in IPv6 form reaches the server on 127.0.0.1 through the IPv6 path.
        rig_t rig([](int, const QByteArray& request) { return right(request, 9); },
                  QStringLiteral("[::ffff:127.0.0.1]"));
        QCOMPARE(rig.module->read(holding, 0, 1), QVector<uint16_t>{9});
    }

    void a_connection_the_device_closes_is_no_device_for_the_rest()
    {
        rig_t rig([](int n, const QByteArray& request) {
            answer_t answer = right(request, 4);
            answer.close = n == 1;
            return answer;
        });
        QCOMPARE(rig.module->read(holding, 0, 1), QVector<uint16_t>{4});
        const auto lost = thrown<media_exception>([&] { rig.module->read(holding, 0, 1); });
        QCOMPARE(lost.get_type(), media_exception::no_device);
        QVERIFY2(QString::fromUtf8(lost.what()).contains(QLatin1String(": connection lost (")), lost.what());
        QCOMPARE(thrown<media_exception>([&] { rig.module->read(holding, 0, 1); }).get_type(),
                 media_exception::no_device);
        // A new operation connects again.
        rig.module->connect();
        QCOMPARE(rig.module->read(holding, 0, 1), QVector<uint16_t>{4});
    }
};

QTEST_MAIN(tst_modbus_replies)
#include "tst_modbus_replies.moc"
