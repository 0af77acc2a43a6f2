// SPDX-License-Identifier: BSD-3-Clause
#include "device_faults.h"

#include "device_parameters.h"

#include "simulator/simulated_module.h"

#include <chrono>

namespace device_console {

using namespace std::chrono_literals;

device_faults::device_faults(qz::sim::simulated_module& module)
    : _module(module)
{}

void device_faults::set_unplugged(bool on)
{
    _unplugged = on;
}

void device_faults::set_pipe_mode(bool on)
{
    _module.set_mode(on ? 2 : 0);
}

void device_faults::set_crc_error_on_gain(bool on)
{
    _crc_on_gain = on;
}

void device_faults::set_slow_device(bool on)
{
    _module.set_connect_latency(on ? 300ms : 0ms);
    _module.set_read_latency(on ? 400ms : 0ms);
    _module.set_write_latency(on ? 400ms : 0ms);
}

void device_faults::apply()
{
    using qz::api::proto::media_exception;
    using qz::api::proto::proto_exception;
    _module.clear_faults();
    if (_unplugged)
        _module.fail_next_connect(
            qz::sim::fault_t::media(media_exception::no_device, "no answer at the configured port"));
    if (_crc_on_gain)
        _module.fail_read(id_gain, qz::sim::fault_t::proto(proto_exception::crc_error, "checksum mismatch"),
                          qz::sim::simulated_module::always);
}

} // namespace device_console
