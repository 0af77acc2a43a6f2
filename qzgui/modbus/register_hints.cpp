// SPDX-License-Identifier: BSD-3-Clause
// The hints of register map entries: read from the map, kept by writes, and given to forms.
#include "qzgui/modbus/register_hints_p.h"
#include "qzgui/modbus/register_names_p.h"

#include "qzgui/printable_text.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QStringList>

#include <cmath>
#include <limits>

namespace qz::modbus {

namespace {

constexpr int max_decimals = 10;

bool is_number(const register_entry_t& e)
{
    return !e.is_bit() && e.type != type_string;
}

// A number without scale or fraction: the only kind shown in hex or given by choices.
bool is_whole(const register_entry_t& e)
{
    return is_number(e) && !e.scale && e.type != type_float32;
}

// The value the number @p v of the key @p what stands for, as the device holds it.
QVariant held(const register_entry_t& e, const QJsonValue& v, const QString& what,
              const std::function<void(const QString&)>& fault)
{
    if (!v.isDouble())
        fault(QStringLiteral("%1 is not a number").arg(what));
    QString why;
    const std::optional<QVector<uint16_t>> words = e.encode(v.toVariant(), &why);
    if (!words)
        fault(QStringLiteral("%1 cannot be held: %2").arg(what, why));
    return e.decode(*words);
}

QString text_hint(const QJsonObject& o, const char* key, const std::function<void(const QString&)>& fault)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (!v.isUndefined() && !v.isString())
        fault(QStringLiteral("\"%1\" is not a string").arg(QLatin1String(key)));
    return v.toString();
}

void read_choices(register_entry_t& e, const QJsonValue& list,
                  const std::function<void(const QString&)>& fault)
{
    if (!list.isArray())
        fault(QStringLiteral("\"choices\" is not a list"));
    if (!is_whole(e))
        fault(QStringLiteral("\"choices\" are for integers without scale"));
    QSet<qint64> values;
    int position = 0;
    for (const QJsonValue& item : list.toArray()) {
        const QString what = QStringLiteral("choice %1").arg(++position);
        const QJsonObject choice = item.toObject();
        if (!item.isObject())
            fault(QStringLiteral("%1 is not an object").arg(what));
        for (auto it = choice.constBegin(); it != choice.constEnd(); ++it)
            if (it.key() != QLatin1String("value") && it.key() != QLatin1String("text"))
                fault(
                    QStringLiteral("\"%1\" is not a key of a choice").arg(qz::gui::printable_text(it.key())));
        const QVariant value = held(e, choice.value(QLatin1String("value")), what, fault);
        const QJsonValue text = choice.value(QLatin1String("text"));
        if (!text.isString() || text.toString().isEmpty())
            fault(QStringLiteral("%1 has no text").arg(what));
        if (values.contains(value.toLongLong()))
            fault(QStringLiteral("%1 has the value of an earlier one, %2").arg(what, value.toString()));
        values.insert(value.toLongLong());
        e.choices.append({value, text.toString()});
    }
}

// Why @p value lies outside the bounds of @p e, or nothing when it lies within.
QString outside_bounds(const register_entry_t& e, const QVariant& value)
{
    if (!is_number(e))
        return QString();
    const double v = value.toDouble();
    if (e.minimum.isValid() && v < e.minimum.toDouble())
        return QStringLiteral("%1 is below the minimum %2")
            .arg(qz::gui::printable_value(value), qz::gui::printable_value(e.minimum));
    if (e.maximum.isValid() && v > e.maximum.toDouble())
        return QStringLiteral("%1 is above the maximum %2")
            .arg(qz::gui::printable_value(value), qz::gui::printable_value(e.maximum));
    return QString();
}

} // namespace

void read_hints(register_entry_t& e, const QJsonObject& o, const std::function<void(const QString&)>& fault)
{
    e.unit = text_hint(o, "unit", fault);
    e.group = text_hint(o, "group", fault);
    e.description = text_hint(o, "description", fault);
    const auto number_hint = [&](const char* key) {
        const QJsonValue v = o.value(QLatin1String(key));
        if (!v.isUndefined() && !is_number(e))
            fault(QStringLiteral("\"%1\" is for numbers only").arg(QLatin1String(key)));
        return v;
    };
    if (const QJsonValue v = number_hint("minimum"); !v.isUndefined())
        e.minimum = held(e, v, QStringLiteral("\"minimum\""), fault);
    if (const QJsonValue v = number_hint("maximum"); !v.isUndefined())
        e.maximum = held(e, v, QStringLiteral("\"maximum\""), fault);
    if (e.minimum.isValid() && e.maximum.isValid() && e.minimum.toDouble() > e.maximum.toDouble())
        fault(QStringLiteral("\"minimum\" %1 is above \"maximum\" %2")
                  .arg(qz::gui::printable_value(e.minimum), qz::gui::printable_value(e.maximum)));
    if (const QJsonValue v = number_hint("step"); !v.isUndefined()) {
        if (!v.isDouble() || !(v.toDouble() > 0) || !std::isfinite(v.toDouble()))
            fault(QStringLiteral("\"step\" is not a number above zero"));
        e.step = v.toDouble();
    }
    if (const QJsonValue v = number_hint("decimals"); !v.isUndefined()) {
        const double d = v.toDouble(-1);
        if (!v.isDouble() || std::floor(d) != d || d < 0 || d > max_decimals)
            fault(QStringLiteral("\"decimals\" is not a whole number from 0 to 10"));
        if (is_whole(e))
            fault(QStringLiteral("\"decimals\" are for float32 and scaled values"));
        e.decimals = int(d);
    }
    if (const QJsonValue v = o.value(QLatin1String("format")); !v.isUndefined()) {
        if (v.toString() != QLatin1String("hex"))
            fault(QStringLiteral("\"format\" is not \"hex\""));
        if (!is_whole(e))
            fault(QStringLiteral("\"format\": \"hex\" is for integers without scale"));
        e.hexadecimal = true;
    }
    if (const QJsonValue v = o.value(QLatin1String("choices")); !v.isUndefined()) {
        read_choices(e, v, fault);
        for (int i = 0; i < e.choices.size(); ++i)
            if (const QString why = outside_bounds(e, e.choices[i].first); !why.isEmpty())
                fault(QStringLiteral("choice %1: %2").arg(i + 1).arg(why));
    }
}

bool register_entry_t::admits(const QVariant& value, QString* why) const
{
    QString fault = outside_bounds(*this, value);
    if (fault.isEmpty() && !choices.isEmpty()) {
        QStringList known;
        for (const auto& choice : choices) {
            if (choice.first == value)
                return true;
            known.append(QStringLiteral("%1 (%2)").arg(choice.first.toString(), choice.second));
        }
        fault = QStringLiteral("%1 is not one of the choices: %2")
                    .arg(qz::gui::printable_value(value), known.join(QLatin1String(", ")));
    }
    if (why && !fault.isEmpty())
        *why = fault;
    return fault.isEmpty();
}

qz::gui::parameter_description register_entry_t::form_description() const
{
    qz::gui::parameter_description p;
    p.id = id;
    p.name = name;
    p.unit = unit;
    p.group = group;
    p.description = description;
    p.read_only = read_only;
    p.hexadecimal = hexadecimal;
    p.choices = choices;
    p.step = step;
    p.decimals = decimals;
    if (is_bit()) {
        p.type = QMetaType::Bool;
        return p;
    }
    if (type == type_string) {
        p.type = QMetaType::QString;
        p.max_length = 2 * size;
        return p;
    }
    const bool whole = is_whole(*this);
    p.type = !whole                                ? QMetaType::Double
        : type == type_int16 || type == type_int32 ? QMetaType::Int
                                                   : QMetaType::UInt;
    // Where the map sets no bound, the encoding's: the raw range, scaled as the device's values are.
    register_entry_t raw = *this;
    raw.scale.reset();
    const double most = double(std::numeric_limits<float>::max());
    const auto [low, high] = type == type_float32 ? std::make_pair(-most, most) : raw_range(type);
    QVariant first = decode(*raw.encode(low)), last = decode(*raw.encode(high));
    if (first.toDouble() > last.toDouble())
        std::swap(first, last);
    p.minimum = minimum.isValid() ? minimum : first;
    p.maximum = maximum.isValid() ? maximum : last;
    if (p.step == 0 && scale)
        p.step = std::abs(*scale);
    return p;
}

QVector<qz::gui::parameter_description> register_map::descriptions() const
{
    QVector<qz::gui::parameter_description> all;
    all.reserve(_entries.size());
    for (const register_entry_t& e : _entries)
        all.append(e.form_description());
    return all;
}

} // namespace qz::modbus
