// SPDX-License-Identifier: BSD-3-Clause
#ifndef DEVICE_CONSOLE_DEVICE_FAULTS_H
#define DEVICE_CONSOLE_DEVICE_FAULTS_H

namespace qz::sim {
class simulated_module;
} // namespace qz::sim

namespace device_console {

/**
 * The faults the Device menu injects into the simulated device: no device at the port, a
 * pipe-mode transport, a CRC error on the gain and a slow device. A real device shows its own.
 */
class device_faults {
public:
    /// @param module the simulated device; must outlive the faults
    explicit device_faults(qz::sim::simulated_module& module);

    /// No device answers at the port: the next connect fails (media kind 1).
    void set_unplugged(bool on);
    /// The transport works in pipe mode, so a failed connect waits for the pipe to drain.
    void set_pipe_mode(bool on);
    /// Every read of the gain fails with a CRC error.
    void set_crc_error_on_gain(bool on);
    /// Connecting, reading and writing take long enough to try Stop on.
    void set_slow_device(bool on);

    /// Arms the faults for the next request; call before each one.
    void apply();

private:
    qz::sim::simulated_module& _module;
    bool _unplugged = false;
    bool _crc_on_gain = false;
};

} // namespace device_console

#endif
