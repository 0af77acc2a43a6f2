// SPDX-License-Identifier: BSD-3-Clause
#include "simulator/simulated_module.h"

#include <QThread>

#include <algorithm>
#include <string>

namespace qz::sim {

using api::proto::media_exception;
using api::proto::proto_exception;

simulated_module::simulated_module() = default;
simulated_module::~simulated_module() = default;

// Called with _mutex held.
void simulated_module::_record(call_e kind, uint32_t id)
{
    if (_recording)
        _calls.append({kind, QThread::currentThread(), id});
}

void simulated_module::_wait(lock_t& lock, std::chrono::milliseconds latency)
{
    if (latency.count() <= 0)
        return;
    const uint64_t generation = _abort_generation;
    if (_aborted.wait_for(lock, latency, [&] { return _abort_generation != generation; })) {
        lock.unlock();
        throw media_exception(media_exception::stopped, "stopped");
    }
}

void simulated_module::_check_param(lock_t& lock, QHash<uint32_t, param_fault_t>& faults, uint32_t id)
{
    if (!_connected) {
        lock.unlock();
        throw media_exception(media_exception::not_open, "media not open");
    }
    const auto it = faults.find(id);
    if (it == faults.end())
        return;
    const fault_t fault = it->fault;
    if (it->repeat == once)
        faults.erase(it);
    lock.unlock();
    fault.raise();
}

void simulated_module::connect()
{
    lock_t lock(_mutex);
    _record(call_connect);
    _wait(lock, _connect_latency);
    if (_connect_fault) {
        const fault_t fault = *_connect_fault;
        _connect_fault.reset();
        lock.unlock();
        fault.raise();
    }
    _connected = true;
}

void simulated_module::disconnect()
{
    lock_t lock(_mutex);
    _record(call_disconnect);
    _connected = false;
    if (_disconnect_fault) {
        const fault_t fault = *_disconnect_fault;
        _disconnect_fault.reset();
        lock.unlock();
        fault.raise();
    }
}

void simulated_module::abort()
{
    {
        std::lock_guard<std::mutex> guard(_mutex);
        ++_abort_generation;
        // Must not throw: a record that cannot be kept is not worth losing the abort over.
        try {
            _record(call_abort);
        } catch (...) {}
    }
    _aborted.notify_all();
}

api::proto::qz_media& simulated_module::media()
{
    lock_t lock(_mutex);
    _record(call_media);
    // The caller reads the mode after the lock is gone; it is copied here, in the caller's thread,
    // so set_mode() from another thread never touches what the caller reads.
    _media.mode = _mode;
    return _media;
}

void simulated_module::set_config(const api::proto::command_config& config)
{
    lock_t lock(_mutex);
    _record(call_set_config);
    _config = config;
}

void simulated_module::set_persistent(bool persistent)
{
    lock_t lock(_mutex);
    _record(call_set_persistent);
    _persistent = persistent;
}

QVariant simulated_module::read_param(uint32_t id)
{
    lock_t lock(_mutex);
    _record(call_read, id);
    _wait(lock, _read_latency);
    _check_param(lock, _read_faults, id);
    const auto it = _store.constFind(id);
    if (it == _store.constEnd()) {
        lock.unlock();
        throw proto_exception(proto_exception::parameter_error, "unknown parameter " + std::to_string(id));
    }
    return *it;
}

void simulated_module::write_param(uint32_t id, const QVariant& value)
{
    lock_t lock(_mutex);
    _record(call_write, id);
    _wait(lock, _write_latency);
    _check_param(lock, _write_faults, id);
    _store.insert(id, value);
}

void simulated_module::store(uint32_t id, const QVariant& value)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _store.insert(id, value);
}

QVariant simulated_module::stored(uint32_t id) const
{
    std::lock_guard<std::mutex> guard(_mutex);
    return _store.value(id);
}

bool simulated_module::is_connected() const
{
    std::lock_guard<std::mutex> guard(_mutex);
    return _connected;
}

void simulated_module::set_connect_latency(std::chrono::milliseconds latency)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _connect_latency = latency;
}

void simulated_module::set_read_latency(std::chrono::milliseconds latency)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _read_latency = latency;
}

void simulated_module::set_write_latency(std::chrono::milliseconds latency)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _write_latency = latency;
}

void simulated_module::fail_next_connect(const fault_t& fault)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _connect_fault = fault;
}

void simulated_module::fail_next_disconnect(const fault_t& fault)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _disconnect_fault = fault;
}

void simulated_module::fail_read(uint32_t id, const fault_t& fault, repeat_e repeat)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _read_faults.insert(id, {fault, repeat});
}

void simulated_module::fail_write(uint32_t id, const fault_t& fault, repeat_e repeat)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _write_faults.insert(id, {fault, repeat});
}

void simulated_module::clear_faults()
{
    std::lock_guard<std::mutex> guard(_mutex);
    _connect_fault.reset();
    _disconnect_fault.reset();
    _read_faults.clear();
    _write_faults.clear();
}

void simulated_module::set_mode(int32_t mode)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _mode = mode;
}

void simulated_module::set_recording(bool on)
{
    std::lock_guard<std::mutex> guard(_mutex);
    _recording = on;
}

QVector<simulated_module::call_t> simulated_module::calls() const
{
    std::lock_guard<std::mutex> guard(_mutex);
    return _calls;
}

int simulated_module::count(call_e kind) const
{
    std::lock_guard<std::mutex> guard(_mutex);
    return int(std::count_if(_calls.cbegin(), _calls.cend(),
                             [kind](const call_t& call) { return call.kind == kind; }));
}

void simulated_module::clear_calls()
{
    std::lock_guard<std::mutex> guard(_mutex);
    _calls.clear();
}

std::optional<api::proto::command_config> simulated_module::last_config() const
{
    std::lock_guard<std::mutex> guard(_mutex);
    return _config;
}

bool simulated_module::persistent() const
{
    std::lock_guard<std::mutex> guard(_mutex);
    return _persistent;
}

} // namespace qz::sim
