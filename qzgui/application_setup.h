// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_APPLICATION_SETUP_H
#define QZGUI_APPLICATION_SETUP_H

#include "qzgui/qzgui_export.h"

#include <QString>

namespace qz::gui {

/**
 * Whether the command line asks for help (-h, --help, -?, --help-all). A form application answers
 * that with a QCoreApplication and its QCommandLineParser before it makes its QApplication, so
 * that --help works without a display.
 *
 * @code
 * if (qz::gui::asks_for_help(argc, argv)) {
 *     QCoreApplication core(argc, argv);
 *     parser.process(core); // prints the help and exits
 * }
 * QApplication app(argc, argv);
 * @endcode
 */
QZGUI_EXPORT bool asks_for_help(int argc, char** argv);

/**
 * Gives the log a directory where the settings name none: "common/log_location" becomes the
 * per-user QStandardPaths::AppLocalDataLocation + "/logs", created. The log never creates its
 * directory, and without the setting would write to the file system's root. Call it once the
 * organisation and application names are set, before the first log_controller is made.
 * @return the directory the settings now name
 */
QZGUI_EXPORT QString ensure_log_location();

} // namespace qz::gui

#endif
