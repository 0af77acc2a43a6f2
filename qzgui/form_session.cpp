// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/form_session.h"

#include "qzgui/bounded_entry_p.h"
#include "qzgui/parameter_file.h"
#include "qzgui/sat_worker.h"
#include "qzgui/widget_kind_p.h"

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSpinBox>
#include <QValidator>

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace qz::gui {

namespace {

// What the field of @p id shows, as collecting gives it; nothing for a field without a value.
std::optional<QVariant> field_of(const form_session::widget_map& widgets, uint32_t id)
{
    const auto it = widgets.constFind(id);
    if (it == widgets.constEnd())
        return std::nullopt;
    const widget_kind_t* kind = widget_kind(it->first);
    if (!kind || !kind->read)
        return std::nullopt;
    return kind->read(it->second);
}

} // namespace

form_session::form_session(ui_controller* form, const widget_map* widgets,
                           const QMap<uint32_t, QWidget*>* hints, QObject* parent)
    : QObject(parent)
    , _form(form)
    , _widgets(widgets)
    , _hints(hints)
    , _format([](uint32_t, const QVariant& value) { return value.toString(); })
{
    connect(_form, &ui_controller::on_data_changed, this, &form_session::_take_entry);
    for (auto it = _widgets->cbegin(); it != _widgets->cend(); ++it)
        _watch_range(it.key(), it->second);
}

form_session::~form_session() = default;

void form_session::connect_worker(const sat_worker* worker)
{
    connect(worker, &sat_worker::on_get_param, this, &form_session::show_device_value);
    connect(worker, &sat_worker::on_set_param, this, &form_session::confirm_written);
    connect(worker, &sat_worker::on_operation_control, this,
            [this](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                // While polling, sweeps begin all the time: the application says when its own do.
                if (status == sat_worker::status_begin && !_polling)
                    begin_operation();
            });
}

const QVector<uint32_t>& form_session::pending_ids() const
{
    return _form->changed_parameters();
}

bool form_session::is_pending(uint32_t id) const
{
    return _form->is_changed_parameter(id);
}

bool form_session::is_read_only(uint32_t id) const
{
    const QObject* widget = _widgets->value(id).second;
    if (!widget)
        return false;
    if (widget->property("qz_read_only").toBool())
        return true;
    if (const auto* box = qobject_cast<const QAbstractSpinBox*>(widget))
        return box->isReadOnly();
    if (const auto* edit = qobject_cast<const QLineEdit*>(widget))
        return edit->isReadOnly();
    return false;
}

QVector<QPair<uint32_t, QVariant>> form_session::pending_changes() const
{
    QVector<QPair<uint32_t, QVariant>> changes;
    _form->collect_changed_params(changes);
    // A read-only field never is a change; should the application have put one on the list, the
    // device would only refuse it.
    changes.erase(std::remove_if(
                      changes.begin(), changes.end(),
                      [this](const QPair<uint32_t, QVariant>& change) { return is_read_only(change.first); }),
                  changes.end());
    return changes;
}

const QMap<uint32_t, QVariant>& form_session::device_values() const
{
    return _device;
}

QVariant form_session::field_value(uint32_t id) const
{
    return field_of(*_widgets, id).value_or(QVariant());
}

void form_session::set_value_formatter(std::function<QString(uint32_t, const QVariant&)> format)
{
    _format = std::move(format);
}

void form_session::show_device_value(uint32_t id, const QVariant& value)
{
    const auto known = _device.constFind(id);
    const bool news = known == _device.constEnd() || *known != value;
    _device.insert(id, value);
    _two_states(id);
    // While polling, the field's read worked: its failure, if any, is over.
    if (_polling)
        _end_failure(id);
    if (is_read_only(id)) {
        _show_read_only(id, value, news);
        return;
    }
    if (_polling && is_pending(id)) {
        // Noted, not shown: the user's edit stays. Said once for the edit: a counter changes at
        // every sweep, and a line each would bury the log.
        const bool tell = news && !_kept_told.contains(id);
        _settle(id, tell);
        if (tell && is_pending(id))
            _kept_told.insert(id);
        return;
    }
    _show(id, value);
}

void form_session::set_polling(bool polling)
{
    _polling = polling;
}

bool form_session::is_polling() const
{
    return _polling;
}

void form_session::confirm_written(uint32_t id, const QVariant& value)
{
    const auto known = _device.constFind(id);
    const bool news = known == _device.constEnd() || *known != value;
    _device.insert(id, value);
    _two_states(id);
    if (is_read_only(id)) {
        _show_read_only(id, value, news);
        return;
    }
    // A field edited again while its write ran keeps its newer value, pending. Any other field
    // shows what the device now holds, also one whose change was discarded meanwhile.
    if (is_pending(id) && field_value(id) != value)
        return;
    _show(id, value);
}

void form_session::mark_failed(uint32_t id, const QString& text)
{
    // The same failure again (every sweep while polling) is shown already: no tool tip again.
    const auto shown = _failures.constFind(id);
    if (shown != _failures.constEnd() && *shown == text)
        return;
    _failures.insert(id, text);
    _form->set_hint_for_error(id, true, text);
}

void form_session::_end_failure(uint32_t id)
{
    // Only a hint shown is taken back: sweep after sweep of fields that never failed costs nothing.
    if (_failures.remove(id) > 0)
        _form->set_hint_for_error(id, false, QString());
}

void form_session::discard_changes()
{
    // Each pending field gets the device's value back the way a value from the device comes in;
    // one that cannot show it keeps its pending value.
    const QVector<uint32_t> pending = pending_ids();
    for (const uint32_t id : pending) {
        const auto device = _device.constFind(id);
        if (device != _device.constEnd())
            _show(id, *device);
        else
            _settle(id);
    }
    // A field whose device value never came shows none again.
    show_no_values();
}

QMap<uint32_t, QVariant> form_session::shown_values() const
{
    QMap<uint32_t, QVariant> values = read_form_values(*_widgets);
    for (auto it = values.begin(); it != values.end();)
        it = _device.contains(it.key()) || is_pending(it.key()) ? std::next(it) : values.erase(it);
    return values;
}

QObject* form_session::_widget_of(uint32_t id) const
{
    // The widget as the class its kind names, or null: never cast to a class it is not.
    const auto it = _widgets->constFind(id);
    const widget_kind_t* kind = it == _widgets->constEnd() ? nullptr : widget_kind(it->first);
    return kind ? as_widget_class(*kind, it->second) : nullptr;
}

void form_session::_two_states(uint32_t id)
{
    // Blank or half-checked only while it held no value: with the device's value a check box is
    // true or false, and a spin box shows its lowest value as a number.
    const widget_type_e type = _widgets->value(id).first;
    QObject* widget = _widget_of(id);
    if (widget && type == checkbox)
        static_cast<QCheckBox*>(widget)->setTristate(false);
    else if (widget && (type == spinbox || type == doublespinbox || type == datetimeedit))
        static_cast<QAbstractSpinBox*>(widget)->setSpecialValueText(QString());
}

bool form_session::_holds_no_value(uint32_t id) const
{
    const widget_type_e type = _widgets->value(id).first;
    QObject* widget = _widget_of(id);
    if (widget && type == checkbox)
        return static_cast<QCheckBox*>(widget)->isTristate();
    if (widget && (type == spinbox || type == doublespinbox || type == datetimeedit))
        return !static_cast<QAbstractSpinBox*>(widget)->specialValueText().isEmpty();
    return false;
}

bool form_session::_typed_value(const QWidget* box) const
{
    if (box != _entry_box || _entry_text.trimmed().isEmpty())
        return false;
    QString text = _entry_text;
    int position = 0;
    return static_cast<const QAbstractSpinBox*>(box)->validate(text, position) == QValidator::Acceptable;
}

void form_session::_take_entry(uint32_t id)
{
    // A new edit: what the device holds meanwhile is worth saying again.
    _kept_told.remove(id);
    // A change to a field that held no value. A spin box that still shows blank (Qt takes Enter
    // as a change even of an unchanged value) holds a value only where the user typed one.
    if (!_holds_no_value(id))
        return;
    const widget_type_e type = _widgets->value(id).first;
    if (type != checkbox) {
        auto* box = static_cast<QAbstractSpinBox*>(_widget_of(id));
        if (box->text() == box->specialValueText() && !_typed_value(box)) {
            _form->remove_changed_parameter(id);
            _form->set_hint_for_changed_value(id, false, QString());
            return;
        }
    }
    _two_states(id);
}

void form_session::_watch_entries(uint32_t id, QWidget* box)
{
    if (_watched.contains(box))
        return;
    _watched.insert(box);
    connect(box, &QObject::destroyed, this, [this, box] { _watched.remove(box); });
    if (auto* edit = box->findChild<QLineEdit*>())
        connect(edit, &QLineEdit::textEdited, this, [this, box](const QString& text) {
            _entry_box = box;
            _entry_text = text;
        });
    // Leaving the field takes the text without a change where it means the lowest value.
    connect(static_cast<QAbstractSpinBox*>(box), &QAbstractSpinBox::editingFinished, this, [this, id, box] {
        const bool typed = _typed_value(box);
        _entry_box = nullptr;
        if (typed && _holds_no_value(id)) {
            _two_states(id);
            _form->add_changed_parameter(id);
        }
    });
}

void form_session::show_no_values()
{
    // Written as the device's values are, not as edits.
    const bool loading = _form->get_loading_data();
    _form->set_loading_data(true);
    for (auto it = _widgets->cbegin(); it != _widgets->cend(); ++it) {
        if (_device.contains(it.key()) || is_pending(it.key()))
            continue;
        QObject* widget = _widget_of(it.key());
        if (!widget)
            continue;
        // A spin box's lowest value shown as blank: a value of its own, which a user leaving the
        // field untouched keeps, where an emptied text would show the number again.
        switch (it->first) {
        case checkbox:
            static_cast<QCheckBox*>(widget)->setCheckState(Qt::PartiallyChecked);
            break;
        case spinbox: {
            auto* box = static_cast<QSpinBox*>(widget);
            box->setSpecialValueText(QStringLiteral(" "));
            box->setValue(box->minimum());
            _watch_entries(it.key(), box);
            break;
        }
        case doublespinbox: {
            auto* box = static_cast<QDoubleSpinBox*>(widget);
            box->setSpecialValueText(QStringLiteral(" "));
            box->setValue(box->minimum());
            _watch_entries(it.key(), box);
            break;
        }
        case datetimeedit: {
            auto* edit = static_cast<QDateTimeEdit*>(widget);
            edit->setSpecialValueText(QStringLiteral(" "));
            edit->setDateTime(edit->minimumDateTime());
            _watch_entries(it.key(), edit);
            break;
        }
        case combobox:
            static_cast<QComboBox*>(widget)->setCurrentIndex(-1);
            break;
        case lineedit:
            static_cast<QLineEdit*>(widget)->clear();
            break;
        case label:
            static_cast<QLabel*>(widget)->clear();
            break;
        case progressbar:
            static_cast<QProgressBar*>(widget)->reset();
            break;
        default: // inert, or a number that names no kind
            break;
        }
    }
    _form->set_loading_data(loading);
}

void form_session::begin_operation()
{
    _failures.clear();
    if (!_hints)
        return;
    for (auto it = _hints->cbegin(); it != _hints->cend(); ++it)
        _form->set_hint_for_error(it.key(), false, QString());
}

void form_session::reconfigure(const std::function<void()>& change)
{
    // Run as an edit, so the form records every field the change altered. A combo box refilled
    // with its item kept, say, settles again at once; a clamped or rounded value stays pending.
    const QVector<uint32_t> before = pending_ids();
    const bool loading = _form->get_loading_data();
    _form->set_loading_data(false);
    change();
    _form->set_loading_data(loading);
    const QVector<uint32_t> after = pending_ids();
    for (const uint32_t id : after) {
        if (before.contains(id))
            continue;
        const auto device = _device.constFind(id);
        // A read-only field clamped by the change shows the device's value again.
        if (is_read_only(id) && device != _device.constEnd())
            _show_read_only(id, *device, false);
        else
            _settle(id);
    }
    // A profile may refill a combo box or clamp a spin box that held no value: it holds none again.
    show_no_values();
}

QVector<uint32_t> form_session::apply_values(const QMap<uint32_t, QVariant>& loaded)
{
    // A file saved from a form holds what read-only fields showed too: they keep the device's.
    QMap<uint32_t, QVariant> values = loaded;
    for (auto it = values.begin(); it != values.end();)
        it = is_read_only(it.key()) ? values.erase(it) : std::next(it);
    // A field that held no value takes the loaded one as a value, even one that equals what its
    // blank state held, which an edit that changes nothing would not record.
    QVector<uint32_t> filled;
    const bool loading = _form->get_loading_data();
    _form->set_loading_data(true);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (!_holds_no_value(it.key()))
            continue;
        _two_states(it.key());
        _form->set_data(it.key(), it.value());
        filled.append(it.key());
    }
    _form->set_loading_data(loading);
    const QVector<uint32_t> unbound = apply_as_changes(*_form, *_widgets, values);
    for (const uint32_t id : filled)
        _form->add_changed_parameter(id);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        // A loaded value that equals the device's is no change: the field settles again.
        const auto device = _device.constFind(it.key());
        if (device != _device.constEnd() && is_pending(it.key()) && field_value(it.key()) == *device)
            _settle(it.key());
    }
    return unbound;
}

void form_session::_show(uint32_t id, const QVariant& value)
{
    // Written as an edit, not under the loading flag: where the field cannot show the value (out
    // of range, too many decimals, an item it lacks), it changes to something else and the form
    // records that as a change the device does not hold. A pending field keeps its own value
    // then: the device's value did not replace it.
    const bool loading = _form->get_loading_data();
    _form->set_loading_data(false);
    const bool was_pending = is_pending(id);
    const QVariant before = field_value(id);
    _form->set_data(id, value);
    if (was_pending && field_value(id) != value)
        _form->set_data(id, before);
    _form->set_loading_data(loading);
    _settle(id);
}

void form_session::_show_read_only(uint32_t id, const QVariant& value, bool news)
{
    // The device's value as it is, not an edit: a spin box's range is for what a person enters.
    QObject* widget = _widget_of(id);
    const widget_type_e type = _widgets->value(id).first;
    bool number = false;
    const double v = value.toDouble(&number);
    if (widget && number && type == spinbox) {
        auto* box = static_cast<QSpinBox*>(widget);
        if (v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max())
            box->setRange(std::min(box->minimum(), int(v)), std::max(box->maximum(), int(v)));
    } else if (widget && number && type == doublespinbox) {
        auto* box = static_cast<QDoubleSpinBox*>(widget);
        box->setRange(std::min(box->minimum(), v), std::max(box->maximum(), v));
    }
    const bool loading = _form->get_loading_data();
    _form->set_loading_data(true);
    _form->set_data(id, value);
    _form->set_loading_data(loading);
    _form->remove_changed_parameter(id);
    _form->set_hint_for_changed_value(id, false, QString());
    const std::optional<QVariant> shown = field_of(*_widgets, id);
    if (news && shown && *shown != value)
        emit on_value_not_shown(
            id, value,
            QStringLiteral("the device holds %1, which the field cannot show").arg(_format(id, value)));
}

void form_session::_watch_range(uint32_t id, QObject* widget)
{
    auto* entry = dynamic_cast<bounded_entry*>(widget);
    auto* box = qobject_cast<QAbstractSpinBox*>(widget);
    if (!entry || !box)
        return;
    // Qt emits editingFinished once it has put the field back to its value.
    connect(box, &QAbstractSpinBox::editingFinished, this, [this, id, entry, box] {
        const QString refused = entry->take_refused();
        if (refused.isEmpty())
            return;
        const QString kept = _holds_no_value(id) ? QStringLiteral("no value") : box->text();
        const QString text = QStringLiteral("%1 is beyond the range %2; the field keeps %3")
                                 .arg(refused.trimmed(), entry->range_text(), kept);
        mark_failed(id, text);
        emit on_entry_refused(id, refused, text);
    });
}

void form_session::_settle(uint32_t id, bool tell)
{
    const std::optional<QVariant> shown = field_of(*_widgets, id);
    const auto device = _device.constFind(id);
    // Fields without a value, and fields never read, have nothing to disagree with; a read-only
    // field never holds a change.
    if (!shown || device == _device.constEnd() || *shown == *device || is_read_only(id)) {
        _kept_told.remove(id);
        _form->remove_changed_parameter(id);
        _form->set_hint_for_changed_value(id, false, QString());
        return;
    }
    if (is_pending(id)) {
        if (tell)
            emit on_pending_kept(id, *shown, *device);
        return;
    }
    // The field already showed the nearest value it can, so no edit marked it. It is a change the
    // device lacks all the same, whatever the field showed before: pending, and said so.
    _form->add_changed_parameter(id);
    emit on_value_not_shown(id, *device,
                            QStringLiteral("the device holds %1, which the active profile cannot show")
                                .arg(_format(id, *device)));
}

} // namespace qz::gui
