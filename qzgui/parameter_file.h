// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_PARAMETER_FILE_H
#define QZGUI_PARAMETER_FILE_H

#include "qzgui/qzgui_export.h"

#include "qzgui/ui_controller.h"

#include <QMap>
#include <QPair>
#include <QVariant>

#include <cstdint>

class QObject;

namespace qz::gui {

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

} // namespace qz::gui

#endif
