// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/widget_kind_p.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSpinBox>

#include <iterator>

namespace qz::gui {

namespace {

// A widget is taken as the class its kind names without a check; the caller vouches for that.
template <typename W>
W* as(QObject* object)
{
    return static_cast<W*>(object);
}

template <typename W>
const W* as(const QObject* object)
{
    return static_cast<const W*>(object);
}

// Indexed by widget_type_e.
const widget_kind_t kinds[] = {
    {&QCheckBox::staticMetaObject, "2clicked(bool)", // user clicks only, unlike the others
     [](QObject* w, const QVariant& v) { as<QCheckBox>(w)->setChecked(v.toBool()); },
     [](const QObject* w) { return QVariant(as<QCheckBox>(w)->checkState() == Qt::Checked); },
     [](QObject* w, const QVariant& v) {
         auto* box = as<QCheckBox>(w);
         const Qt::CheckState before = box->checkState();
         box->setChecked(v.toBool());
         // setChecked() reports no click; a user's click would have.
         if (box->checkState() != before)
             emit box->clicked(box->isChecked());
     }},
    {&QLineEdit::staticMetaObject, "2textChanged(QString)",
     [](QObject* w, const QVariant& v) { as<QLineEdit>(w)->setText(v.toString()); },
     [](const QObject* w) { return QVariant(as<QLineEdit>(w)->text()); }, nullptr},
    {&QSpinBox::staticMetaObject, "2valueChanged(int)",
     [](QObject* w, const QVariant& v) { as<QSpinBox>(w)->setValue(v.toInt()); },
     [](const QObject* w) { return QVariant(as<QSpinBox>(w)->value()); }, nullptr},
    {&QDoubleSpinBox::staticMetaObject, "2valueChanged(double)",
     [](QObject* w, const QVariant& v) { as<QDoubleSpinBox>(w)->setValue(v.toDouble()); },
     [](const QObject* w) { return QVariant(as<QDoubleSpinBox>(w)->value()); }, nullptr},
    {&QComboBox::staticMetaObject, "2currentTextChanged(QString)",
     [](QObject* w, const QVariant& v) {
         auto* box = as<QComboBox>(w);
         box->setCurrentIndex(box->findData(QVariant(v.toUInt()), Qt::UserRole));
     },
     [](const QObject* w) { return as<QComboBox>(w)->currentData(Qt::UserRole); },
     [](QObject* w, const QVariant& v) {
         auto* box = as<QComboBox>(w);
         const int before = box->currentIndex();
         const QString text = box->currentText();
         // Nothing selected is a value of its own here, as reading gives it back.
         box->setCurrentIndex(v.isValid() ? box->findData(QVariant(v.toUInt()), Qt::UserRole) : -1);
         // Two items may share a text; the watched signal only fires when the text changes.
         if (box->currentIndex() != before && box->currentText() == text)
             emit box->currentTextChanged(text);
     }},
    {&QLabel::staticMetaObject, nullptr,
     [](QObject* w, const QVariant& v) { as<QLabel>(w)->setText(v.toString()); }, nullptr, nullptr},
    {&QProgressBar::staticMetaObject, nullptr,
     [](QObject* w, const QVariant& v) { as<QProgressBar>(w)->setValue(v.toInt()); }, nullptr, nullptr},
    {&QDateTimeEdit::staticMetaObject, "2dateTimeChanged(QDateTime)",
     [](QObject* w, const QVariant& v) { as<QDateTimeEdit>(w)->setDateTime(v.toDateTime()); },
     [](const QObject* w) { return QVariant(as<QDateTimeEdit>(w)->dateTime()); }, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr}, // inert: accepted in a form, never touched
};

} // namespace

const widget_kind_t* widget_kind(widget_type_e type)
{
    // The enumeration's underlying type is int, so any number the caller stored is a defined value.
    const int index = int(type);
    return index >= 0 && index < int(std::size(kinds)) ? &kinds[index] : nullptr;
}

std::optional<widget_type_e> widget_kind_of(const QObject* widget)
{
    // No class of one kind derives from the class of another, so the first match is the only one.
    for (int index = 0; index < int(std::size(kinds)); ++index) {
        const QMetaObject* widget_class = kinds[index].widget_class;
        if (widget_class && widget && widget_class->cast(widget))
            return widget_type_e(index);
    }
    return std::nullopt;
}

QObject* as_widget_class(const widget_kind_t& kind, QObject* object)
{
    return kind.widget_class && object ? kind.widget_class->cast(object) : nullptr;
}

} // namespace qz::gui
