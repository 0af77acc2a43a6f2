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
        // Received in this thread, queued, as a window receives them.
        QVariantList values;
        connect(thread.worker(), &sat_worker::on_get_param, this,
                [&values](uint32_t, const QVariant& value) { values.append(value); });
        emit thread.worker()->get_params({1});
        QTRY_COMPARE_WITH_TIMEOUT(values, QVariantList{42}, 30000);
    }

    void the_worker_is_deleted_in_its_own_thread()
    {
        qz::sim::simulated_module module;
        std::atomic<QThread*> deleted_in{nullptr};
        QThread* worker_thread = nullptr;
        {
            qz::gui::worker_thread thread(std::make_unique<qz::sim::simulated_worker>(nullptr, &module));
            worker_thread = thread.worker()->thread();
            connect(
                thread.worker(), &QObject::destroyed, thread.worker(),
                [&deleted_in] { deleted_in = QThread::currentThread(); }, Qt::DirectConnection);
        }
        QVERIFY(deleted_in.load() != nullptr);
        QCOMPARE(deleted_in.load(), worker_thread);
        QVERIFY(deleted_in.load() != QThread::currentThread());
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
