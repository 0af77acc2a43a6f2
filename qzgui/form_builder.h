// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_FORM_BUILDER_H
#define QZGUI_FORM_BUILDER_H

#include "qzgui/qzgui_export.h"

#include <QVector>

class QWidget;

namespace qz::gui {

struct parameter_description;

/**
 * Builds a parameter form from descriptions: one row per description, in order, a QLabel with the
 * name (the field's buddy) and the field, which carries the id in the dynamic property
 * "qz_param_id", so that scan_form() binds the whole form as it binds one drawn in Designer.
 *
 * The field follows the description:
 * - Bool: a QCheckBox;
 * - choices: a QComboBox whose items are the choices' texts, with their values as item data;
 * - Int or UInt, hexadecimal: a HexSpinBox, 16-bit when the maximum is at most 0xFFFF, else over
 *   every 32-bit pattern (its value() holds the bits as int);
 * - Int or UInt: a QSpinBox over the bounds; a UInt range past 2^31-1, which a QSpinBox cannot
 *   hold, gets a QDoubleSpinBox without decimals, which holds every integer of the range exactly
 *   and takes no other;
 * - Double: a QDoubleSpinBox with the bounds, decimals and step; without decimals, every value
 *   exactly, as its shortest decimal (24.25, not 24.3);
 * - QString: a QLineEdit with the maximum length.
 *
 * The spin boxes (a HexSpinBox aside) take a value when the entry ends (Enter, leaving the field,
 * a step), and refuse an entry beyond their range whole, where a plain Qt spin box keeps its
 * prefix (form_session::on_entry_refused() says so); the range given stands in the tool tip
 * ("Range: 0 to 60 dB").
 *
 * A read-only field stays readable but unchangeable: spin boxes and line edits are read-only,
 * check and combo boxes disabled; it carries the dynamic property "qz_read_only", and its bounds
 * are left out, so that it shows whatever the device holds.
 *
 * The unit is a spin box's suffix (" dB"), and a QLabel after any other field (a HexSpinBox
 * included, whose text is the number alone). The description is the tool tip of label and field.
 * Rows of one group lie in one QGroupBox titled with the group; groups, and rows without one,
 * follow in order of first appearance.
 *
 * A field starts without a value of the device's: a combo box with no item chosen, spin boxes and
 * line edits with empty text, a check box unchecked.
 *
 * @code
 * QWidget* form = qz::gui::build_form(map.descriptions());
 * _bindings = qz::gui::scan_form(form);
 * _form = std::make_unique<qz::gui::ui_controller>(&_bindings.widgets, &_bindings.hints);
 * @endcode
 *
 * @param parameters the rows, in order
 * @param parent the new form's parent
 * @return the form, a QWidget owned by @p parent (or the caller, without one)
 * @throws std::invalid_argument naming the id, for a description it cannot show (no or another
 *         type, a bound or choice that is not a value of the type, a minimum above the maximum,
 *         choices of a type other than Int or UInt, two choices with one value, an id given
 *         twice); nothing is built then
 */
QZGUI_EXPORT QWidget* build_form(const QVector<parameter_description>& parameters, QWidget* parent = nullptr);

} // namespace qz::gui

#endif
