// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/parameter_file.h"

#include "qzgui/internal/json_file.h"
#include "qzgui/parameter_id.h"
#include "qzgui/widget_kind_p.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QTimeZone>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>

namespace qz::gui {

namespace {

constexpr int file_version = 1;
constexpr qint64 max_file_size = 64 * 1024 * 1024; // far beyond any form; bounds what a load reads
const QLatin1String format_name("qzgui parameters");

// Keys and type names as the file spells them.
const QLatin1String key_format("format"), key_version("version"), key_parameters("parameters"), key_id("id"),
    key_type("type"), key_value("value"), key_clock("clock"), key_offset("offset"), key_zone("zone");
const QLatin1String type_bool("bool"), type_int("int"), type_uint("uint"), type_double("double"),
    type_string("string"), type_datetime("datetime"), type_none("none");
const QLatin1String clock_local("local"), clock_utc("utc"), clock_offset("offset"), clock_zone("zone");

constexpr int max_offset = 24 * 3600; // seconds; wider than any offset in use

[[noreturn]] void fail(const QString& path, const QString& text)
{
    fail_file(path, text);
}

// ---- saving --------------------------------------------------------------------------------

uint64_t bits_of(double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

QJsonValue double_value(double value)
{
    // JSON numbers carry every finite double but -0.0; Qt's writer gives the shortest exact text.
    if (std::isfinite(value) && !(value == 0 && std::signbit(value)))
        return value;
    return QLatin1String("0x") + QString::number(bits_of(value), 16).rightJustified(16, QLatin1Char('0'));
}

// Returns false for a date-time outside the years an ISO text can hold.
bool put_date_time(QJsonObject& entry, const QDateTime& value)
{
    entry.insert(key_type, type_datetime);
    if (!value.isValid()) {
        entry.insert(key_value, QJsonValue::Null);
        return true;
    }
    // The instant in UTC, exact whatever the zone did at that moment; the zone beside it.
    const QDateTime utc = value.toUTC();
    if (utc.date().year() < 1 || utc.date().year() > 9999)
        return false;
    entry.insert(key_value, utc.toString(Qt::ISODateWithMs));
    switch (value.timeSpec()) {
    case Qt::LocalTime:
        entry.insert(key_clock, clock_local);
        break;
    case Qt::UTC:
        entry.insert(key_clock, clock_utc);
        break;
    case Qt::OffsetFromUTC:
        entry.insert(key_clock, clock_offset);
        entry.insert(key_offset, value.offsetFromUtc());
        break;
    case Qt::TimeZone:
        entry.insert(key_clock, clock_zone);
        entry.insert(key_zone, QString::fromLatin1(value.timeZone().id()));
        break;
    }
    return true;
}

QJsonObject entry_of(const QString& path, uint32_t id, const QVariant& value)
{
    QJsonObject entry;
    entry.insert(key_id, parameter_id_text(id));
    switch (value.userType()) {
    case QMetaType::UnknownType:
        entry.insert(key_type, type_none);
        break;
    case QMetaType::Bool:
        entry.insert(key_type, type_bool);
        entry.insert(key_value, value.toBool());
        break;
    case QMetaType::Int:
        entry.insert(key_type, type_int);
        entry.insert(key_value, value.toInt());
        break;
    case QMetaType::UInt:
        entry.insert(key_type, type_uint);
        entry.insert(key_value, double(value.toUInt()));
        break;
    case QMetaType::Double:
        entry.insert(key_type, type_double);
        entry.insert(key_value, double_value(value.toDouble()));
        break;
    case QMetaType::QString:
        entry.insert(key_type, type_string);
        entry.insert(key_value, value.toString());
        break;
    case QMetaType::QDateTime:
        if (!put_date_time(entry, value.toDateTime()))
            fail(path,
                 QStringLiteral("parameter %1: the date-time %2 lies outside the years 1 to 9999")
                     .arg(parameter_id_text(id), value.toDateTime().toString(Qt::ISODateWithMs)));
        break;
    default:
        fail(path,
             QStringLiteral("parameter %1: values of type %2 cannot be saved")
                 .arg(parameter_id_text(id), QLatin1String(value.typeName())));
    }
    return entry;
}

// ---- loading -------------------------------------------------------------------------------

// Reports faults of one entry with its place in the file.
struct entry_reader {
    const QString& path;
    int position;               // 1-based, as people count
    std::optional<uint32_t> id; // once read

    [[noreturn]] void fail_here(const QString& text) const
    {
        const QString place = !id
            ? QStringLiteral("parameter %1").arg(position)
            : QStringLiteral("parameter %1 (id %2)").arg(position).arg(parameter_id_text(*id));
        fail(path, QStringLiteral("%1: %2").arg(place, text));
    }

    double whole_number(const QJsonValue& value, double low, double high) const
    {
        const double number = value.toDouble();
        if (!value.isDouble() || std::floor(number) != number || number < low || number > high)
            fail_here(QStringLiteral("the value is not a whole number from %1 to %2")
                          .arg(low, 0, 'f', 0)
                          .arg(high, 0, 'f', 0));
        return number;
    }

    double double_number(const QJsonValue& value) const
    {
        if (value.isDouble())
            return value.toDouble();
        // The 64 bits of a double that JSON numbers cannot carry.
        const QString text = value.toString();
        const bool ok = text.size() == 18 && text.startsWith(QLatin1String("0x"))
            && std::all_of(text.cbegin() + 2, text.cend(),
                           [](QChar c) { return std::isxdigit(c.unicode()) != 0; });
        if (!ok)
            fail_here(QStringLiteral("the value is neither a number nor \"0x\" and 16 hexadecimal digits"));
        const uint64_t bits = text.mid(2).toULongLong(nullptr, 16);
        double number;
        std::memcpy(&number, &bits, sizeof number);
        return number;
    }

    QDateTime date_time(const QJsonObject& entry) const
    {
        const QJsonValue value = entry.value(key_value);
        if (value.isNull())
            return QDateTime();
        const QString text = value.toString();
        QDateTime utc = QDateTime::fromString(text, Qt::ISODateWithMs);
        if (!value.isString() || !utc.isValid() || utc.timeSpec() != Qt::UTC
            || !text.endsWith(QLatin1Char('Z')))
            fail_here(
                QStringLiteral("the value is not a date-time in UTC such as \"2026-11-23T09:00:00.123Z\""));
        const QString clock = entry.value(key_clock).toString();
        if (clock == clock_local)
            return utc.toLocalTime();
        if (clock == clock_utc)
            return utc;
        if (clock == clock_offset)
            return utc.toOffsetFromUtc(int(whole_number(entry.value(key_offset), -max_offset, max_offset)));
        if (clock != clock_zone)
            fail_here(QStringLiteral("the clock \"%1\" is not \"local\", \"utc\", \"offset\" or \"zone\"")
                          .arg(clock));
        const QString zone = entry.value(key_zone).toString();
        const QTimeZone time_zone(zone.toLatin1());
        if (!time_zone.isValid())
            fail_here(QStringLiteral("the zone \"%1\" is not a known time zone").arg(zone));
        return utc.toTimeZone(time_zone);
    }

    QVariant value_of(const QJsonObject& entry) const
    {
        const QJsonValue type = entry.value(key_type);
        const QJsonValue value = entry.value(key_value);
        const QString name = type.toString();
        if (name == type_none)
            return QVariant();
        if (name == type_bool) {
            if (!value.isBool())
                fail_here(QStringLiteral("the value is not true or false"));
            return value.toBool();
        }
        if (name == type_int)
            return int(whole_number(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
        if (name == type_uint)
            return uint(whole_number(value, 0, std::numeric_limits<uint>::max()));
        if (name == type_double)
            return double_number(value);
        if (name == type_string) {
            if (!value.isString())
                fail_here(QStringLiteral("the value is not a string"));
            return value.toString();
        }
        if (name == type_datetime)
            return date_time(entry);
        fail_here(type.isString() ? QStringLiteral("unknown value type \"%1\"").arg(name)
                                  : QStringLiteral("the entry has no value type"));
    }
};

QJsonArray parameter_list(const QString& path)
{
    const QJsonObject top = read_json_file(path, max_file_size);
    if (top.value(key_format).toString() != format_name)
        fail(path,
             QStringLiteral("not a parameter file: its top object has no \"format\": \"%1\"")
                 .arg(format_name));
    const QJsonValue version = top.value(key_version);
    if (!version.isDouble())
        fail(path, QStringLiteral("the file has no version number"));
    check_json_version(path, version.toDouble(), file_version);
    if (!top.value(key_parameters).isArray())
        fail(path, QStringLiteral("\"parameters\" is not a list"));
    return top.value(key_parameters).toArray();
}

} // namespace

void save_parameters(const QString& path, const QMap<uint32_t, QVariant>& values)
{
    QJsonArray parameters;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        parameters.append(entry_of(path, it.key(), it.value()));
    QJsonObject top;
    top.insert(key_format, format_name);
    top.insert(key_version, file_version);
    top.insert(key_parameters, parameters);
    const QByteArray text = json_text(QJsonDocument(top));

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        fail(path, QStringLiteral("cannot be written: %1").arg(file.errorString()));
}

QMap<uint32_t, QVariant> load_parameters(const QString& path)
{
    const QJsonArray parameters = parameter_list(path);
    QMap<uint32_t, QVariant> values;
    int position = 0;
    for (const QJsonValue& item : parameters) {
        entry_reader reader{path, ++position, std::nullopt};
        if (!item.isObject())
            reader.fail_here(QStringLiteral("not an object"));
        const QJsonObject entry = item.toObject();
        const QJsonValue id_value = entry.value(key_id);
        reader.id = parse_parameter_id(id_value.toVariant());
        if (!reader.id)
            reader.fail_here(QStringLiteral(
                "\"id\" is not a 32-bit unsigned id in decimal or with \"0x\" in hexadecimal"));
        const uint32_t id = *reader.id;
        // Files are written in ascending order: then appending is the whole cost of an entry.
        if (values.isEmpty() || id > values.lastKey()) {
            values.insert(values.cend(), id, reader.value_of(entry));
            continue;
        }
        if (values.contains(id))
            reader.fail_here(QStringLiteral("the id appears a second time"));
        values.insert(id, reader.value_of(entry));
    }
    return values;
}

QMap<uint32_t, QVariant> read_form_values(const QMap<uint32_t, QPair<widget_type_e, QObject*>>& widgets)
{
    QMap<uint32_t, QVariant> values;
    for (auto it = widgets.cbegin(); it != widgets.cend(); ++it) {
        const widget_kind_t* kind = widget_kind(it->first);
        if (kind && kind->read)
            values.insert(values.cend(), it.key(), kind->read(it->second));
    }
    return values;
}

QVector<uint32_t> apply_as_changes(ui_controller& form,
                                   const QMap<uint32_t, QPair<widget_type_e, QObject*>>& widgets,
                                   const QMap<uint32_t, QVariant>& values)
{
    QVector<uint32_t> unbound;
    const bool loading = form.get_loading_data();
    form.set_loading_data(false);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const auto binding = widgets.constFind(it.key());
        if (binding == widgets.cend()) {
            unbound.append(it.key());
            continue;
        }
        // Only widgets a user edits carry a value to apply.
        const widget_kind_t* kind = widget_kind(binding->first);
        QObject* widget = kind && kind->read ? as_widget_class(*kind, binding->second) : nullptr;
        if (!widget || kind->read(widget) == it.value())
            continue;
        (kind->edit ? kind->edit : kind->write)(widget, it.value());
    }
    form.set_loading_data(loading);
    return unbound;
}

} // namespace qz::gui
