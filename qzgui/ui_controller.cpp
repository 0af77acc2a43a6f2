// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/ui_controller.h"

#include "qzgui/widget_kind_p.h"

#include <QToolTip>
#include <QWidget>

#include <stdexcept>

namespace qz::gui {

namespace {

[[noreturn]] void invalid_parameter()
{
    throw std::runtime_error("invalid parameter");
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
        // Any number may stand in the caller's map: those above inert are refused, those below 0
        // are never watched.
        if (it->first > inert)
            invalid_parameter();
        const widget_kind_t* kind = widget_kind(it->first);
        // A failed cast gives a null sender: that one connect fails with Qt's warning.
        if (kind && kind->watched_signal)
            connect(as_widget_class(*kind, it->second), kind->watched_signal, this, "1_on_data_changed()");
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
    // Inert widgets and numbers that name no kind cannot be written.
    const widget_kind_t* kind = widget_kind(it->first);
    if (!kind || !kind->write)
        invalid_parameter();
    kind->write(it->second, value);
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
    _mark_changed(_parameters_by_widget.value(sender(), 0));
}

void ui_controller::add_changed_parameter(uint32_t id)
{
    if (_binding(id))
        _mark_changed(id);
}

void ui_controller::_mark_changed(uint32_t id)
{
    if (!_changed.contains(id))
        _changed.append(id);
    set_hint_for_changed_value(id, true, QString());
    emit on_data_changed(id);
}

bool ui_controller::has_changed_parameters()
{
    return !_changed.isEmpty();
}

bool ui_controller::is_changed_parameter(uint32_t id) const
{
    return _changed.contains(id);
}

const QVector<uint32_t>& ui_controller::changed_parameters() const
{
    return _changed;
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
        // Labels, progress bars, inert widgets and unknown kinds carry no value to write.
        const widget_kind_t* kind = widget_kind(it->first);
        if (kind && kind->read)
            out.append(qMakePair(id, kind->read(it->second)));
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
