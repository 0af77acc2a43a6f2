// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/sat_worker.h"

#include "qzgui/local_time_p.h"
#include "qzgui/settings_keys.h"

#include <QMetaMethod>
#include <QMutexLocker>
#include <QSettings>

#include <stdexcept>

#if defined(__SANITIZE_THREAD__)
#include <QThread>

#include <mutex>

#include <sanitizer/tsan_interface.h>

// Qt's hook into every signal emission, in the emitting thread, as Qt Test uses it (QtCore's
// private interface, the same in Qt 5.15 and Qt 6).
struct QSignalSpyCallbackSet {
    using BeginCallback = void (*)(QObject* caller, int signal_or_method_index, void** argv);
    using EndCallback = void (*)(QObject* caller, int signal_or_method_index);
    BeginCallback signal_begin_callback;
    BeginCallback slot_begin_callback;
    EndCallback signal_end_callback;
    EndCallback slot_end_callback;
};
Q_CORE_EXPORT void qt_register_signal_spy_callbacks(QSignalSpyCallbackSet* callback_set);
#endif

namespace qz::gui {

using api::proto::media_exception;
using api::proto::proto_exception;

namespace {

// A request's data goes from the caller's thread to the worker's through Qt's event queue, whose
// locks ThreadSanitizer cannot see, as Qt is not built for it. It is told of the hand-over
// instead: what the caller wrote before the request comes before what the worker reads of it.
// The caller's side is Qt's signal hook, so that each request keeps its one connection to its
// slot; a ThreadSanitizer build adds it, and nothing else does.
#if defined(__SANITIZE_THREAD__)
void request_sent(QObject* caller, int, void**)
{
    // Requests are the only signals of a worker that another thread emits.
    if (caller->thread() != QThread::currentThread() && qobject_cast<sat_worker*>(caller))
        __tsan_release(caller);
}
#endif

void watch_requests()
{
#if defined(__SANITIZE_THREAD__)
    static QSignalSpyCallbackSet hook{&request_sent, nullptr, nullptr, nullptr};
    static std::once_flag once;
    std::call_once(once, [] { qt_register_signal_spy_callbacks(&hook); });
#endif
}

void request_taken([[maybe_unused]] sat_worker* worker)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(worker);
#endif
}

// A descriptor takes the caught object in the slot of its class; anything else is "other".
error_descriptor describe(const media_exception& e)
{
    return {&e, nullptr, nullptr};
}

error_descriptor describe(const proto_exception& e)
{
    return {nullptr, &e, nullptr};
}

error_descriptor describe(const std::exception& e)
{
    return {nullptr, nullptr, &e};
}

// Runs fn, catching First, Second and Last in that order; each place in the worker has its own
// order. A caught exception is handed to report as a descriptor that lives only for that call.
// Anything else propagates. Returns whether fn returned normally.
template <typename First, typename Second, typename Last, typename Fn, typename Report>
bool capture(Fn&& fn, Report&& report)
{
    try {
        fn();
        return true;
    } catch (const First& e) {
        report(describe(e));
    } catch (const Second& e) {
        report(describe(e));
    } catch (const Last& e) {
        report(describe(e));
    }
    return false;
}

// The request types as moc spells them in normalised signatures: Qt 6 writes QVector as QList
// and QPair as std::pair, which they are there.
#if QT_VERSION_MAJOR < 6
constexpr char read_request_type[] = "QVector<uint32_t>";
constexpr char write_request_type[] = "QVector<QPair<uint32_t,QVariant> >";
#else
constexpr char read_request_type[] = "QList<uint32_t>";
constexpr char write_request_type[] = "QList<std::pair<uint32_t,QVariant>>";
#endif

} // namespace

void register_meta_types()
{
    qRegisterMetaType<uint32_t>("uint32_t");
    qRegisterMetaType<QVector<uint32_t>>(read_request_type);
    qRegisterMetaType<QVector<QPair<uint32_t, QVariant>>>(write_request_type);
    qRegisterMetaType<sat_worker::connection_state_e>("connection_state_e");
    qRegisterMetaType<sat_worker::operation_type_e>("operation_type_e");
    qRegisterMetaType<sat_worker::operation_status_e>("operation_status_e");
    qRegisterMetaType<error_descriptor>("error_descriptor");
}

sat_worker::sat_worker(QObject* parent, api::proto::qz_module* module)
    : QObject(parent)
    , module(module)
{
    // One connection each, to the slot of the request's name, which a host may find, inspect or
    // re-route by name. Made through the meta-object, as a connection by name is: Qt keeps one
    // made with member-function pointers as a functor that QObject::disconnect() with the slot's
    // name does not find. The virtual slots reach a concrete worker's overrides either way.
    const QMetaObject& meta = staticMetaObject;
    const auto to_slot = [&](const QMetaMethod& request, const QByteArray& slot) {
        connect(this, request, this, meta.method(meta.indexOfSlot(slot.constData())));
    };
    to_slot(QMetaMethod::fromSignal(&sat_worker::connect_module), "_connect_module()");
    to_slot(QMetaMethod::fromSignal(&sat_worker::disconnect_module), "_disconnect_module()");
    to_slot(QMetaMethod::fromSignal(&sat_worker::get_params),
            QByteArray("_get_params(") + read_request_type + ')');
    to_slot(QMetaMethod::fromSignal(&sat_worker::set_params),
            QByteArray("_set_params(") + write_request_type + ')');
    watch_requests();
}

void sat_worker::stop()
{
    if (!running)
        return;
    running = false;
    module->abort();
    QMutexLocker lock(&wait_mutex);
    wait_condition.wakeAll();
}

bool sat_worker::is_running() const
{
    return running;
}

sat_worker::connection_state_e sat_worker::get_connection_state()
{
    return connection_state;
}

void sat_worker::set_persistent(bool persistent)
{
    module->set_persistent(persistent);
}

bool sat_worker::_connect_module()
{
    running = true;
    _set_connection_state(state_connecting);

    bool no_device = false;
    const bool connected = capture<media_exception, proto_exception, std::exception>(
        [this] { module->connect(); },
        [&](const error_descriptor& err) {
            no_device = err.media_type == media_exception::no_device;
            emit on_connection_error(err);
        });
    if (connected) {
        _set_connection_state(state_connected);
        return true;
    }

    if (no_device) {
        // Stopped already: the caller's disconnect puts the state right.
        if (!running)
            return false;
        if (module->media().mode >= 2)
            _wait_for_pipe_drain();
    }
    _set_connection_state(state_disconnected);
    return false;
}

void sat_worker::_wait_for_pipe_drain()
{
    _set_connection_state(state_pipe_drain);
    // running is not looked at again under the lock: a stop() between the caller's test and the
    // wait does not shorten it.
    QMutexLocker lock(&wait_mutex);
    wait_condition.wait(&wait_mutex, static_cast<uint32_t>(command_config.timeout_pipe));
}

void sat_worker::_disconnect_module()
{
    // std::runtime_error, not std::exception: any other exception is the operation's failure.
    capture<media_exception, proto_exception, std::runtime_error>(
        [this] { module->disconnect(); },
        [this](const error_descriptor& err) { emit on_connection_error(err); });
    _set_connection_state(state_disconnected);
}

void sat_worker::_run_sweep(operation_type_e op, int count, const std::function<void(int)>& step)
{
    _set_module_config();
    _connect_exec_disconnect(op, [&] {
        for (int i = 0; i < count && running; ++i)
            step(i);
    });
}

void sat_worker::_get_params(const QVector<uint32_t>& params)
{
    request_taken(this);
    _run_sweep(op_read, params.size(), [&](int i) { _try_get_param(params[i]); });
}

void sat_worker::_set_params(const QVector<QPair<uint32_t, QVariant>>& params)
{
    request_taken(this);
    _run_sweep(op_write, params.size(), [&](int i) { _try_set_param(params[i].first, params[i].second); });
}

void sat_worker::_cache_parameter_and_emit_signal(uint32_t p, const QVariant& v, bool emit_signal)
{
    // Assigned in place: a sweep caches every value it reads, mostly over an older one.
    QPair<QDateTime, QVariant>& cached = param_cache[p];
    cached.first = local_now();
    cached.second = v;
    if (emit_signal)
        emit on_get_param(p, v);
}

void sat_worker::_try_get_param(uint32_t id)
{
    _try_param(
        id, [&] { _get_param(id); }, &sat_worker::on_get_param_request_error);
}

void sat_worker::_try_param(uint32_t id, const std::function<void()>& access,
                            void (sat_worker::*report)(uint32_t, const error_descriptor&))
{
    if (!running)
        return;
    if (const std::optional<error_descriptor> err = _parameter_failure(access))
        emit(this->*report)(id, *err);
}

std::optional<error_descriptor> sat_worker::_parameter_failure(const std::function<void()>& access)
{
    std::optional<error_descriptor> failure;
    capture<proto_exception, media_exception, std::exception>(
        access, [&](const error_descriptor& err) { failure = err; });
    return failure;
}

void sat_worker::_set_module_config()
{
    const QSettings settings;
    const auto read = [&settings](const command_setting_t& setting) {
        return settings.value(QLatin1String(setting.key), setting.default_value);
    };
    namespace keys = command_settings;
    command_config.timeout_pipe = read(keys::timeout_pipe).toInt();
    command_config.persistent_time = read(keys::persistent_time).toUInt();
    command_config.timeout_xs = read(keys::timeout_xs).toInt();
    command_config.timeout_s = read(keys::timeout_s).toInt();
    command_config.timeout_m = read(keys::timeout_m).toInt();
    command_config.timeout_l = read(keys::timeout_l).toInt();
    command_config.timeout_xl = read(keys::timeout_xl).toInt();
    command_config.repeats_xs = read(keys::repeats_xs).toInt();
    command_config.repeats_s = read(keys::repeats_s).toInt();
    command_config.repeats_m = read(keys::repeats_m).toInt();
    command_config.repeats_l = read(keys::repeats_l).toInt();
    command_config.repeats_xl = read(keys::repeats_xl).toInt();
    module->set_config(command_config);
}

void sat_worker::_try_set_param(uint32_t id, const QVariant& value)
{
    _try_param(
        id, [&] { _set_param(id, value); }, &sat_worker::on_set_param_request_error);
}

bool sat_worker::_try_exec_func(operation_type_e, const std::function<void()>& fn)
{
    if (!running)
        return false;
    if (!fn)
        return true;
    return capture<media_exception, proto_exception, std::exception>(
        fn, [this](const error_descriptor& err) { emit on_connection_error(err); });
}

void sat_worker::_connect_exec_disconnect(operation_type_e op, const std::function<void()>& fn)
{
    emit on_operation_control(op, status_begin);
    // A failure that escapes the steps ends the operation here, without the disconnect.
    capture<media_exception, proto_exception, std::exception>(
        [&] {
            const std::function<void()> pre = [this] { _execute_pre_ops(); };
            const std::function<void()> post = [this] { _execute_post_ops(); };
            if (_connect_module() && running && _try_exec_func(op, pre) && running && _try_exec_func(op, fn))
                _try_exec_func(op, post);
            _disconnect_module();
        },
        [&](const error_descriptor& err) { emit on_operation_error(op, err); });
    emit on_operation_control(op, status_end);
}

void sat_worker::_try_exec_op(operation_type_e op, std::function<void()> fn)
{
    if (!running)
        return;
    // An empty fn is called all the same; its std::bad_function_call is the operation's failure.
    capture<proto_exception, media_exception, std::exception>(
        [&] {
            _set_module_config();
            fn();
        },
        [&](const error_descriptor& err) { emit on_operation_error(op, err); });
}

void sat_worker::_execute_pre_ops() {}

void sat_worker::_execute_post_ops() {}

bool sat_worker::_emit_param_value_from_cache(uint32_t id)
{
    const auto it = param_cache.constFind(id);
    if (it == param_cache.constEnd())
        return false;
    const QPair<QDateTime, QVariant> entry = *it;
    // Whole seconds on purpose: fresh means the second counters differ by at most one.
    const qint64 age = QDateTime::currentSecsSinceEpoch() - entry.first.toSecsSinceEpoch();
    if (age > 1)
        return false;
    emit on_get_param(id, entry.second);
    return true;
}

void sat_worker::_set_connection_state(connection_state_e cs)
{
    connection_state = cs;
    emit on_connection_state(cs);
}

void sat_worker::_emit_on_connection_error(const error_descriptor& err)
{
    emit on_connection_error(err);
}

void sat_worker::_emit_on_operation_control(operation_type_e op, operation_status_e status)
{
    emit on_operation_control(op, status);
}

void sat_worker::_emit_on_operation_error(operation_type_e op, const error_descriptor& err)
{
    emit on_operation_error(op, err);
}

} // namespace qz::gui
