// SPDX-License-Identifier: BSD-3-Clause
// Internal to the tools: SIGINT and SIGTERM turned into a call in the event loop.
#ifndef QZGUI_TOOLS_QUIT_SIGNAL_H
#define QZGUI_TOOLS_QUIT_SIGNAL_H

#include <functional>

class QObject;

namespace qz::tools {

/**
 * Calls @p fn in @p context's thread, through its event loop, each time SIGINT or SIGTERM arrives.
 * The signal handler only writes a byte to a pipe, the one thing it may safely do. The signals
 * are unblocked, so that one sent before (while they were blocked) is not lost. Call once.
 */
void on_quit_signal(QObject* context, std::function<void()> fn);

} // namespace qz::tools

#endif
