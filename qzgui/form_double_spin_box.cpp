// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/form_double_spin_box_p.h"

#include <QLocale>

#include <cmath>

namespace qz::gui {

form_double_spin_box::form_double_spin_box(QWidget* parent)
    : QDoubleSpinBox(parent)
{
    setKeyboardTracking(false);
}

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

bounded_entry::box_t form_double_spin_box::_box() const
{
    return {prefix(), suffix(), locale(), minimum(), maximum()};
}

QValidator::State form_double_spin_box::validate(QString& text, int& position) const
{
    return allow_beyond(QDoubleSpinBox::validate(text, position), text, _box());
}

void form_double_spin_box::fixup(QString& text) const
{
    refuse_beyond(text, _box());
    QDoubleSpinBox::fixup(text);
}

QString form_double_spin_box::range_text() const
{
    return bounded_entry::range_text(textFromValue(minimum()), textFromValue(maximum()), _box());
}

} // namespace qz::gui
