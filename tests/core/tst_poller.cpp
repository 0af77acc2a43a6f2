// SPDX-License-Identifier: BSD-3-Clause
// Polling a worker in its own thread: the rate, no request behind a running operation, stop, the
// application's own writes in between, per-parameter failures, and a device lost and back.
#include "worker_fixture.h"

#include "qzgui/poller.h"
#include "qzgui/worker_thread.h"

#include <QElapsedTimer>
#include <QtTest>

#include <chrono>

using namespace std::chrono_literals;
using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::gui::sat_worker;
using qz::sim::fault_t;

namespace {

// What the GUI thread saw, in order: "ask" when the poller asked for a sweep, "write" when the
// test did, "begin"/"end" of each operation, with the time since the record started.
struct timeline {
    QStringList events;
    QVector<qint64> times;
    QElapsedTimer clock;

    explicit timeline(sat_worker* worker)
    {
        clock.start();
        // Emitted in this thread: seen at once.
        QObject::connect(
            worker, &sat_worker::get_params, worker, [this](const QVector<uint32_t>&) { note("ask"); },
            Qt::DirectConnection);
        QObject::connect(worker, &sat_worker::on_operation_control, &context,
                         [this](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                             note(status == sat_worker::status_begin ? "begin" : "end");
                         });
    }
    void note(const char* what)
    {
        events.append(QLatin1String(what));
        times.append(clock.elapsed());
    }
    int count(const char* what) const { return int(events.count(QLatin1String(what))); }
    // No request was made while an operation was running (as the GUI thread saw it).
    bool no_request_behind_an_operation(QString* problem) const
    {
        int running = 0;
        for (int i = 0; i < events.size(); ++i) {
            if (events[i] == QLatin1String("begin"))
                ++running;
            else if (events[i] == QLatin1String("end"))
                --running;
            else if (events[i] == QLatin1String("ask") && running > 0) {
                *problem = QStringLiteral("asked at %1 while running: %2").arg(i).arg(events.join(' '));
                return false;
            }
        }
        return true;
    }
    QObject context;
};

// Stores 40 parameters, 1 to 40, each taking 10 ms to read: a sweep lasts long enough to act in.
QVector<uint32_t> slow_parameters(qz::sim::simulated_module& module)
{
    QVector<uint32_t> ids;
    for (uint32_t id = 1; id <= 40; ++id) {
        module.store(id, int(id));
        ids.append(id);
    }
    module.set_read_latency(10ms);
    return ids;
}

} // namespace

class tst_poller : public QObject {
    Q_OBJECT

    qz::test::worker_environment _environment;

private slots:
    void initTestCase() { qz::gui::register_meta_types(); }

    void sweeps_come_at_the_interval_and_report_samples()
    {
        qz::sim::simulated_module module;
        module.store(1, 10);
        module.store(2, 20);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        timeline seen(thread.worker());
        QSignalSpy samples(&poller, &qz::gui::poller::on_sample);
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        poller.start({1, 2}, 200);
        QVERIFY(poller.is_active());
        QTRY_VERIFY_WITH_TIMEOUT(seen.count("ask") >= 4, 30000);
        poller.stop();
        QVERIFY(!poller.is_active());
        // Start to start, at least the interval apart.
        QVector<qint64> asks;
        for (int i = 0; i < seen.events.size(); ++i)
            if (seen.events[i] == QLatin1String("ask"))
                asks.append(seen.times[i]);
        for (int i = 1; i < asks.size(); ++i)
            QVERIFY2(asks[i] - asks[i - 1] >= 190, qPrintable(QString::number(asks[i] - asks[i - 1])));
        QVERIFY(samples.size() >= 6);
        QCOMPARE(samples.first().at(0).toUInt(), 1u);
        QCOMPARE(samples.first().at(1), QVariant(10));
        QVERIFY(samples.first().at(2).toLongLong() >= before);
        QCOMPARE(samples.at(1).at(0).toUInt(), 2u);
    }

    void no_request_waits_behind_a_slow_device()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        module.set_read_latency(300ms);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        timeline seen(thread.worker());
        poller.start({1}, 0); // back to back
        QTRY_VERIFY_WITH_TIMEOUT(seen.count("end") >= 4, 30000);
        poller.stop();
        QString problem;
        QVERIFY2(seen.no_request_behind_an_operation(&problem), qPrintable(problem));
        // After stop, at most the sweep in progress ends: no further request.
        const int asked = seen.count("ask");
        QTRY_COMPARE_WITH_TIMEOUT(seen.count("end"), asked, 30000);
        QTest::qWait(700);
        QCOMPARE(seen.count("ask"), asked);
    }

    void persistent_mode_is_on_while_polling()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        QVERIFY(!module.persistent());
        poller.start({1}, 100);
        QVERIFY(module.persistent());
        poller.stop();
        QVERIFY(!module.persistent());
    }

    void the_applications_writes_run_between_sweeps()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        module.store(2, 2);
        // A write that lasts past the moment the next sweep is due.
        module.set_write_latency(1500ms);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        timeline seen(thread.worker());
        int written = 0; // counted in this thread: the report comes queued
        connect(thread.worker(), &sat_worker::on_set_param, &seen.context, [&] { ++written; });
        poller.start({1}, 1000);
        QTRY_VERIFY_WITH_TIMEOUT(seen.count("end") >= 1, 30000);
        seen.note("write");
        emit thread.worker()->set_params({{2, 22}});
        QTRY_VERIFY_WITH_TIMEOUT(written == 1, 30000);
        QTRY_VERIFY_WITH_TIMEOUT(seen.count("end") >= 3, 30000);
        poller.stop();
        QCOMPARE(module.stored(2), QVariant(22));
        QString problem;
        QVERIFY2(seen.no_request_behind_an_operation(&problem), qPrintable(problem));
        // The sweep that came due during the write went out after it.
        const int write_at = int(seen.events.indexOf(QStringLiteral("write")));
        QCOMPARE(seen.events.mid(write_at, 4), (QStringList{"write", "begin", "end", "ask"}));
    }

    void a_request_waiting_for_its_turn_keeps_the_sweep_back()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        module.store(2, 2);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        timeline seen(thread.worker());
        QSignalSpy ends(&poller, &qz::gui::poller::on_request_end);
        // The worker's thread busy for a while: the write below waits, and no report of it comes.
        QMetaObject::invokeMethod(
            thread.worker(), [] { QThread::msleep(500); }, Qt::QueuedConnection);
        seen.note("write");
        emit thread.worker()->set_params({{2, 22}});
        poller.start({1}, 0);
        QTRY_VERIFY_WITH_TIMEOUT(seen.count("end") >= 3, 30000);
        poller.stop();
        QTRY_COMPARE_WITH_TIMEOUT(seen.count("end"), seen.count("ask") + 1, 30000);
        // The sweep went out once the write was over, not behind it.
        QCOMPARE(seen.events.mid(0, 4), (QStringList{"write", "begin", "end", "ask"}));
        // Each request's end, with whose it was: the write the application's, then the sweeps.
        QCOMPARE(ends.first().at(0).value<sat_worker::operation_type_e>(), sat_worker::op_write);
        QCOMPARE(ends.first().at(1).toBool(), false);
        for (int i = 1; i < ends.size(); ++i) {
            QCOMPARE(ends.at(i).at(0).value<sat_worker::operation_type_e>(), sat_worker::op_read);
            QCOMPARE(ends.at(i).at(1).toBool(), true);
        }
        // A read of the application's while polling is the application's, not a sweep.
        ends.clear();
        poller.start({1}, 300);
        QTRY_VERIFY_WITH_TIMEOUT(ends.size() >= 1, 30000);
        emit thread.worker()->get_params({2});
        QTRY_VERIFY_WITH_TIMEOUT(
            std::any_of(ends.begin(), ends.end(), [](const QList<QVariant>& e) { return !e.at(1).toBool(); }),
            30000);
        poller.stop();
        // Every request ended: the write, and each read ("ask" counts the application's read too).
        QTRY_COMPARE_WITH_TIMEOUT(seen.count("end"), seen.count("ask") + 1, 30000);
        int applications = 0;
        for (const QList<QVariant>& e : std::as_const(ends))
            applications += e.at(1).toBool() ? 0 : 1;
        QCOMPARE(applications, 1);
    }

    void a_poller_may_go_while_its_sweep_still_reports()
    {
        qz::sim::simulated_module module;
        const QVector<uint32_t> ids = slow_parameters(module);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        // Counted in this thread: the reports come queued.
        QObject context;
        int ended = 0;
        connect(thread.worker(), &sat_worker::on_operation_control, &context,
                [&](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                    ended += status == sat_worker::status_end ? 1 : 0;
                });
        auto poller = std::make_unique<qz::gui::poller>(thread.worker());
        QSignalSpy samples(poller.get(), &qz::gui::poller::on_sample);
        poller->start(ids, 0);
        QTRY_VERIFY_WITH_TIMEOUT(samples.size() >= 3, 30000);
        // Gone in the middle of a sweep: the worker goes on reporting into nothing.
        poller.reset();
        QTRY_VERIFY_WITH_TIMEOUT(ended >= 1, 30000);
    }

    void after_stop_no_sample_is_reported()
    {
        qz::sim::simulated_module module;
        const QVector<uint32_t> ids = slow_parameters(module);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        QSignalSpy samples(&poller, &qz::gui::poller::on_sample);
        QSignalSpy ends(&poller, &qz::gui::poller::on_request_end);
        poller.start(ids, 0);
        QTRY_VERIFY_WITH_TIMEOUT(samples.size() >= 3, 30000);
        poller.stop();
        const int at_stop = samples.size();
        QVERIFY(at_stop < 40); // the sweep was still going
        QTRY_VERIFY_WITH_TIMEOUT(ends.size() == 1, 30000);
        QCOMPARE(samples.size(), at_stop);
        // Values in the order the worker read them, each once.
        for (int i = 0; i < at_stop; ++i)
            QCOMPARE(samples.at(i).at(0).toUInt(), uint32_t(i + 1));
    }

    void a_failed_parameter_is_a_sample_error()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        module.store(2, 2);
        module.fail_read(2, fault_t::proto(proto_exception::parameter_error, "refused"),
                         qz::sim::simulated_module::always);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        QSignalSpy samples(&poller, &qz::gui::poller::on_sample);
        QSignalSpy errors(&poller, &qz::gui::poller::on_sample_error);
        QSignalSpy links(&poller, &qz::gui::poller::on_link);
        poller.start({1, 2}, 50);
        QTRY_VERIFY_WITH_TIMEOUT(errors.size() >= 2, 30000);
        poller.stop();
        QCOMPARE(errors.first().at(0).toUInt(), 2u);
        for (const QList<QVariant>& sample : samples)
            QCOMPARE(sample.at(0).toUInt(), 1u);
        // A parameter's failure is not a lost device.
        QCOMPARE(links.size(), 0);
    }

    void a_lost_device_is_said_once_and_polling_resumes_when_it_is_back()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        timeline seen(thread.worker());
        QSignalSpy links(&poller, &qz::gui::poller::on_link);
        QSignalSpy samples(&poller, &qz::gui::poller::on_sample);
        // The device is away for three sweeps: each connect fails.
        int failures = 3;
        module.fail_next_connect(fault_t::media(media_exception::open_failed, "gone"));
        QObject::connect(thread.worker(), &sat_worker::on_operation_control, &seen.context,
                         [&](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                             if (status != sat_worker::status_begin && --failures > 0)
                                 module.fail_next_connect(
                                     fault_t::media(media_exception::open_failed, "gone"));
                         });
        poller.start({1}, 100);
        QTRY_VERIFY_WITH_TIMEOUT(!samples.isEmpty(), 30000);
        poller.stop();
        QCOMPARE(links.size(), 2);
        QCOMPARE(links.at(0).at(0).toBool(), false);
        QVERIFY(!links.at(0).at(1).toString().isEmpty());
        QCOMPARE(links.at(1).at(0).toBool(), true);
        // While it was away, sweeps came no closer than a second.
        QVector<qint64> asks;
        for (int i = 0; i < seen.events.size(); ++i)
            if (seen.events[i] == QLatin1String("ask"))
                asks.append(seen.times[i]);
        QVERIFY(asks.size() >= 4);
        for (int i = 1; i < 4; ++i)
            QVERIFY2(asks[i] - asks[i - 1] >= 990, qPrintable(QString::number(asks[i] - asks[i - 1])));
    }

    void a_device_that_answers_nothing_is_lost_like_one_that_refuses_the_connection()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        module.store(2, 2);
        // It takes the connection, and every read goes unanswered.
        const fault_t silence =
            fault_t::media(media_exception::read_failed, "unit 1: no answer within 100 ms");
        module.fail_read(1, silence, qz::sim::simulated_module::always);
        module.fail_read(2, silence, qz::sim::simulated_module::always);
        qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
        qz::gui::poller poller(thread.worker());
        QSignalSpy links(&poller, &qz::gui::poller::on_link);
        QSignalSpy errors(&poller, &qz::gui::poller::on_sample_error);
        poller.start({1, 2}, 50);
        QTRY_VERIFY_WITH_TIMEOUT(errors.size() >= 6, 30000);
        // Said once, with what the link said, however many sweeps stay silent.
        QCOMPARE(links.size(), 1);
        QCOMPARE(links.at(0).at(0).toBool(), false);
        QVERIFY2(links.at(0).at(1).toString().endsWith(QLatin1String("no answer within 100 ms")),
                 qPrintable(links.at(0).at(1).toString()));
        // One answer, even a refusal, and it is back.
        module.clear_faults();
        module.fail_read(1, fault_t::proto(proto_exception::parameter_error, "refused"),
                         qz::sim::simulated_module::always);
        module.fail_read(2, silence, qz::sim::simulated_module::always);
        QTRY_VERIFY_WITH_TIMEOUT(links.size() == 2, 30000);
        QCOMPARE(links.at(1).at(0).toBool(), true);
        poller.stop();
    }
};

QTEST_MAIN(tst_poller)
#include "tst_poller.moc"
