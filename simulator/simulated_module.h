// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_SIMULATOR_SIMULATED_MODULE_H
#define QZGUI_SIMULATOR_SIMULATED_MODULE_H

#include "module_api/qz_module.h"
#include "simulator/fault.h"

#include <QHash>
#include <QVariant>
#include <QVector>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>

class QThread;

namespace qz::sim {

/**
 * A device module that lives in memory: a parameter store (id to QVariant) behind the qz_module
 * interface, with configurable latencies, scripted faults and a record of every call.
 *
 * Every member may be called from any thread. Standard-library locks are used (not QMutex) so that
 * ThreadSanitizer sees the simulator's own synchronisation.
 *
 * Latencies are waits that abort() cuts short: the waiting call then throws a media_exception of
 * kind stopped. abort() affects only a wait in progress; a later call runs normally.
 */
class simulated_module : public api::proto::qz_module {
public:
    /// The calls that are recorded.
    enum call_e {
        call_connect,
        call_disconnect,
        call_abort,
        call_media,
        call_set_config,
        call_set_persistent,
        call_read,
        call_write
    };

    /// One recorded call.
    struct call_t {
        call_e kind;
        QThread* thread; ///< the thread that made the call
        uint32_t id;     ///< the parameter id of a read or write, else 0
    };

    /// How often a parameter fault fires.
    enum repeat_e {
        once,  ///< the next access only
        always ///< every access until clear_faults()
    };

    simulated_module();
    ~simulated_module() override;

    /// Waits the connect latency, then throws the scripted connect fault if one is set.
    void connect() override;
    /// Throws the scripted disconnect fault if one is set; the link is closed either way.
    void disconnect() override;
    /// Cuts the latency wait in progress short.
    void abort() override;
    /// The transport, whose mode is the one given to set_mode().
    api::proto::qz_media& media() override;
    /// Keeps @p config; see last_config().
    void set_config(const api::proto::command_config& config) override;
    /// Keeps @p persistent; see persistent().
    void set_persistent(bool persistent) override;

    /**
     * Reads one parameter, as a concrete worker's single read does.
     * @throws media_exception not_open when not connected, stopped when aborted; the scripted
     *         fault for @p id; proto_exception parameter_error for an unknown id
     */
    QVariant read_param(uint32_t id);

    /**
     * Writes one parameter. Throws like read_param(), except that an unknown id is created.
     */
    void write_param(uint32_t id, const QVariant& value);

    /// Puts a value into the store directly: no latency, no fault, no record.
    void store(uint32_t id, const QVariant& value);
    /// @return the stored value of @p id, or an invalid QVariant
    QVariant stored(uint32_t id) const;
    /// @return whether the link is open
    bool is_connected() const;

    /// Latencies of connect(), read_param() and write_param(); zero (the default) means no wait.
    void set_connect_latency(std::chrono::milliseconds latency);
    void set_read_latency(std::chrono::milliseconds latency);
    void set_write_latency(std::chrono::milliseconds latency);

    /// The next connect() throws @p fault (once).
    void fail_next_connect(const fault_t& fault);
    /// The next disconnect() throws @p fault (once).
    void fail_next_disconnect(const fault_t& fault);
    /// Reading @p id throws @p fault, once or always.
    void fail_read(uint32_t id, const fault_t& fault, repeat_e repeat = once);
    /// Writing @p id throws @p fault, once or always.
    void fail_write(uint32_t id, const fault_t& fault, repeat_e repeat = once);
    /// Forgets every scripted fault.
    void clear_faults();

    /// Sets the transport's mode number (2 or more: pipe mode).
    void set_mode(int32_t mode);

    /// Switches the call record on (the default) or off, e.g. for long benchmark sweeps.
    void set_recording(bool on);
    /// @return every recorded call, oldest first
    QVector<call_t> calls() const;
    /// @return how many calls of @p kind were recorded
    int count(call_e kind) const;
    /// Forgets the recorded calls.
    void clear_calls();

    /// @return the last configuration given to set_config(), if any
    std::optional<api::proto::command_config> last_config() const;
    /// @return the last flag given to set_persistent() (false before any)
    bool persistent() const;

private:
    struct param_fault_t {
        fault_t fault;
        repeat_e repeat;
    };
    using lock_t = std::unique_lock<std::mutex>;

    void _record(call_e kind, uint32_t id = 0);
    void _wait(lock_t& lock, std::chrono::milliseconds latency);
    void _check_param(lock_t& lock, QHash<uint32_t, param_fault_t>& faults, uint32_t id);

    mutable std::mutex _mutex;
    std::condition_variable _aborted;
    uint64_t _abort_generation = 0;

    QHash<uint32_t, QVariant> _store;
    bool _connected = false;
    std::chrono::milliseconds _connect_latency{0};
    std::chrono::milliseconds _read_latency{0};
    std::chrono::milliseconds _write_latency{0};

    std::optional<fault_t> _connect_fault;
    std::optional<fault_t> _disconnect_fault;
    QHash<uint32_t, param_fault_t> _read_faults;
    QHash<uint32_t, param_fault_t> _write_faults;

    int32_t _mode = 0;
    api::proto::qz_media _media;

    bool _recording = true;
    QVector<call_t> _calls;
    std::optional<api::proto::command_config> _config;
    bool _persistent = false;
};

} // namespace qz::sim

#endif
