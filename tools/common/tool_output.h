// SPDX-License-Identifier: BSD-3-Clause
// Internal to the tools: whole lines on standard output and error, and the bad-argument exit.
#ifndef QZGUI_TOOLS_TOOL_OUTPUT_H
#define QZGUI_TOOLS_TOOL_OUTPUT_H

#include <cstdio>

class QString;

namespace qz::tools {

/// Writes @p line and a line feed to @p stream in UTF-8 and flushes it, so that a reader of a pipe
/// sees each line as it is written.
void print(std::FILE* stream, const QString& line);

/// Prints "<application name>: @p text" on standard error and exits with status 2.
[[noreturn]] void bad_argument(const QString& text);

} // namespace qz::tools

#endif
