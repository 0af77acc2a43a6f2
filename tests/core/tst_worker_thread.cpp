// SPDX-License-Identifier: BSD-3-Clause
// A worker in a thread of its own: requests run there one after the other, and end() stops the
// running one and every one queued behind it, then deletes the worker with its thread.
#include "worker_fixture.h"

#include "qzgui/worker_thread.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <stdexcept>

using namespace std::chrono_literals;
using qz::gui::sat_worker;

class tst_worker_thread : public QObject {
    Q_OBJECT

    qz::test::worker_environment _environment;

private slots:
    void initTestCase() { qz::gui::register_meta_types(); }

    void requests_run_in_the_workers_thread()
    {
        qz::sim::simulated_module module;
        module.store(1, 42);
        auto worker = std::make_unique<qz::sim::simulated_worker>(nullptr, &module);
        qz::gui::worker_thread thread(std::move(worker));
        QVERIFY(thread.worker());
        QVERIFY(thread.worker()->thread() != QThread::currentThread());
        QSignalSpy values(thread.worker(), &sat_worker::on_get_param);
        emit thread.worker()->get_params({1});
        QVERIFY(values.wait(30000));
        QCOMPARE(values.first().at(1), QVariant(42));
    }

    void end_stops_the_queue_and_deletes_the_worker()
    {
        qz::sim::simulated_module module;
        for (uint32_t id = 1; id <= 4; ++id)
            module.store(id, int(id));
        // Every read would take 30 s: only stops end them.
        module.set_read_latency(30s);
        auto worker = std::make_unique<qz::sim::simulated_worker>(nullptr, &module);
        qz::gui::worker_thread thread(std::move(worker));
        QPointer<sat_worker> watched = thread.worker();
        std::atomic<int> ended{0};
        QObject::connect(
            thread.worker(), &sat_worker::on_operation_control, thread.worker(),
            [&](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                if (status != sat_worker::status_begin)
                    ++ended;
            },
            Qt::DirectConnection);
        for (int i = 0; i < 3; ++i)
            emit thread.worker()->get_params({1, 2, 3, 4});
        QTest::qWait(200);
        QElapsedTimer timer;
        timer.start();
        thread.end();
        // Far below one read's 30 s: each of the three was stopped as it started.
        QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(ended.load(), 3);
        QVERIFY(!thread.worker());
        QVERIFY(watched.isNull());
        // A second end() does nothing.
        thread.end();
    }

    void the_destructor_ends_the_thread()
    {
        qz::sim::simulated_module module;
        module.store(1, 1);
        module.set_read_latency(30s);
        QPointer<sat_worker> watched;
        {
            qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
            watched = thread.worker();
            emit thread.worker()->get_params({1});
            QTest::qWait(100);
        }
        QVERIFY(watched.isNull());
    }

    void a_worker_with_a_parent_is_refused()
    {
        qz::sim::simulated_module module;
        QObject parent;
        auto worker = std::make_unique<qz::sim::simulated_worker>(&parent, &module);
        QVERIFY_EXCEPTION_THROWN(qz::gui::worker_thread{std::move(worker)}, std::invalid_argument);
        QVERIFY_EXCEPTION_THROWN(qz::gui::worker_thread{nullptr}, std::invalid_argument);
    }
};

QTEST_MAIN(tst_worker_thread)
#include "tst_worker_thread.moc"
