// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_SIMULATOR_SIMULATED_WORKER_H
#define QZGUI_SIMULATOR_SIMULATED_WORKER_H

#include "qzgui/sat_worker.h"

#include <atomic>

namespace qz::sim {

class simulated_module;

/**
 * A concrete device worker over a simulated_module: a read asks the module's store and ends in
 * _cache_parameter_and_emit_signal(), a write stores and emits on_set_param().
 */
class simulated_worker : public gui::sat_worker {
public:
    /// @param module not owned; must outlive the worker
    simulated_worker(QObject* parent, simulated_module* module);

    /// With @p on, a read first re-emits a fresh cached value and skips the device.
    void set_serve_from_cache(bool on);

protected:
    void _get_param(uint32_t id) override;
    void _set_param(uint32_t id, const QVariant& value) override;

private:
    simulated_module* _module;
    std::atomic<bool> _serve_from_cache{false};
};

} // namespace qz::sim

#endif
