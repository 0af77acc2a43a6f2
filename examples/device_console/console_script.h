// SPDX-License-Identifier: BSD-3-Clause
#ifndef DEVICE_CONSOLE_CONSOLE_SCRIPT_H
#define DEVICE_CONSOLE_CONSOLE_SCRIPT_H

#include <QString>

namespace device_console {

class console_window;

/**
 * Runs the console without a user: read, edit three fields, write, read with a CRC fault, switch
 * profile, stop a slow read; then prints the log and saves a screenshot to @p screenshot.
 * @return the process exit code
 */
int run_script(console_window& window, const QString& screenshot);

} // namespace device_console

#endif
