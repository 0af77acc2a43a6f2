// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/form_double_spin_box_p.h"

#include <QLocale>

#include <cmath>

namespace qz::gui {

form_double_spin_box::~form_double_spin_box() = default;

QString form_double_spin_box::textFromValue(double value) const
{
    if (decimals() < exact_decimals)
        return QDoubleSpinBox::textFromValue(value);
    // The shortest decimal that reads back as the same double, never in exponent form, which the
    // box would not take back.
    QString text = locale().toString(value, 'f', QLocale::FloatingPointShortest);
    if (!isGroupSeparatorShown() && std::fabs(value) >= 1000.0)
        text.remove(locale().groupSeparator());
    return text;
}

} // namespace qz::gui
