// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_PRINTABLE_TEXT_H
#define QZGUI_PRINTABLE_TEXT_H

#include "qzgui/qzgui_export.h"

#include <QString>

namespace qz::gui {

/**
 * @return @p text as one line that shows every character it holds, for logs, messages and
 * line-per-record output: a backslash becomes "\\"; a control character (U+0000 to U+001F,
 * U+007F to U+009F), a line or paragraph separator (U+2028, U+2029) or half a surrogate pair
 * becomes "\u" and four lower-case hexadecimal digits. Everything else stays as it is, so the
 * text reads back exactly by undoing these two rules.
 */
QZGUI_EXPORT QString printable_text(const QString& text);

} // namespace qz::gui

#endif
