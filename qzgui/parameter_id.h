// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_PARAMETER_ID_H
#define QZGUI_PARAMETER_ID_H

#include "qzgui/qzgui_export.h"

#include <QString>

#include <cstdint>
#include <optional>

class QVariant;

/**
 * @file parameter_id.h <qzgui/parameter_id.h>
 * Parameter ids as people write them, in forms, files and on command lines: read from decimal or
 * "0x" hexadecimal, written as "0x" and upper-case hexadecimal digits.
 */
namespace qz::gui {

/**
 * Reads a parameter id: an integer of any width (a JSON number included) from 0 to 0xFFFFFFFF, or
 * a text of decimal digits or of "0x" and hexadecimal digits. Signs, blanks, fractions, other
 * prefixes and booleans are refused.
 * @return the id, or nothing for anything else
 */
QZGUI_EXPORT std::optional<uint32_t> parse_parameter_id(const QVariant& value);

/// @return the id a text of decimal digits, or of "0x" and hexadecimal digits, names, or nothing
QZGUI_EXPORT std::optional<uint32_t> parse_parameter_id_text(const QString& text);

/// @return @p id as "0x" and eight upper-case hexadecimal digits, the way files write it
QZGUI_EXPORT QString parameter_id_text(uint32_t id);

/// @return @p id as "0x" and at least four upper-case hexadecimal digits, the way the tools print it
QZGUI_EXPORT QString short_parameter_id_text(uint32_t id);

} // namespace qz::gui

#endif
