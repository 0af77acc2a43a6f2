// SPDX-License-Identifier: BSD-3-Clause
// Internal: parameter ids as people write them, in forms and files. Not installed.
#ifndef QZGUI_PARAMETER_ID_H
#define QZGUI_PARAMETER_ID_H

#include <QString>

#include <cstdint>
#include <optional>

class QVariant;

namespace qz::gui {

/**
 * Reads a parameter id: an integer of any width (a JSON number included) from 0 to 0xFFFFFFFF, or
 * a text of decimal digits or of "0x" and hexadecimal digits. Signs, blanks, fractions, other
 * prefixes and booleans are refused.
 * @return the id, or nothing for anything else
 */
std::optional<uint32_t> parse_parameter_id(const QVariant& value);

/// @return the id a text of decimal digits, or of "0x" and hexadecimal digits, names, or nothing
std::optional<uint32_t> parse_parameter_id_text(const QString& text);

/// @return @p id as "0x" and eight upper-case hexadecimal digits, the way files write it
QString parameter_id_text(uint32_t id);

/// @return @p id as "0x" and at least four upper-case hexadecimal digits, the way the tools print it
QString short_parameter_id_text(uint32_t id);

} // namespace qz::gui

#endif
