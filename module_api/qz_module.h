// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZ_MODULE_API_QZ_MODULE_H
#define QZ_MODULE_API_QZ_MODULE_H

#include "module_api/module_api_export.h"

#include <cstdint>

namespace qz::api::proto {

/**
 * The command timing settings a module applies to the commands that follow: answer time-outs and
 * repeat counts for five command classes from "xs" to "xl", plus two times of the link itself.
 * Twelve 32-bit fields; their order is the module's contract.
 */
struct command_config {
    uint32_t persistent_time; ///< how long a persistent link stays open
    int32_t timeout_pipe;     ///< pipe-drain wait in milliseconds
    int32_t timeout_xs;       ///< answer time-out, class xs
    int32_t timeout_s;        ///< answer time-out, class s
    int32_t timeout_m;        ///< answer time-out, class m
    int32_t timeout_l;        ///< answer time-out, class l
    int32_t timeout_xl;       ///< answer time-out, class xl
    int32_t repeats_xs;       ///< repeat count, class xs
    int32_t repeats_s;        ///< repeat count, class s
    int32_t repeats_m;        ///< repeat count, class m
    int32_t repeats_l;        ///< repeat count, class l
    int32_t repeats_xl;       ///< repeat count, class xl
};

/**
 * The module's current transport object.
 */
class QZ_MODULE_API_EXPORT qz_media {
public:
    /// Destroys the transport object.
    virtual ~qz_media();

    /// The transport's mode number; 2 or more means a pipe-mode transport.
    int32_t mode = 0;
};

/**
 * A device module: the object that speaks the device's protocol over a transport.
 *
 * Every operation reports failure only by throwing media_exception, proto_exception or another
 * std::exception. Calls arrive from one worker thread, except abort() and set_persistent(), which
 * may come from any thread while another call is running.
 */
class QZ_MODULE_API_EXPORT qz_module {
public:
    /// Destroys the module.
    virtual ~qz_module();

    /// Opens the link to the device.
    virtual void connect() = 0;

    /// Closes the link (in persistent mode the module may keep it open).
    virtual void disconnect() = 0;

    /// Cuts the exchange in progress short. Called from any thread; must not throw.
    virtual void abort() = 0;

    /// Gives access to the module's current transport object.
    virtual qz_media& media() = 0;

    /// Takes the command settings for the commands that follow.
    virtual void set_config(const command_config& config) = 0;

    /// Switches persistent connection mode on or off.
    virtual void set_persistent(bool persistent) = 0;
};

} // namespace qz::api::proto

#endif
