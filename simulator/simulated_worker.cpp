// SPDX-License-Identifier: BSD-3-Clause
#include "simulator/simulated_worker.h"

#include "simulator/simulated_module.h"

namespace qz::sim {

simulated_worker::simulated_worker(QObject* parent, simulated_module* module)
    : sat_worker(parent, module)
    , _module(module)
{}

void simulated_worker::set_serve_from_cache(bool on)
{
    _serve_from_cache = on;
}

void simulated_worker::_get_param(uint32_t id)
{
    if (_serve_from_cache && _emit_param_value_from_cache(id))
        return;
    _cache_parameter_and_emit_signal(id, _module->read_param(id));
}

void simulated_worker::_set_param(uint32_t id, const QVariant& value)
{
    _module->write_param(id, value);
    emit on_set_param(id, value);
}

} // namespace qz::sim
