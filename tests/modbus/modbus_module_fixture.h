// SPDX-License-Identifier: BSD-3-Clause
// What tests of the Modbus module share: short time-outs, and the failure a call throws.
#ifndef QZGUI_TESTS_MODBUS_MODULE_FIXTURE_H
#define QZGUI_TESTS_MODBUS_MODULE_FIXTURE_H

#include <module_api/qz_module.h>

#include <functional>
#include <stdexcept>

namespace qz::test {

/// Time-outs short enough for a test, long enough for a loaded machine's loopback; no repeats.
inline qz::api::proto::command_config short_config(int reply_timeout_ms = 300)
{
    return {9500, 1000, 200, reply_timeout_ms, reply_timeout_ms, 2000, 2000, 0, 0, 0, 0, 0};
}

/// @return the @p E that @p call throws
/// @throws std::logic_error when it throws nothing, which fails the test
template <typename E>
E thrown(const std::function<void()>& call)
{
    try {
        call();
    } catch (const E& e) {
        return e;
    }
    throw std::logic_error("nothing thrown");
}

} // namespace qz::test

#endif
