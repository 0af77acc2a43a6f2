// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_PARAMETER_FILE_H
#define QZGUI_PARAMETER_FILE_H

#include "qzgui/qzgui_export.h"

#include "qzgui/ui_controller.h"

#include <QMap>
#include <QPair>
#include <QVariant>
#include <QVector>

#include <cstdint>

class QObject;
class QString;

/**
 * @file parameter_file.h <qzgui/parameter_file.h>
 * Parameter sets in files, and between files and forms: back a device up, clone it onto another,
 * hand a setting to a colleague.
 *
 * A parameter file is JSON text:
 * @code{.json}
 * {
 *     "format": "qzgui parameters",
 *     "version": 1,
 *     "parameters": [
 *         { "id": "0x00000010", "type": "uint", "value": 5 },
 *         { "id": "0x00000011", "type": "string", "value": "pump 1\nwest" },
 *         { "clock": "local", "id": "0x00000012", "type": "datetime", "value": "2026-11-23T09:00:00.123Z" }
 *     ]
 * }
 * @endcode
 * The types are "bool", "int", "uint", "double", "string", "datetime" and "none" (an invalid
 * value, as a combo box with nothing selected gives; it has no "value"). A date-time's value is
 * the instant in UTC (null for an invalid one); its "clock" is "local", "utc", "offset" (with
 * "offset" in seconds east of UTC) or "zone" (with the IANA id in "zone").
 */

namespace qz::gui {

/**
 * Saves @p values to the parameter file @p path, in ascending id order, replacing the file. The
 * file is written through QSaveFile: an interrupted save leaves the earlier file as it was.
 * Every value comes back from load_parameters() exactly: a bool, an int, a uint, a double to the
 * bit (those that JSON numbers cannot carry, such as -0.0, infinities and NaNs, are written as a
 * string of their 64 bits in hexadecimal), a QString of any content, a QDateTime to the
 * millisecond with its clock (local time, UTC, an offset or a time zone) (years 1 to 9999), and an invalid
 * QVariant.
 * @throws std::runtime_error naming the file and the id, for a value of another type, or naming
 *         the file and Qt's reason, when it cannot be written
 * @see load_parameters()
 */
QZGUI_EXPORT void save_parameters(const QString& path, const QMap<uint32_t, QVariant>& values);

/**
 * Loads the parameter file @p path written by save_parameters(). Ids may also be written as JSON
 * numbers or decimal texts.
 * @return id to value, with the value types save_parameters() took
 * @throws std::runtime_error naming the file and the place (line and column, or the parameter's
 *         position and id), for a missing or unreadable file, text that is not JSON, a file of
 *         another format or version, a bad or repeated id, an unknown type or a value that does
 *         not fit its type; nothing is loaded then
 * @see save_parameters(), apply_as_changes()
 */
QZGUI_EXPORT QMap<uint32_t, QVariant> load_parameters(const QString& path);

/**
 * Reads the current value of every bound widget that carries one, as
 * ui_controller::collect_changed_params() would collect it: a bool for a check box, a QString for
 * a line edit, an int for a spin box, a double for a double spin box, the current item's data for
 * a combo box (invalid with nothing selected) and a QDateTime for a date-time edit. Labels,
 * progress bars, inert widgets and numbers that name no kind give nothing.
 * @param widgets the form's widget map, as ui_controller takes it
 * @return id to value, for the ids whose widget carries a value
 * @see ui_controller::collect_changed_params()
 */
QZGUI_EXPORT QMap<uint32_t, QVariant>
read_form_values(const QMap<uint32_t, QPair<widget_type_e, QObject*>>& widgets);

/**
 * Puts a loaded parameter set into a form as the user would type it: each value that differs from
 * what its widget shows is written so that the widget's watched signal reports an edit (a check
 * box's clicked() included), and @p form takes it as a pending change, underlined and in its
 * changed list, ready for ui_controller::collect_changed_params(). Values equal to what a widget
 * shows change nothing. The widget takes a value as ui_controller::set_data() writes it (a spin
 * box keeps it in its range; an invalid value leaves a combo box with nothing selected), so
 * compare read_form_values() afterwards to learn which values a widget could not show. Ids bound
 * to labels, progress bars or inert widgets are left alone. The loading flag of @p form is lifted
 * while the values are written and restored afterwards.
 * @param form the controller that watches @p widgets
 * @param widgets the form's widget map, as @p form was given it
 * @param values id to value, as load_parameters() gives them
 * @return the ids of @p values that @p widgets does not bind, in ascending order
 * @see load_parameters(), ui_controller::on_data_changed()
 */
QZGUI_EXPORT QVector<uint32_t> apply_as_changes(ui_controller& form,
                                                const QMap<uint32_t, QPair<widget_type_e, QObject*>>& widgets,
                                                const QMap<uint32_t, QVariant>& values);

} // namespace qz::gui

#endif
