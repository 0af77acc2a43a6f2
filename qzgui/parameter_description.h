// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_PARAMETER_DESCRIPTION_H
#define QZGUI_PARAMETER_DESCRIPTION_H

#include "qzgui/qzgui_export.h"

#include <QPair>
#include <QString>
#include <QVariant>
#include <QVector>

#include <cstdint>

namespace qz::gui {

/**
 * @struct parameter_description parameter_description.h <qzgui/parameter_description.h>
 *
 * What a form needs to know of one parameter of a device to show it: its name, type, unit, range,
 * choices and group. It names no protocol; a device's own description (a Modbus register map, for
 * one) gives a list of them, and build_form() turns the list into a form.
 *
 * @code
 * qz::gui::parameter_description gain;
 * gain.id = 0x0003;
 * gain.name = QStringLiteral("Gain");
 * gain.unit = QStringLiteral("dB");
 * gain.type = QMetaType::Int;
 * gain.minimum = -10;
 * gain.maximum = 40;
 * @endcode
 * @see build_form()
 */
struct QZGUI_EXPORT parameter_description {
    /// The parameter's id, as the worker names it.
    uint32_t id = 0;
    /// The row's label; empty: the id as "0x" and at least four upper-case hex digits.
    QString name;
    /// Shown after the value, e.g. "dB"; may be empty.
    QString unit;
    /// Rows of one group share a QGroupBox titled so, groups in order of first appearance.
    QString group;
    /// The tool tip of the label and the field; may be empty.
    QString description;
    /// The value's type: QMetaType::Bool, Int, UInt, Double or QString.
    int type = 0;
    /// The inclusive lower bound in the value's own type; invalid: the type's own bound.
    QVariant minimum;
    /// The inclusive upper bound in the value's own type; invalid: the type's own bound.
    QVariant maximum;
    /// A spin box's step; 0: 1 for integers, 10^-decimals for doubles (0.1 without decimals).
    double step = 0;
    /// Doubles: digits after the point; -1: every value exactly, as its shortest decimal (24.25,
    /// 24.5, 5), so that no value of the device's is shown rounded.
    int decimals = -1;
    /// Not empty: the value is one of these (value, text), shown by its text.
    QVector<QPair<QVariant, QString>> choices;
    /// Shown, never changed by the user.
    bool read_only = false;
    /// Integers shown and typed as 0x... (HexSpinBox).
    bool hexadecimal = false;
    /// Strings: the most characters; -1: no bound.
    int max_length = -1;
};

} // namespace qz::gui

#endif
