// SPDX-License-Identifier: BSD-3-Clause
// qzparam watch: polled values as CSV on standard output.
#ifndef QZGUI_TOOLS_QZPARAM_WATCH_H
#define QZGUI_TOOLS_QZPARAM_WATCH_H

#include <qzgui/parameter_description.h>

#include <QVector>

namespace qz::gui {
class sat_worker;
}

namespace qz::tools {

/// What to watch and how.
struct watch_request_t {
    QVector<qz::gui::parameter_description> columns; // the ids to poll, in the order of the columns
    int interval_ms = 1000;
    int count = 0;  // rows to write; 0: until SIGINT or SIGTERM
    QString device; // the address, for the messages
};

/**
 * Polls @p worker, which runs in a thread of its own, through a qz::gui::poller and writes the
 * CSV of the values to standard output, header first, one flushed row per sweep. The device lost
 * and back are said on standard error.
 * @return the exit status: 0 after the rows asked for or a quit signal, 3 when the device cannot
 *         be connected at the start
 */
int watch(qz::gui::sat_worker* worker, const watch_request_t& request);

} // namespace qz::tools

#endif
