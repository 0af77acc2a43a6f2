// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/form_spin_box_p.h"

namespace qz::gui {

form_spin_box::form_spin_box(QWidget* parent)
    : QSpinBox(parent)
{
    // Typing 6 of 60 is no value of its own: nothing is pending until the entry ends.
    setKeyboardTracking(false);
}

form_spin_box::~form_spin_box() = default;

bounded_entry::box_t form_spin_box::_box() const
{
    return {prefix(), suffix(), locale(), double(minimum()), double(maximum())};
}

QValidator::State form_spin_box::validate(QString& text, int& position) const
{
    return allow_beyond(QSpinBox::validate(text, position), text, _box());
}

void form_spin_box::fixup(QString& text) const
{
    refuse_beyond(text, _box());
    QSpinBox::fixup(text);
}

QString form_spin_box::range_text() const
{
    // As the box writes numbers, without group separators (QSpinBox keeps one in INT_MIN).
    const auto text = [this](int value) {
        return locale().toString(value).remove(locale().groupSeparator());
    };
    return bounded_entry::range_text(text(minimum()), text(maximum()), _box());
}

} // namespace qz::gui
