// SPDX-License-Identifier: BSD-3-Clause
// Requests queued to a Modbus worker in its own thread while an operation waits for a slow
// device: each runs after the one before, never inside it, once and in the order made, also when
// two threads make them and when a stop ends the running one.
#include "event_thread.h"
#include "modbus_fixture.h"
#include "modbus_worker_fixture.h"
#include "worker_fixture.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>

#include <QDeadlineTimer>
#include <QtTest>

#include <thread>

using qz::test::device_process;
using qz::test::framed;
using qz::test::kinds_only;
using qz::test::probe_worker;
using qz::test::recorder;
using Reads = QVector<uint32_t>;
using Writes = QVector<QPair<uint32_t, QVariant>>;

namespace {

// Waits until @p log holds @p count operation ends. @return whether it did within two minutes
bool wait_for_ends(const recorder& log, int count)
{
    const QDeadlineTimer deadline(120000);
    while (!deadline.hasExpired()) {
        if (log.lines().filter(QRegularExpression(QStringLiteral("^end "))).size() >= count)
            return true;
        QThread::msleep(20);
    }
    return false;
}

// The lines of @p log cut into operations, from begin to end. Empty when an operation begins
// before the one before it ended, or a line stands outside every operation.
QVector<QStringList> operations(const QStringList& log)
{
    QVector<QStringList> ops;
    bool open = false;
    for (const QString& line : log) {
        if (line.startsWith(QLatin1String("begin "))) {
            if (open)
                return {};
            ops.append(QStringList());
            open = true;
        } else if (!open) {
            return {};
        }
        ops.last().append(line);
        if (line.startsWith(QLatin1String("end ")))
            open = false;
    }
    return open ? QVector<QStringList>() : ops;
}

} // namespace

class tst_modbus_request_queue : public QObject {
    Q_OBJECT

    qz::test::worker_environment _environment;
    QTemporaryDir _dir;
    QString _map_path;

    // A worker in a thread of its own, as an application has it, with its device and log.
    struct threaded_t {
        qz::modbus::modbus_module module;
        probe_worker worker;
        recorder log{worker};
        qz::test::event_thread thread;

        threaded_t(const QString& address, const QString& map_path)
            : module(address)
            , worker(nullptr, &module, qz::modbus::register_map::load(map_path))
        {
            worker.moveToThread(&thread);
            thread.begin();
        }
        ~threaded_t()
        {
            worker.stop();
            thread.finish();
        }
    };

private slots:
    void initTestCase()
    {
        _map_path = _dir.filePath(QStringLiteral("map.json"));
        QVERIFY(qz::test::write_text(_map_path, qz::test::holding_map(8)));
    }

    void init() { qz::test::set_reply_timeouts(_environment.settings, 5000); }

    void requests_made_back_to_back_run_one_after_the_other()
    {
        device_process device;
        QVERIFY(device.start(_map_path, QStringLiteral("tcp://127.0.0.1:0"), {"--delay", "holding:0=400"}));
        // Made before the worker's thread starts, so that the thread sees them whole.
        const Reads first{0x1000, 0x1001};
        const Writes write_one{{0x1001, 111}};
        const Writes write_two{{0x1000, 222}, {0x1002, 333}};
        const Reads last{0x1000, 0x1002};
        threaded_t t(device.address(), _map_path);

        // Each waits at the device for 400 ms; the others are queued meanwhile.
        emit t.worker.get_params(first);
        emit t.worker.set_params(write_one);
        emit t.worker.get_params(first);
        emit t.worker.set_params(write_two);
        emit t.worker.get_params(last);
        QVERIFY(wait_for_ends(t.log, 5));

        QCOMPARE(t.log.lines(),
                 framed("read", {"get 4096 = 0", "get 4097 = 1"}) + framed("write", {"set 4097 = 111"})
                     + framed("read", {"get 4096 = 0", "get 4097 = 111"})
                     + framed("write", {"set 4096 = 222", "set 4098 = 333"})
                     + framed("read", {"get 4096 = 222", "get 4098 = 333"}));
        const QStringList requests = device.requests();
        QCOMPARE(requests.size(), 7);
        QVERIFY2(requests[0].startsWith(QLatin1String("unit 1: read holding 0 to 1: ok")),
                 qPrintable(requests[0]));
        QCOMPARE(requests[1], QStringLiteral("unit 1: write holding 1 to 1: ok"));
        QVERIFY2(requests[2].startsWith(QLatin1String("unit 1: read holding 0 to 1: ok")),
                 qPrintable(requests[2]));
        QVERIFY2(requests[3].startsWith(QLatin1String("unit 1: write holding 0 to 0: ok")),
                 qPrintable(requests[3]));
        QCOMPARE(requests[4], QStringLiteral("unit 1: write holding 2 to 2: ok"));
        QVERIFY2(requests[5].startsWith(QLatin1String("unit 1: read holding 0 to 0: ok")),
                 qPrintable(requests[5]));
        QCOMPARE(requests[6], QStringLiteral("unit 1: read holding 2 to 2: ok"));
    }

    void requests_from_two_threads_keep_each_threads_order()
    {
        device_process device;
        QVERIFY(device.start(_map_path, QStringLiteral("tcp://127.0.0.1:0"), {"--delay", "holding:0=400"}));
        // Each thread writes its own register and reads it back, three times.
        const Reads slow{0x1000};
        QVector<Writes> a_writes, b_writes;
        for (int i = 1; i <= 3; ++i) {
            a_writes.append({{0x1003, 100 + i}});
            b_writes.append({{0x1004, 200 + i}});
        }
        const Reads a_read{0x1003};
        const Reads b_read{0x1004};
        threaded_t t(device.address(), _map_path);

        emit t.worker.get_params(slow); // keeps the worker busy while both threads queue theirs
        const auto make = [&](const QVector<Writes>& writes, const Reads& read) {
            for (const Writes& w : writes) {
                emit t.worker.set_params(w);
                emit t.worker.get_params(read);
            }
        };
        std::thread a([&] { make(a_writes, a_read); });
        std::thread b([&] { make(b_writes, b_read); });
        a.join();
        b.join();
        QVERIFY(wait_for_ends(t.log, 13));

        const QVector<QStringList> ops = operations(t.log.lines());
        QVERIFY2(ops.size() == 13, qPrintable(t.log.lines().join(QLatin1String("; "))));
        QCOMPARE(ops[0], framed("read", {"get 4096 = 0"}));
        // Each thread's requests ran once and in the order it made them; each read saw its write.
        QStringList a_seen, b_seen;
        for (int i = 1; i < ops.size(); ++i) {
            const QString body = ops[i].mid(3, ops[i].size() - 5).join(QLatin1String(", "));
            QCOMPARE(ops[i].size(), 6);
            (body.contains(QLatin1String("4099")) ? a_seen : b_seen).append(body);
        }
        QCOMPARE(a_seen,
                 QStringList({"set 4099 = 101", "get 4099 = 101", "set 4099 = 102", "get 4099 = 102",
                              "set 4099 = 103", "get 4099 = 103"}));
        QCOMPARE(b_seen,
                 QStringList({"set 4100 = 201", "get 4100 = 201", "set 4100 = 202", "get 4100 = 202",
                              "set 4100 = 203", "get 4100 = 203"}));
        QCOMPARE(device.requests().size(), 13);
    }

    void a_stop_ends_the_running_request_and_the_queued_ones_run_after_it()
    {
        _environment.settings.set(QStringLiteral("command/timeout_s"), 60000);
        device_process device;
        QVERIFY(device.start(_map_path, QStringLiteral("tcp://127.0.0.1:0"), {"--silent", "holding:5"}));
        const Reads hanging{0x1005};
        const Writes write{{0x1001, 9}};
        const Reads read_back{0x1001};
        threaded_t t(device.address(), _map_path);

        emit t.worker.get_params(hanging);
        emit t.worker.set_params(write);
        emit t.worker.get_params(read_back);
        QVERIFY(device.wait_for_request(QStringLiteral("read holding 5 to 5")));
        t.worker.stop();
        QVERIFY(wait_for_ends(t.log, 3));

        QCOMPARE(kinds_only(t.log.lines()),
                 framed("read", {"get_error 4101 media 6"}) + framed("write", {"set 4097 = 9"})
                     + framed("read", {"get 4097 = 9"}));
        QCOMPARE(device.requests(),
                 QStringList({"unit 1: read holding 5 to 5: no answer", "unit 1: write holding 1 to 1: ok",
                              "unit 1: read holding 1 to 1: ok"}));
    }
};

QTEST_GUILESS_MAIN(tst_modbus_request_queue)
#include "tst_modbus_request_queue.moc"
