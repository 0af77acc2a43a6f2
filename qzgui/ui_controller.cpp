// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/ui_controller.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSpinBox>
#include <QToolTip>

#include <stdexcept>

namespace qz::gui {

namespace {

[[noreturn]] void invalid_parameter()
{
    throw std::runtime_error("invalid parameter");
}

// The watched signal of each kind, in the name-based form QObject::connect() takes; null for kinds
// that are never watched.
const char* watched_signal(widget_type_e type)
{
    switch (type) {
    case checkbox:
        return "2clicked(bool)"; // user clicks only, unlike the others
    case lineedit:
        return "2textChanged(QString)";
    case spinbox:
        return "2valueChanged(int)";
    case doublespinbox:
        return "2valueChanged(double)";
    case combobox:
        return "2currentTextChanged(QString)";
    case datetimeedit:
        return "2dateTimeChanged(QDateTime)";
    default:
        return nullptr;
    }
}

// The class a kind names, as the connect sees it: a failed cast gives a null sender.
QObject* as_watched_class(widget_type_e type, QObject* object)
{
    switch (type) {
    case checkbox:
        return qobject_cast<QCheckBox*>(object);
    case lineedit:
        return qobject_cast<QLineEdit*>(object);
    case spinbox:
        return qobject_cast<QSpinBox*>(object);
    case doublespinbox:
        return qobject_cast<QDoubleSpinBox*>(object);
    case combobox:
        return qobject_cast<QComboBox*>(object);
    case datetimeedit:
        return qobject_cast<QDateTimeEdit*>(object);
    default:
        return nullptr;
    }
}

} // namespace

ui_controller::ui_controller(QMap<uint32_t, QPair<widget_type_e, QObject*>>* widgets,
                             QMap<uint32_t, QWidget*>* hint_widgets)
    : _widgets(widgets)
    , _hint_widgets(hint_widgets)
{
    _build_data_object_parameter_map();
    _connect_signals();
}

ui_controller::~ui_controller() = default;

void ui_controller::_build_data_object_parameter_map()
{
    // Ascending ids: of several ids on one widget, the highest is the one that stays.
    for (auto it = _widgets->cbegin(); it != _widgets->cend(); ++it)
        _parameters_by_widget.insert(it->second, it.key());
}

void ui_controller::_connect_signals()
{
    for (auto it = _widgets->cbegin(); it != _widgets->cend(); ++it) {
        const widget_type_e type = it->first;
        if (type > inert)
            invalid_parameter();
        if (const char* signal = watched_signal(type))
            connect(as_watched_class(type, it->second), signal, this, "1_on_data_changed()");
    }
}

const ui_controller::binding_t* ui_controller::_binding(uint32_t id) const
{
    // Looked up in the caller's map each time: entries it adds or removes later are seen.
    const auto it = _widgets->constFind(id);
    return it == _widgets->constEnd() ? nullptr : &*it;
}

void ui_controller::set_data(uint32_t id, const QVariant& value)
{
    const binding_t* it = _binding(id);
    if (!it)
        return;
    // The object is taken as the class its kind names; the caller vouches for that.
    QObject* object = it->second;
    switch (it->first) {
    case checkbox:
        static_cast<QCheckBox*>(object)->setChecked(value.toBool());
        break;
    case lineedit:
        static_cast<QLineEdit*>(object)->setText(value.toString());
        break;
    case spinbox:
        static_cast<QSpinBox*>(object)->setValue(value.toInt());
        break;
    case doublespinbox:
        static_cast<QDoubleSpinBox*>(object)->setValue(value.toDouble());
        break;
    case combobox: {
        auto* box = static_cast<QComboBox*>(object);
        box->setCurrentIndex(box->findData(QVariant(value.toUInt()), Qt::UserRole));
        break;
    }
    case label:
        static_cast<QLabel*>(object)->setText(value.toString());
        break;
    case progressbar:
        static_cast<QProgressBar*>(object)->setValue(value.toInt());
        break;
    case datetimeedit:
        static_cast<QDateTimeEdit*>(object)->setDateTime(value.toDateTime());
        break;
    default:
        invalid_parameter();
    }
}

void ui_controller::set_loading_data(bool loading)
{
    _loading = loading;
}

bool ui_controller::get_loading_data() const
{
    return _loading;
}

void ui_controller::_on_data_changed()
{
    if (_loading)
        return;
    const uint32_t id = _parameters_by_widget.value(sender(), 0);
    if (!_changed.contains(id))
        _changed.append(id);
    set_hint_for_changed_value(id, true, QString());
    emit on_data_changed(id);
}

bool ui_controller::has_changed_parameters()
{
    return !_changed.isEmpty();
}

void ui_controller::remove_changed_parameter(uint32_t id)
{
    _changed.removeOne(id);
}

void ui_controller::clear_changed_parameters()
{
    _changed.resize(0); // keeps the storage for the next edits
}

void ui_controller::collect_changed_params(QVector<QPair<uint32_t, QVariant>>& out)
{
    out.reserve(out.size() + _changed.size());
    for (const uint32_t id : qAsConst(_changed)) {
        const binding_t* it = _binding(id);
        if (!it)
            continue;
        QObject* object = it->second;
        QVariant value;
        switch (it->first) {
        case checkbox:
            value = static_cast<QCheckBox*>(object)->checkState() == Qt::Checked;
            break;
        case lineedit:
            value = static_cast<QLineEdit*>(object)->text();
            break;
        case spinbox:
            value = static_cast<QSpinBox*>(object)->value();
            break;
        case doublespinbox:
            value = static_cast<QDoubleSpinBox*>(object)->value();
            break;
        case combobox:
            value = static_cast<QComboBox*>(object)->currentData(Qt::UserRole);
            break;
        case datetimeedit:
            value = static_cast<QDateTimeEdit*>(object)->dateTime();
            break;
        default:
            continue; // labels, progress bars and inert widgets carry no value to write
        }
        out.append(qMakePair(id, value));
    }
}

void ui_controller::discard_changes(const QMap<uint32_t, QVariant>& values)
{
    _loading = true;
    for (const uint32_t id : qAsConst(_changed)) {
        const auto it = values.constFind(id);
        if (it != values.constEnd())
            set_data(id, *it);
        set_hint_for_changed_value(id, false, QString());
    }
    _changed.resize(0);
    // False, not the earlier state: a caller that was loading sets the flag again.
    _loading = false;
}

void ui_controller::set_hint_for_error(uint32_t id, bool error, const QString& text)
{
    QWidget* hint = _hint_widgets ? _hint_widgets->value(id, nullptr) : nullptr;
    if (!hint)
        return;
    hint->setStyleSheet(error ? QStringLiteral("background-color: red") : QString());
    if (error && !text.isEmpty())
        QToolTip::showText(hint->mapToGlobal(QPoint(0, 0)), text, nullptr);
}

void ui_controller::set_hint_for_changed_value(uint32_t id, bool changed, const QString&)
{
    QWidget* hint = _hint_widgets ? _hint_widgets->value(id, nullptr) : nullptr;
    if (!hint)
        return;
    QFont font = hint->font();
    font.setUnderline(changed);
    hint->setFont(font);
}

void ui_controller::clear_hints()
{
    if (!_hint_widgets)
        return;
    for (const uint32_t id : _hint_widgets->keys()) {
        set_hint_for_changed_value(id, false, QString());
        set_hint_for_error(id, false, QString());
    }
}

} // namespace qz::gui
