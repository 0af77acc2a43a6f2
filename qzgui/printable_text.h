// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_PRINTABLE_TEXT_H
#define QZGUI_PRINTABLE_TEXT_H

#include "qzgui/qzgui_export.h"

#include <QString>

class QVariant;

namespace qz::gui {

/**
 * @return @p text as one line that shows every character it holds, for logs, messages and
 * line-per-record output: a backslash becomes "\\"; a control character (U+0000 to U+001F,
 * U+007F to U+009F), a line or paragraph separator (U+2028, U+2029) or half a surrogate pair
 * becomes "\u" and four lower-case hexadecimal digits. Everything else stays as it is, so the
 * text reads back exactly by undoing these two rules.
 */
QZGUI_EXPORT QString printable_text(const QString& text);

/**
 * @return @p number in the fewest digits that read back as the same double, in the C locale:
 * written out from 1e-7 up to 1e21 (1000000, 0.0001, 21.6), in exponent form beyond (1e+21,
 * 1e-08)
 */
QZGUI_EXPORT QString number_text(double number);

/**
 * @return @p value as one line: a bool as true or false, a double as number_text() writes it, a
 * string through printable_text(), anything else as QVariant::toString() gives it
 */
QZGUI_EXPORT QString printable_value(const QVariant& value);

/**
 * @return the detail of a failure message written as "PLACE: DETAIL", as the Modbus module and
 * worker write theirs (the text after the first ": "), for a line that shows the catalogue's
 * text and then what the device said; an empty string for a message that names no place
 */
QZGUI_EXPORT QString failure_detail(const QString& message);

} // namespace qz::gui

#endif
