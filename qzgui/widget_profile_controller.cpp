// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/widget_profile_controller.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QIcon>
#include <QLabel>
#include <QSpinBox>

// The two consistency checks end the process in every build, Release included.
#undef NDEBUG
#include <cassert>

namespace qz::gui {

widget_profile_t::widget_profile_t(widget_type_e type, bool enabled)
    : type(type)
    , enabled(enabled)
{}

widget_profile_spinbox_t::widget_profile_spinbox_t(bool enabled, int minimum, int maximum, int step)
    : widget_profile_t(spinbox, enabled)
    , minimum(minimum)
    , maximum(maximum)
    , step(step)
{}

widget_profile_doublespinbox_t::widget_profile_doublespinbox_t(bool enabled, double minimum, double maximum,
                                                               double step, int decimals,
                                                               value_policy_e policy)
    : widget_profile_t(doublespinbox, enabled)
    , minimum(minimum)
    , maximum(maximum)
    , step(step)
    , decimals(decimals)
    , policy(policy)
{}

widget_profile_label_t::widget_profile_label_t(bool enabled, const QString& text)
    : widget_profile_t(label, enabled)
    , text(text)
{}

widget_profile_combobox_t::widget_profile_combobox_t(bool enabled,
                                                     const QVector<QPair<QString, QVariant>>& items)
    : widget_profile_t(combobox, enabled)
    , items(items)
{}

widget_profile_handler::widget_profile_handler() = default;
widget_profile_handler::~widget_profile_handler() = default;

void widget_profile_handler::apply_profile(QWidget* widget, const widget_profile_t& profile)
{
    widget->setEnabled(profile.enabled);
}

widget_profile_handler_spinbox::widget_profile_handler_spinbox() = default;
widget_profile_handler_spinbox::~widget_profile_handler_spinbox() = default;

void widget_profile_handler_spinbox::apply_profile(QWidget* widget, const widget_profile_t& profile)
{
    auto* box = static_cast<QSpinBox*>(widget);
    const auto& p = static_cast<const widget_profile_spinbox_t&>(profile);
    const int value = box->value();
    box->setMinimum(p.minimum);
    box->setMaximum(p.maximum);
    box->setSingleStep(p.step);
    box->setValue(value);
    widget_profile_handler::apply_profile(widget, profile);
}

widget_profile_handler_doublespinbox::widget_profile_handler_doublespinbox() = default;
widget_profile_handler_doublespinbox::~widget_profile_handler_doublespinbox() = default;

void widget_profile_handler_doublespinbox::apply_profile(QWidget* widget, const widget_profile_t& profile)
{
    auto* box = static_cast<QDoubleSpinBox*>(widget);
    const auto& p = static_cast<const widget_profile_doublespinbox_t&>(profile);
    const double value = box->value();
    box->setMinimum(p.minimum);
    box->setMaximum(p.maximum);
    box->setSingleStep(p.step);
    box->setDecimals(p.decimals);
    switch (p.policy) {
    case keep_value:
        box->setValue(value);
        break;
    case set_minimum:
        box->setValue(p.minimum);
        break;
    case set_maximum:
        box->setValue(p.maximum);
        break;
    }
    widget_profile_handler::apply_profile(widget, profile);
}

widget_profile_handler_combobox::widget_profile_handler_combobox() = default;
widget_profile_handler_combobox::~widget_profile_handler_combobox() = default;

void widget_profile_handler_combobox::apply_profile(QWidget* widget, const widget_profile_t& profile)
{
    auto* box = static_cast<QComboBox*>(widget);
    const auto& p = static_cast<const widget_profile_combobox_t&>(profile);
    const QVariant selected = box->currentData(Qt::UserRole);
    box->clear();
    for (const auto& item : p.items)
        box->insertItem(box->count(), QIcon(), item.first, item.second);
    // Where the data is gone, the box keeps what refilling selected: the first item, or none.
    const int index = box->findData(selected, Qt::UserRole);
    if (index >= 0)
        box->setCurrentIndex(index);
    widget_profile_handler::apply_profile(widget, profile);
}

widget_profile_handler_label::widget_profile_handler_label() = default;
widget_profile_handler_label::~widget_profile_handler_label() = default;

void widget_profile_handler_label::apply_profile(QWidget* widget, const widget_profile_t& profile)
{
    static_cast<QLabel*>(widget)->setText(static_cast<const widget_profile_label_t&>(profile).text);
    widget_profile_handler::apply_profile(widget, profile);
}

widget_profile_controller::widget_profile_controller()
    : _handlers{
        {spinbox, std::shared_ptr<widget_profile_handler>(new widget_profile_handler_spinbox)},
        {doublespinbox, std::shared_ptr<widget_profile_handler>(new widget_profile_handler_doublespinbox)},
        {combobox, std::shared_ptr<widget_profile_handler>(new widget_profile_handler_combobox)},
        {label, std::shared_ptr<widget_profile_handler>(new widget_profile_handler_label)}}
{}

widget_profile_controller::~widget_profile_controller() = default;

void widget_profile_controller::register_profile(
    uint32_t profile_id, const QVector<QPair<QWidget*, std::shared_ptr<widget_profile_t>>>& widgets)
{
    _profiles.insert(profile_id, widgets);
}

void widget_profile_controller::set_active_profile(uint32_t profile_id)
{
    assert(_profiles.contains(profile_id));
    for (const auto& pair : _profiles[profile_id]) {
        const widget_profile_t* wp = pair.second.get();
        // The report spells the expression with this inner blank.
        // clang-format off
        assert(_handlers.contains( wp->type));
        // clang-format on
        _handlers[wp->type]->apply_profile(pair.first, *wp);
    }
}

} // namespace qz::gui
