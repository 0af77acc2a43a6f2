// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_SETTINGS_KEYS_H
#define QZGUI_SETTINGS_KEYS_H

/**
 * @file settings_keys.h <qzgui/settings_keys.h>
 * The keys of the host application's settings that the library reads, named once. The library
 * only reads them, through a default-constructed QSettings; the application writes them.
 */

namespace qz::gui {

/// The directory of the log files, read once by every log_controller; it must exist.
inline constexpr char log_location_key[] = "common/log_location";

/// One command setting: its key and the value the worker uses when the key is absent.
struct command_setting_t {
    const char* key;   ///< the settings key, "command/..."
    int default_value; ///< used for a missing key
};

/// The settings behind each field of the module's command configuration, read before every
/// operation of sat_worker.
namespace command_settings {
/// The persistent-mode time handed to the module
inline constexpr command_setting_t persistent_time{"command/persistent_time", 9500};
/// How long a failed pipe-mode connect waits before giving up, in ms
inline constexpr command_setting_t timeout_pipe{"command/timeout_pipe", 10000};
/// The time-out of the shortest command class, in ms
inline constexpr command_setting_t timeout_xs{"command/timeout_xs", 400};
/// The time-out of the short command class, in ms
inline constexpr command_setting_t timeout_s{"command/timeout_s", 800};
/// The time-out of the medium command class, in ms
inline constexpr command_setting_t timeout_m{"command/timeout_m", 1000};
/// The time-out of the long command class, in ms
inline constexpr command_setting_t timeout_l{"command/timeout_l", 4000};
/// The time-out of the longest command class, in ms
inline constexpr command_setting_t timeout_xl{"command/timeout_xl", 9000};
/// The repeat count of the shortest command class
inline constexpr command_setting_t repeats_xs{"command/repeats_xs", 10};
/// The repeat count of the short command class
inline constexpr command_setting_t repeats_s{"command/repeats_s", 4};
/// The repeat count of the medium command class
inline constexpr command_setting_t repeats_m{"command/repeats_m", 2};
/// The repeat count of the long command class
inline constexpr command_setting_t repeats_l{"command/repeats_l", 1};
/// The repeat count of the longest command class
inline constexpr command_setting_t repeats_xl{"command/repeats_xl", 0};

/// All twelve, in the order of the command configuration's fields.
inline constexpr command_setting_t all[] = {persistent_time, timeout_pipe, timeout_xs, timeout_s,
                                            timeout_m,       timeout_l,    timeout_xl, repeats_xs,
                                            repeats_s,       repeats_m,    repeats_l,  repeats_xl};
} // namespace command_settings

} // namespace qz::gui

#endif
