// SPDX-License-Identifier: BSD-3-Clause
// The worker's meta-object interface, meta types, and requests queued from other threads.
#include "worker_fixture.h"

#include <QMetaMethod>
#include <QProcess>
#include <QSequentialIterable>
#include <QThread>
#include <QtTest>

#include <cstdio>
#include <memory>

using qz::sim::simulated_module;
using qz::test::recorder;
using qz::test::test_worker;
using W = qz::gui::sat_worker;

namespace {

// The request types' names in normalised signatures, as each Qt's moc writes them.
#if QT_VERSION_MAJOR < 6
const char read_request_name[] = "QVector<uint32_t>";
const char write_request_name[] = "QVector<QPair<uint32_t,QVariant> >";
#else
const char read_request_name[] = "QList<uint32_t>";
const char write_request_name[] = "QList<std::pair<uint32_t,QVariant>>";
#endif

// The id of the meta type registered under @p name; Qt 6 looks names up through QMetaType.
int type_named(const char* name)
{
#if QT_VERSION_MAJOR < 6
    return QMetaType::type(name);
#else
    return QMetaType::fromName(name).id();
#endif
}

// The four requests' normalised signatures, as the worker's meta-object has them.
QList<QByteArray> request_signals()
{
    return {"connect_module()", "disconnect_module()", QByteArray("get_params(") + read_request_name + ")",
            QByteArray("set_params(") + write_request_name + ")"};
}

const char unregistered_child[] = "--unregistered-request-child";

// A worker living in its own QThread, torn down the way an application does it.
struct threaded_worker {
    simulated_module module;
    test_worker worker{nullptr, &module};
    QThread thread;

    threaded_worker()
    {
        worker.moveToThread(&thread);
        thread.start();
    }
    ~threaded_worker()
    {
        worker.stop();
        thread.quit();
        thread.wait();
    }
};

// Child process, where the meta types are never registered (a registration cannot be undone):
// connects by string signatures and emits a read request across threads, printing what happened.
int run_unregistered_child(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qz::test::temporary_settings settings;
    auto* w = new threaded_worker;
    QObject receiver;
    std::printf("connect by uint32_t: %d\n",
                bool(QObject::connect(&w->worker, SIGNAL(on_get_param(uint32_t, QVariant)), &receiver,
                                      SLOT(deleteLater()))));
    std::printf("connect by uint: %d\n",
                bool(QObject::connect(&w->worker, SIGNAL(on_get_param(uint, QVariant)), &receiver,
                                      SLOT(deleteLater()))));
    emit w->worker.get_params({1, 2});
    QThread::msleep(300);
    QCoreApplication::processEvents();
    std::printf("module calls: %d\n", int(w->module.calls().size()));
    std::fflush(stdout);
    delete w;
    return 0;
}

} // namespace

class tst_sat_worker_meta : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::worker_environment> _environment;

private slots:
    void initTestCase() { _environment = std::make_unique<qz::test::worker_environment>(); }

    void class_information()
    {
        const QMetaObject& mo = W::staticMetaObject;
        QCOMPARE(QByteArray(mo.className()), QByteArray("qz::gui::sat_worker"));
        QCOMPARE(mo.superClass(), &QObject::staticMetaObject);
        QCOMPARE(mo.propertyCount() - mo.propertyOffset(), 0);
        QCOMPARE(mo.enumeratorCount() - mo.enumeratorOffset(), 0);
        QCOMPARE(mo.classInfoCount() - mo.classInfoOffset(), 0);
        QCOMPARE(mo.constructorCount(), 0);
        QCOMPARE(mo.methodCount() - mo.methodOffset(), 18);
    }

    void methods_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QByteArray>("signature");
        QTest::addColumn<QByteArray>("names");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("access");
        QTest::addColumn<QByteArray>("result");
        const int sig = QMetaMethod::Signal;
        const int slot = QMetaMethod::Slot;
        const int pub = QMetaMethod::Public;
        const int prot = QMetaMethod::Protected;
        QTest::newRow("0") << 0 << QByteArray("connect_module()") << QByteArray("") << sig << pub
                           << QByteArray("void");
        QTest::newRow("1") << 1 << QByteArray("disconnect_module()") << QByteArray("") << sig << pub
                           << QByteArray("void");
        QTest::newRow("2") << 2 << QByteArray("get_params(") + read_request_name + ")" << QByteArray("params")
                           << sig << pub << QByteArray("void");
        QTest::newRow("3") << 3 << QByteArray("set_params(") + write_request_name + ")"
                           << QByteArray("params") << sig << pub << QByteArray("void");
        QTest::newRow("4") << 4 << QByteArray("on_connection_state(connection_state_e)") << QByteArray("cs")
                           << sig << pub << QByteArray("void");
        QTest::newRow("5") << 5 << QByteArray("on_connection_error(error_descriptor)") << QByteArray("err")
                           << sig << pub << QByteArray("void");
        QTest::newRow("6") << 6 << QByteArray("on_operation_control(operation_type_e,operation_status_e)")
                           << QByteArray("op,status") << sig << pub << QByteArray("void");
        QTest::newRow("7") << 7 << QByteArray("on_operation_error(operation_type_e,error_descriptor)")
                           << QByteArray("op,err") << sig << pub << QByteArray("void");
        QTest::newRow("8") << 8 << QByteArray("on_get_param(uint32_t,QVariant)") << QByteArray("p,v") << sig
                           << pub << QByteArray("void");
        QTest::newRow("9") << 9 << QByteArray("on_get_param_request_error(uint32_t,error_descriptor)")
                           << QByteArray("p,err") << sig << pub << QByteArray("void");
        QTest::newRow("10") << 10 << QByteArray("on_set_param(uint32_t,QVariant)") << QByteArray("p,v") << sig
                            << pub << QByteArray("void");
        QTest::newRow("11") << 11 << QByteArray("on_set_param_request_error(uint32_t,error_descriptor)")
                            << QByteArray("p,err") << sig << pub << QByteArray("void");
        QTest::newRow("12") << 12 << QByteArray("_connect_module()") << QByteArray("") << slot << prot
                            << QByteArray("bool");
        QTest::newRow("13") << 13 << QByteArray("_disconnect_module()") << QByteArray("") << slot << prot
                            << QByteArray("void");
        QTest::newRow("14") << 14 << QByteArray("_get_params(") + read_request_name + ")"
                            << QByteArray("params") << slot << prot << QByteArray("void");
        QTest::newRow("15") << 15 << QByteArray("_set_params(") + write_request_name + ")"
                            << QByteArray("params") << slot << prot << QByteArray("void");
        QTest::newRow("16") << 16 << QByteArray("_cache_parameter_and_emit_signal(uint32_t,QVariant,bool)")
                            << QByteArray("p,v,emit_signal") << slot << prot << QByteArray("void");
        QTest::newRow("17") << 17 << QByteArray("_cache_parameter_and_emit_signal(uint32_t,QVariant)")
                            << QByteArray("p,v") << slot << prot << QByteArray("void");
    }

    void methods()
    {
        QFETCH(int, index);
        QFETCH(QByteArray, names);
        const QMetaMethod m = W::staticMetaObject.method(W::staticMetaObject.methodOffset() + index);
        QTEST(m.methodSignature(), "signature");
        QCOMPARE(m.parameterNames().join(','), names);
        QTEST(int(m.methodType()), "type");
        QTEST(int(m.access()), "access");
        QTEST(QByteArray(m.typeName()), "result");
        QCOMPARE(bool(m.attributes() & QMetaMethod::Cloned), index == 17);
    }

    void signals_map_from_member_pointers()
    {
        const int offset = W::staticMetaObject.methodOffset();
        const auto index = [offset](QMetaMethod m) { return m.methodIndex() - offset; };
        QCOMPARE(index(QMetaMethod::fromSignal(&W::connect_module)), 0);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::disconnect_module)), 1);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::get_params)), 2);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::set_params)), 3);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_connection_state)), 4);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_connection_error)), 5);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_operation_control)), 6);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_operation_error)), 7);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_get_param)), 8);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_get_param_request_error)), 9);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_set_param)), 10);
        QCOMPARE(index(QMetaMethod::fromSignal(&W::on_set_param_request_error)), 11);
    }

    void metacast()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        QCOMPARE(worker.qt_metacast("qz::gui::sat_worker"), static_cast<void*>(&worker));
        QCOMPARE(worker.qt_metacast("QObject"), static_cast<void*>(static_cast<QObject*>(&worker)));
        QCOMPARE(worker.qt_metacast("sat_worker"), nullptr);
        QCOMPARE(qobject_cast<W*>(static_cast<QObject*>(&worker)), &worker);
    }

    void invoking_connect_module_returns_its_result()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        bool connected = false;
        QVERIFY(QMetaObject::invokeMethod(&worker, "_connect_module", Q_RETURN_ARG(bool, connected)));
        QVERIFY(connected);
        module.fail_next_connect(qz::sim::fault_t::runtime("no"));
        QVERIFY(QMetaObject::invokeMethod(&worker, "_connect_module", Q_RETURN_ARG(bool, connected)));
        QVERIFY(!connected);
    }

    void invoking_the_cloned_cache_slot_emits()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        recorder events(worker);
        QVERIFY(QMetaObject::invokeMethod(&worker, "_cache_parameter_and_emit_signal", Q_ARG(uint32_t, 4),
                                          Q_ARG(QVariant, QVariant(40))));
        QCOMPARE(events.take(), QStringList({"get 4 = 40"}));
        QVERIFY(QMetaObject::invokeMethod(&worker, "_cache_parameter_and_emit_signal", Q_ARG(uint32_t, 5),
                                          Q_ARG(QVariant, QVariant(50)), Q_ARG(bool, false)));
        QVERIFY(events.lines().isEmpty());
        QCOMPARE(worker.param_cache.value(4).second, QVariant(40));
        QCOMPARE(worker.param_cache.value(5).second, QVariant(50));
    }

    void invoking_a_slot_reaches_the_override()
    {
        struct overriding : test_worker {
            using test_worker::test_worker;
            int calls = 0;
            void _disconnect_module() override { ++calls; }
        };
        simulated_module module;
        overriding worker(nullptr, &module);
        QVERIFY(QMetaObject::invokeMethod(&worker, "_disconnect_module"));
        emit worker.disconnect_module();
        QCOMPARE(worker.calls, 2);
        QCOMPARE(module.count(simulated_module::call_disconnect), 0);
    }

    void each_request_has_one_connection_to_its_slot()
    {
        struct counted : test_worker {
            using test_worker::test_worker;
            int connections(const QByteArray& signal) const { return receivers(signal.constData()); }
        };
        simulated_module module;
        counted worker(nullptr, &module);
        for (const QByteArray& request : request_signals())
            QVERIFY2(worker.connections(QByteArray::number(QSIGNAL_CODE) + request) == 1,
                     request.constData());
    }

    void a_request_disconnected_by_name_can_be_rerouted_to_the_host()
    {
        threaded_worker w;
        QSignalSpy control(&w.worker, &W::on_operation_control);
        // Each request's connection is found by the names of signal and slot.
        const QList<QByteArray> requests = request_signals();
        for (const QByteArray& request : requests)
            QVERIFY2(QObject::disconnect(&w.worker, (QByteArray::number(QSIGNAL_CODE) + request).constData(),
                                         &w.worker,
                                         (QByteArray::number(QSLOT_CODE) + '_' + request).constData()),
                     request.constData());
        // The host's own slot takes the read instead; the worker runs nothing.
        QVector<uint32_t> taken;
        QObject host;
        QObject::connect(&w.worker, &W::get_params, &host,
                         [&](const QVector<uint32_t>& ids) { taken = ids; });
        emit w.worker.get_params({7, 8});
        emit w.worker.set_params({{7, 1}});
        emit w.worker.connect_module();
        emit w.worker.disconnect_module();
        QTRY_COMPARE_WITH_TIMEOUT(taken, (QVector<uint32_t>{7, 8}), 60000);
        // A read queued behind them would have run by now.
        QTest::qWait(200);
        QCOMPARE(control.count(), 0);
        QVERIFY(w.module.calls().isEmpty());
    }

    void string_signature_with_uint32_t_connects()
    {
        simulated_module module;
        test_worker worker(nullptr, &module);
        QObject receiver;
        QVERIFY(QObject::connect(&worker, SIGNAL(on_get_param(uint32_t, QVariant)), &receiver,
                                 SLOT(deleteLater())));
    }

    void meta_types_are_registered_under_signature_names()
    {
        qz::gui::register_meta_types(); // a second call changes nothing
        QCOMPARE(type_named("uint32_t"), int(QMetaType::UInt));
        QCOMPARE(type_named(read_request_name), qMetaTypeId<QVector<uint>>());
        using pair_vector = QVector<QPair<uint, QVariant>>;
        QCOMPARE(type_named(write_request_name), qMetaTypeId<pair_vector>());
        QCOMPARE(type_named("connection_state_e"), qMetaTypeId<W::connection_state_e>());
        QCOMPARE(type_named("operation_type_e"), qMetaTypeId<W::operation_type_e>());
        QCOMPARE(type_named("operation_status_e"), qMetaTypeId<W::operation_status_e>());
        QCOMPARE(type_named("error_descriptor"), qMetaTypeId<qz::gui::error_descriptor>());
    }

    void request_signatures_are_spelled_as_moc_spells_them()
    {
        const QMetaObject& meta = W::staticMetaObject;
        QVERIFY(meta.indexOfSignal(QByteArray("get_params(") + read_request_name + ")") >= 0);
        QVERIFY(meta.indexOfSignal(QByteArray("set_params(") + write_request_name + ")") >= 0);
    }

    void requests_can_be_walked_as_variants()
    {
        const QVariant read = QVariant::fromValue(QVector<uint32_t>{3, 4});
        QVERIFY(read.canConvert<QVariantList>());
        QCOMPARE(read.value<QSequentialIterable>().size(), 2);
        QCOMPARE(read.value<QVariantList>(), QVariantList({3u, 4u}));

        const QVariant write = QVariant::fromValue(QVector<QPair<uint32_t, QVariant>>{{1, 5}});
        QVERIFY(write.canConvert<QVariantList>());
        const QVariant pair = write.value<QSequentialIterable>().at(0);
        using pair_interface = QtMetaTypePrivate::QPairVariantInterfaceImpl;
        QVERIFY(pair.canConvert<pair_interface>());
        const auto walked = pair.value<pair_interface>();
#if QT_VERSION_MAJOR < 6
        QCOMPARE(walked.first().metaTypeId, int(QMetaType::UInt));
        QCOMPARE(*static_cast<const uint*>(walked.first().data), 1u);
        QCOMPARE(walked.second().metaTypeId, int(QMetaType::QVariant));
        QCOMPARE(*static_cast<const QVariant*>(walked.second().data), QVariant(5));
#else
        // Qt 6 hands the members out into the caller's storage of their types.
        uint first = 0;
        QVariant second;
        walked.first(&first);
        walked.second(&second);
        QCOMPARE(first, 1u);
        QCOMPARE(second, QVariant(5));
#endif
    }

    void empty_read_from_another_thread_arrives()
    {
        threaded_worker w;
        QSignalSpy control(&w.worker, &W::on_operation_control);
        emit w.worker.get_params({});
        QTRY_COMPARE_WITH_TIMEOUT(control.count(), 2, 60000);
        QCOMPARE(control.at(0).at(1).value<W::operation_status_e>(), W::status_begin);
        QCOMPARE(control.at(1).at(1).value<W::operation_status_e>(), W::status_end);
        QCOMPARE(control.at(0).at(0).value<W::operation_type_e>(), W::op_read);
        QCOMPARE(w.module.calls().first().thread, &w.thread);
    }

    void requests_from_two_threads_run_one_after_the_other()
    {
        threaded_worker w;
        for (uint32_t id = 1; id <= 4; ++id)
            w.module.store(id, id * 10);
        QSignalSpy values(&w.worker, &W::on_get_param);
        QSignalSpy written(&w.worker, &W::on_set_param);
        QSignalSpy control(&w.worker, &W::on_operation_control);
        QSignalSpy states(&w.worker, &W::on_connection_state);

        QVector<uint32_t> ids{1, 2};
        emit w.worker.get_params(ids);
        ids.fill(0); // the request holds its own copy
        std::unique_ptr<QThread> other(QThread::create([&w] {
            emit w.worker.set_params({{3, 33}});
            emit w.worker.connect_module();
            emit w.worker.disconnect_module();
            emit w.worker.get_params({3, 4});
        }));
        other->start();
        QVERIFY(other->wait(60000));

        QTRY_COMPARE_WITH_TIMEOUT(control.count(), 6, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(values.count(), 4, 60000);
        QCOMPARE(written.count(), 1);
        QCOMPARE(written.at(0).at(0).value<uint32_t>(), 3u);
        QCOMPARE(values.at(0).at(0).value<uint32_t>(), 1u);
        QCOMPARE(values.at(2).at(1), QVariant(33));
        for (int i = 0; i < control.count(); ++i) // begin, end, begin, end, ...
            QCOMPARE(control.at(i).at(1).value<W::operation_status_e>(),
                     i % 2 ? W::status_end : W::status_begin);
        // Three operations and a plain connect and disconnect, each with its states.
        QCOMPARE(states.count(), 3 * 3 + 2 + 1);
        for (const auto& call : w.module.calls())
            QCOMPARE(call.thread, &w.thread);
    }

    void without_registration_requests_queue_as_qt_allows_and_uint_does_not_match()
    {
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(unregistered_child)});
        QVERIFY(child.waitForStarted(60000));
        if (!child.waitForFinished(60000)) {
            child.kill();
            QFAIL("the child process did not finish");
        }
        const QByteArray out = child.readAllStandardOutput();
        const QByteArray err = child.readAllStandardError();
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 0);
        QVERIFY2(out.contains("connect by uint32_t: 1"), out.constData());
        QVERIFY2(out.contains("connect by uint: 0"), out.constData());
        QVERIFY2(err.contains("No such signal"), err.constData());
#if QT_VERSION_MAJOR < 6
        QVERIFY2(out.contains("module calls: 0"), out.constData());
        QVERIFY2(err.contains("Cannot queue arguments of type 'QVector<uint32_t>'"), err.constData());
#else
        // Qt 6's moc records the argument types, so the request is queued all the same.
        QVERIFY2(out.contains("module calls: ") && !out.contains("module calls: 0"), out.constData());
        QVERIFY2(!err.contains("Cannot queue arguments"), err.constData());
#endif
    }
};

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (qstrcmp(argv[i], unregistered_child) == 0)
            return run_unregistered_child(argc, argv);
    QCoreApplication app(argc, argv);
    tst_sat_worker_meta test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sat_worker_meta.moc"
