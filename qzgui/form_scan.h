// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_FORM_SCAN_H
#define QZGUI_FORM_SCAN_H

#include "qzgui/qzgui_export.h"

#include "qzgui/ui_controller.h"

#include <QMap>
#include <QPair>

#include <cstdint>

class QObject;
class QWidget;

namespace qz::gui {

/**
 * The maps a ui_controller takes, as scan_form() builds them from a form.
 * @see scan_form()
 */
struct form_bindings {
    /// id to (kind, widget), for ui_controller's first argument
    QMap<uint32_t, QPair<widget_type_e, QObject*>> widgets;
    /// id to hint widget, for ui_controller's second argument
    QMap<uint32_t, QWidget*> hints;
};

/**
 * Binds a form drawn in Qt Designer in one call. Every descendant widget of @p root that carries
 * the dynamic property @p property is bound under the id the property holds: an integer, or a text
 * in decimal or with "0x" in hexadecimal, from 0 to 0xFFFFFFFF. The widget's class gives its kind:
 * QCheckBox, QLineEdit, QSpinBox (HexSpinBox included), QDoubleSpinBox, QComboBox, QLabel,
 * QProgressBar or QDateTimeEdit (QDateEdit and QTimeEdit included), subclasses of them too. Its hint
 * widget is the QLabel whose buddy it is, or else the widget itself.
 *
 * @code
 * Ui::gain_form ui;
 * ui.setupUi(this);
 * _bindings = qz::gui::scan_form(this);
 * _form = new qz::gui::ui_controller(&_bindings.widgets, &_bindings.hints);
 * @endcode
 *
 * @param root the form's top widget; not bound itself. Null gives empty maps.
 * @param property the dynamic property's name
 * @return the widget map and the hint map; the widgets stay owned by the form
 * @throws std::invalid_argument naming the widget's object name and class, when a widget's class
 *         has no kind, its property holds no 32-bit unsigned id, or a second widget carries an
 *         id (naming both widgets); nothing is returned then
 * @see ui_controller, read_form_values()
 */
QZGUI_EXPORT form_bindings scan_form(QWidget* root, const char* property = "qz_param_id");

} // namespace qz::gui

#endif
