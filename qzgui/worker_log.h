// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_WORKER_LOG_H
#define QZGUI_WORKER_LOG_H

#include "qzgui/qzgui_export.h"

#include <QString>

class QObject;

namespace qz::api::proto {
class error_descriptor;
}

namespace qz::gui {

class log_controller;
class resource_manager;
class sat_worker;
using qz::api::proto::error_descriptor;

/**
 * The one line a failure gets in a log or on standard error: @p texts' text of @p error and,
 * unless that already ends with the whole message (a verbose level above 4), what the device or
 * the worker said (failure_detail(): "parameter error: Modbus exception 0x02 (illegal data address)"),
 * through printable_text().
 */
QZGUI_EXPORT QString failure_line(resource_manager& texts, const error_descriptor& error);

/**
 * Logs what @p worker reports about whole operations in @p log, in @p texts' words: each phase
 * (INFO, "begin of READ operation"), each connection state (INFO, "connection: connected"), and
 * each connection and operation failure (ERROR, "connection error: ..." and "READ operation
 * failed: ..." with failure_line(): the catalogue's text and what the device or link said, such as
 * "no connection (Connection refused)"). Per-parameter values and failures are left to the
 * application, which names its parameters.
 *
 * @code
 * qz::gui::log_worker_reports(worker, _log.get(), &_texts, this);
 * @endcode
 *
 * @param context the receiver of the connections: they end when it goes; its thread (the GUI
 *        thread) is where @p log and @p texts are used
 */
QZGUI_EXPORT void log_worker_reports(const sat_worker* worker, log_controller* log, resource_manager* texts,
                                     QObject* context);

} // namespace qz::gui

#endif
