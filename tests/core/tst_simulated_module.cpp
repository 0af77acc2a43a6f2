// SPDX-License-Identifier: BSD-3-Clause
#include "simulator/simulated_module.h"
#include "test_thread.h"

#include <QThread>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <stdexcept>

using namespace std::chrono_literals;
using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;
using qz::sim::fault_t;
using qz::sim::plain_error;
using qz::sim::simulated_module;

namespace {

// Runs fn in a fresh thread and waits for it.
void run_in_thread(std::function<void()> fn)
{
    qz::test::test_thread thread(std::move(fn));
    thread.start();
    QVERIFY(thread.finished_within(60s));
}

// Which exception class a call throws, as the worker's catch clauses would see it.
enum caught_e { nothing, media, proto, runtime, plain };

template <typename Fn>
caught_e caught(Fn fn, int* type = nullptr)
{
    try {
        fn();
    } catch (const media_exception& e) {
        if (type)
            *type = e.get_type();
        return media;
    } catch (const proto_exception& e) {
        if (type)
            *type = e.get_type();
        return proto;
    } catch (const std::runtime_error&) {
        return runtime;
    } catch (const std::exception&) {
        return plain;
    }
    return nothing;
}

} // namespace

class tst_simulated_module : public QObject {
    Q_OBJECT

private slots:
    void reads_and_writes_the_store()
    {
        simulated_module m;
        m.store(1, 42);
        m.connect();
        QVERIFY(m.is_connected());
        QCOMPARE(m.read_param(1), QVariant(42));
        m.write_param(2, QStringLiteral("two"));
        QCOMPARE(m.stored(2), QVariant(QStringLiteral("two")));
        QCOMPARE(m.read_param(2), QVariant(QStringLiteral("two")));
        m.disconnect();
        QVERIFY(!m.is_connected());
    }

    void unknown_id_is_a_parameter_error()
    {
        simulated_module m;
        m.connect();
        int type = -1;
        QCOMPARE(caught([&] { m.read_param(7); }, &type), proto);
        QCOMPARE(type, int(proto_exception::parameter_error));
    }

    void access_without_connect_is_not_open()
    {
        simulated_module m;
        m.store(1, 1);
        int type = -1;
        QCOMPARE(caught([&] { m.read_param(1); }, &type), media);
        QCOMPARE(type, int(media_exception::not_open));
        QCOMPARE(caught([&] { m.write_param(1, 2); }, &type), media);
        QCOMPARE(m.stored(1), QVariant(1));
    }

    void connect_faults_of_every_class()
    {
        simulated_module m;
        int type = -1;
        m.fail_next_connect(fault_t::media(media_exception::no_device));
        QCOMPARE(caught([&] { m.connect(); }, &type), media);
        QCOMPARE(type, int(media_exception::no_device));
        QVERIFY(!m.is_connected());

        m.fail_next_connect(fault_t::proto(proto_exception::busy));
        QCOMPARE(caught([&] { m.connect(); }, &type), proto);
        QCOMPARE(type, int(proto_exception::busy));

        m.fail_next_connect(fault_t::runtime("boom"));
        QCOMPARE(caught([&] { m.connect(); }), runtime);

        m.fail_next_connect(fault_t::plain("plain"));
        QCOMPARE(caught([&] { m.connect(); }), plain);

        // Each fault fires once.
        QCOMPARE(caught([&] { m.connect(); }), nothing);
        QVERIFY(m.is_connected());
    }

    void plain_fault_is_not_a_runtime_error()
    {
        try {
            fault_t::plain("only std::exception").raise();
        } catch (const std::runtime_error&) {
            QFAIL("a plain fault must pass a std::runtime_error handler");
        } catch (const std::exception& e) {
            QVERIFY(dynamic_cast<const plain_error*>(&e));
            QCOMPARE(QByteArray(e.what()), QByteArray("only std::exception"));
        }
    }

    void disconnect_fault_still_closes()
    {
        simulated_module m;
        m.connect();
        m.fail_next_disconnect(fault_t::plain());
        QCOMPARE(caught([&] { m.disconnect(); }), plain);
        QVERIFY(!m.is_connected());
        QCOMPARE(caught([&] { m.disconnect(); }), nothing);
    }

    void parameter_faults_once_and_always()
    {
        simulated_module m;
        m.store(1, 10);
        m.store(2, 20);
        m.connect();
        m.fail_read(1, fault_t::proto(proto_exception::crc_error), simulated_module::once);
        m.fail_read(2, fault_t::media(media_exception::read_failed), simulated_module::always);
        m.fail_write(3, fault_t::runtime(), simulated_module::once);

        int type = -1;
        QCOMPARE(caught([&] { m.read_param(1); }, &type), proto);
        QCOMPARE(type, int(proto_exception::crc_error));
        QCOMPARE(m.read_param(1), QVariant(10));
        for (int i = 0; i < 3; ++i)
            QCOMPARE(caught([&] { m.read_param(2); }), media);

        QCOMPARE(caught([&] { m.write_param(3, 30); }), runtime);
        QVERIFY(!m.stored(3).isValid());
        m.write_param(3, 30);
        QCOMPARE(m.stored(3), QVariant(30));

        m.clear_faults();
        QCOMPARE(m.read_param(2), QVariant(20));
    }

    void abort_cuts_a_latency_wait_short()
    {
        simulated_module m;
        // Far longer than the test's own time-out: only the abort can end this wait.
        m.set_connect_latency(3600s);
        std::atomic<int> type{-1};
        std::atomic<bool> other{false};
        qz::test::test_thread worker([&] {
            try {
                m.connect();
            } catch (const media_exception& e) {
                type = e.get_type();
            } catch (...) {
                other = true;
            }
        });
        worker.start();
        // Abort until the worker has left its wait: an abort before the wait began is not seen.
        while (!worker.finished_within(10ms))
            m.abort();
        QCOMPARE(type.load(), int(media_exception::stopped));
        QVERIFY(!other);
        QVERIFY(!m.is_connected());
    }

    void abort_cuts_read_and_write_waits_short()
    {
        simulated_module m;
        m.store(1, 1);
        m.connect();
        m.set_read_latency(3600s);
        m.set_write_latency(3600s);
        std::atomic<int> read_type{-1};
        std::atomic<int> write_type{-1};
        qz::test::test_thread worker([&] {
            try {
                m.read_param(1);
            } catch (const media_exception& e) {
                read_type = e.get_type();
            }
            try {
                m.write_param(1, 2);
            } catch (const media_exception& e) {
                write_type = e.get_type();
            }
        });
        worker.start();
        while (!worker.finished_within(10ms))
            m.abort();
        QCOMPARE(read_type.load(), int(media_exception::stopped));
        QCOMPARE(write_type.load(), int(media_exception::stopped));
        QCOMPARE(m.stored(1), QVariant(1));
    }

    void abort_between_calls_does_not_stick()
    {
        simulated_module m;
        m.set_connect_latency(1ms);
        m.abort();
        QCOMPARE(caught([&] { m.connect(); }), nothing);
        QVERIFY(m.is_connected());
    }

    void short_latency_completes()
    {
        simulated_module m;
        m.store(5, 55);
        m.set_connect_latency(20ms);
        m.set_read_latency(20ms);
        QElapsedTimer timer;
        timer.start();
        m.connect();
        QCOMPARE(m.read_param(5), QVariant(55));
        QVERIFY(timer.elapsed() >= 40);
    }

    void records_calls_with_their_thread()
    {
        simulated_module m;
        m.store(9, 0);
        QThread* worker_thread = nullptr;
        run_in_thread([&] {
            worker_thread = QThread::currentThread();
            m.connect();
            m.read_param(9);
            m.write_param(9, 1);
            m.disconnect();
        });
        m.abort();
        m.set_persistent(true);

        const auto calls = m.calls();
        QCOMPARE(calls.size(), 6);
        QCOMPARE(calls[0].kind, simulated_module::call_connect);
        QCOMPARE(calls[1].kind, simulated_module::call_read);
        QCOMPARE(calls[1].id, 9u);
        QCOMPARE(calls[2].kind, simulated_module::call_write);
        QCOMPARE(calls[3].kind, simulated_module::call_disconnect);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(calls[i].thread, worker_thread);
        QCOMPARE(calls[4].kind, simulated_module::call_abort);
        QCOMPARE(calls[4].thread, QThread::currentThread());
        QCOMPARE(calls[5].kind, simulated_module::call_set_persistent);
        QCOMPARE(m.count(simulated_module::call_connect), 1);

        m.clear_calls();
        QVERIFY(m.calls().isEmpty());
        m.set_recording(false);
        m.connect();
        QVERIFY(m.calls().isEmpty());
    }

    void keeps_config_persistent_flag_and_mode()
    {
        simulated_module m;
        QVERIFY(!m.last_config());
        QVERIFY(!m.persistent());
        QCOMPARE(m.media().mode, 0);

        qz::api::proto::command_config config{};
        config.persistent_time = 9500;
        config.timeout_pipe = -3;
        config.repeats_xl = 7;
        m.set_config(config);
        m.set_persistent(true);
        m.set_mode(2);

        QVERIFY(m.last_config());
        QCOMPARE(m.last_config()->persistent_time, 9500u);
        QCOMPARE(m.last_config()->timeout_pipe, -3);
        QCOMPARE(m.last_config()->repeats_xl, 7);
        QVERIFY(m.persistent());
        QCOMPARE(m.media().mode, 2);
        QCOMPARE(m.count(simulated_module::call_media), 2);
        QCOMPARE(m.count(simulated_module::call_set_config), 1);
    }

    void store_is_thread_safe()
    {
        simulated_module m;
        m.connect();
        constexpr int per_thread = 2000;
        std::vector<std::unique_ptr<qz::test::test_thread>> threads;
        for (uint32_t t = 0; t < 4; ++t) {
            threads.push_back(std::make_unique<qz::test::test_thread>([&m, t] {
                for (uint32_t i = 0; i < per_thread; ++i) {
                    const uint32_t id = t * per_thread + i;
                    m.write_param(id, id);
                    if (m.read_param(id).toUInt() != id)
                        qFatal("read back a wrong value");
                }
            }));
            threads.back()->start();
        }
        for (auto& thread : threads)
            QVERIFY(thread->finished_within(60s));
        QCOMPARE(m.count(simulated_module::call_write), 4 * per_thread);
        QCOMPARE(m.stored(3 * per_thread + 5), QVariant(3u * per_thread + 5));
    }
};

QTEST_GUILESS_MAIN(tst_simulated_module)
#include "tst_simulated_module.moc"
