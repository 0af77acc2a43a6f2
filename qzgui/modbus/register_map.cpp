// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/register_map.h"

#include "qzgui/json_place.h"
#include "qzgui/parameter_id.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace qz::modbus {

namespace {

constexpr int map_version = 1;
constexpr int max_string_registers = 123;
constexpr qint64 max_file_size = 16 * 1024 * 1024; // 65,536 registers of four tables fit many times
constexpr int max_address = 65535;

const char* const table_names[] = {"coil", "discrete", "input", "holding"};
const char* const type_names[] = {"bool", "int16", "uint16", "int32", "uint32", "float32", "string"};

template <std::size_t N>
int index_of(const char* const (&names)[N], const QString& name)
{
    for (std::size_t i = 0; i < N; ++i)
        if (name == QLatin1String(names[i]))
            return int(i);
    return -1;
}

// @p number as the entry's value when it is one the entry's type can hold exactly (whole and in
// range for an unscaled integer type).
std::optional<QVariant> exact_value(const register_entry_t& entry, double number);

bool is_32_bit(value_type_e type)
{
    return type == type_int32 || type == type_uint32 || type == type_float32;
}

// The raw integer range of a type without scale, as doubles (exact for every bound).
std::pair<double, double> raw_range(value_type_e type)
{
    switch (type) {
    case type_bool:
        return {0, 1};
    case type_int16:
        return {-32768, 32767};
    case type_uint16:
        return {0, 65535};
    case type_int32:
        return {double(std::numeric_limits<int32_t>::min()), double(std::numeric_limits<int32_t>::max())};
    case type_uint32:
        return {0, double(std::numeric_limits<uint32_t>::max())};
    default:
        return {0, 0};
    }
}

// A number the variant holds, when it holds one (a bool is not a number here).
std::optional<double> number_of(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Short:
    case QMetaType::UShort:
        return value.toDouble();
    default:
        return std::nullopt;
    }
}

std::optional<QVariant> exact_value(const register_entry_t& entry, double number)
{
    if (entry.scale || entry.type == type_float32)
        return QVariant(number);
    const auto [low, high] = raw_range(entry.type);
    if (std::floor(number) != number || number < low || number > high)
        return std::nullopt;
    if (entry.type == type_int16 || entry.type == type_int32)
        return QVariant(int(number));
    return QVariant(uint(number));
}

// raw × scale rounded once: the scale taken as the decimal it is written as (0.1 is 1 × 10^-1),
// the product formed in whole numbers and the decimal result read as the nearest double. So 3 ×
// 0.1 gives 0.3, where the product of the two doubles gives 0.30000000000000004.
double scaled(double raw, double scale)
{
    if (std::floor(raw) != raw || std::fabs(raw) > 4294967296.0)
        return raw * scale;
    const QString text = QString::number(scale, 'e', QLocale::FloatingPointShortest); // "-2.5e-01"
    const int e = text.indexOf(QLatin1Char('e'));
    QString digits = text.left(e);
    int exponent = text.mid(e + 1).toInt();
    const bool negative = (raw < 0) != digits.startsWith(QLatin1Char('-'));
    digits.remove(QLatin1Char('-'));
    if (const int point = digits.indexOf(QLatin1Char('.')); point >= 0) {
        exponent -= int(digits.size()) - point - 1;
        digits.remove(point, 1);
    }
    // At most 17 digits times at most 2^32: split the digits so that each partial product fits.
    constexpr quint64 billion = 1000000000;
    const quint64 mantissa = digits.toULongLong();
    const auto magnitude = quint64(std::fabs(raw));
    quint64 low = magnitude * (mantissa % billion);
    const quint64 high = magnitude * (mantissa / billion) + low / billion;
    low %= billion;
    const QString product = high
        ? QString::number(high) + QString::number(low).rightJustified(9, QLatin1Char('0'))
        : QString::number(low);
    return QStringLiteral("%1%2e%3")
        .arg(negative ? QStringLiteral("-") : QString(), product)
        .arg(exponent)
        .toDouble();
}

} // namespace

// ---- values --------------------------------------------------------------------------------

QVariant register_entry_t::decode(const QVector<uint16_t>& words) const
{
    return decode(words.constData(), int(words.size()));
}

QVariant register_entry_t::decode(const uint16_t* words, int count) const
{
    if (count != size)
        return QVariant();
    if (is_bit())
        return words[0] != 0;
    if (type == type_string) {
        QByteArray bytes;
        bytes.reserve(2 * size);
        for (int i = 0; i < count; ++i) {
            bytes.append(char(words[i] >> 8));
            bytes.append(char(words[i] & 0xFF));
        }
        while (bytes.endsWith('\0'))
            bytes.chop(1);
        return QString::fromLatin1(bytes.constData(), bytes.size()); // NULs inside stay
    }
    double raw = 0;
    if (is_32_bit(type)) {
        const uint32_t high = little_word_order ? words[1] : words[0];
        const uint32_t low = little_word_order ? words[0] : words[1];
        const uint32_t bits = high << 16 | low;
        if (type == type_float32) {
            float f;
            std::memcpy(&f, &bits, sizeof f);
            return *exact_value(*this, scale ? double(f) * *scale : double(f));
        }
        // A plain integer is the words themselves, as exact_value() would give it: a sweep decodes
        // thousands of these.
        if (!scale)
            return type == type_int32 ? QVariant(int(int32_t(bits))) : QVariant(uint(bits));
        raw = type == type_int32 ? double(int32_t(bits)) : double(bits);
    } else {
        if (!scale)
            return type == type_int16 ? QVariant(int(int16_t(words[0]))) : QVariant(uint(words[0]));
        raw = type == type_int16 ? double(int16_t(words[0])) : double(words[0]);
    }
    return *exact_value(*this, scaled(raw, *scale)); // in range: it came from the words
}

std::optional<QVector<uint16_t>> register_entry_t::encode(const QVariant& value) const
{
    if (is_bit()) {
        if (value.userType() == QMetaType::Bool)
            return QVector<uint16_t>{uint16_t(value.toBool())};
        const std::optional<double> n = number_of(value);
        if (n && (*n == 0 || *n == 1))
            return QVector<uint16_t>{uint16_t(*n)};
        return std::nullopt;
    }
    if (type == type_string) {
        if (value.userType() != QMetaType::QString)
            return std::nullopt;
        const QString text = value.toString();
        if (text.size() > 2 * size
            || std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() > 0xFF; }))
            return std::nullopt;
        const QByteArray bytes = text.toLatin1().leftJustified(2 * size, '\0');
        QVector<uint16_t> words(size);
        for (int i = 0; i < size; ++i)
            words[i] = uint16_t(uint8_t(bytes[2 * i]) << 8 | uint8_t(bytes[2 * i + 1]));
        return words;
    }
    const std::optional<double> number = number_of(value);
    if (!number)
        return std::nullopt;
    uint32_t bits = 0;
    if (type == type_float32) {
        const double raw = scale ? *number / *scale : *number;
        if (std::isfinite(raw) && std::fabs(raw) > double(std::numeric_limits<float>::max()))
            return std::nullopt;
        const float f = float(raw);
        std::memcpy(&bits, &f, sizeof bits);
    } else {
        // A scaled value goes to the nearest raw step; an unscaled one must be whole.
        const double raw = scale ? std::nearbyint(*number / *scale) : *number;
        const auto [low, high] = raw_range(type);
        if (!std::isfinite(raw) || std::floor(raw) != raw || raw < low || raw > high)
            return std::nullopt;
        bits = raw < 0 ? uint32_t(int64_t(raw)) : uint32_t(raw);
    }
    if (!is_32_bit(type))
        return QVector<uint16_t>{uint16_t(bits)};
    const auto high = uint16_t(bits >> 16), low = uint16_t(bits & 0xFFFF);
    return little_word_order ? QVector<uint16_t>{low, high} : QVector<uint16_t>{high, low};
}

std::optional<QVariant> register_entry_t::parse(const QString& text) const
{
    QVariant value;
    if (is_bit()) {
        if (text == QLatin1String("true") || text == QLatin1String("1"))
            value = true;
        else if (text == QLatin1String("false") || text == QLatin1String("0"))
            value = false;
        else
            return std::nullopt;
    } else if (type == type_string) {
        value = text;
    } else if (scale || type == type_float32) {
        bool ok = false;
        const double number = QLocale::c().toDouble(text, &ok);
        if (!ok)
            return std::nullopt;
        value = number;
    } else {
        // Decimal or "0x" hexadecimal, as ids are written, with a sign for the signed types.
        const bool negative = text.startsWith(QLatin1Char('-'));
        const std::optional<uint32_t> magnitude =
            qz::gui::parse_parameter_id_text(negative ? text.mid(1) : text);
        if (!magnitude || (negative && *magnitude == 0))
            return std::nullopt;
        const std::optional<QVariant> exact =
            exact_value(*this, negative ? -double(*magnitude) : double(*magnitude));
        if (!exact)
            return std::nullopt;
        value = *exact;
    }
    if (!encode(value))
        return std::nullopt;
    return value;
}

// ---- loading -------------------------------------------------------------------------------

namespace {

struct loader {
    const QString& path;

    [[noreturn]] void fail(const QString& text) const
    {
        throw std::runtime_error(
            QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path), text).toStdString());
    }

    [[noreturn]] void fail_at(int position, const std::optional<uint32_t>& id, const QString& text) const
    {
        const QString place = id
            ? QStringLiteral("parameter %1 (id %2)").arg(position).arg(qz::gui::short_parameter_id_text(*id))
            : QStringLiteral("parameter %1").arg(position);
        fail(QStringLiteral("%1: %2").arg(place, text));
    }

    QJsonArray parameters() const
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            fail(QStringLiteral("cannot be read: %1").arg(file.errorString()));
        const QByteArray text = file.read(max_file_size + 1);
        if (text.size() > max_file_size)
            fail(QStringLiteral("is larger than %1 MiB").arg(max_file_size / (1024 * 1024)));
        QJsonParseError error;
        const QJsonDocument document = qz::gui::parse_json(text, &error);
        if (error.error != QJsonParseError::NoError)
            fail(QStringLiteral("%1: not JSON: %2")
                     .arg(qz::gui::json_place(text, error.offset), error.errorString()));
        const QJsonObject top = document.object();
        const QJsonValue version = top.value(QLatin1String("version"));
        if (!document.isObject() || !version.isDouble())
            fail(QStringLiteral("not a register map: its top object has no \"version\""));
        if (version.toDouble() != map_version)
            fail(QStringLiteral("version %1 cannot be read; this library reads version %2")
                     .arg(version.toDouble())
                     .arg(map_version));
        if (!top.value(QLatin1String("parameters")).isArray())
            fail(QStringLiteral("\"parameters\" is not a list"));
        return top.value(QLatin1String("parameters")).toArray();
    }

    register_entry_t entry(int position, const QJsonValue& item) const
    {
        std::optional<uint32_t> id;
        const auto fault = [&](const QString& text) { fail_at(position, id, text); };
        if (!item.isObject())
            fault(QStringLiteral("not an object"));
        const QJsonObject o = item.toObject();
        id = qz::gui::parse_parameter_id(o.value(QLatin1String("id")).toVariant());
        if (!id)
            fault(QStringLiteral(
                "\"id\" is not a 32-bit unsigned id in decimal or with \"0x\" in hexadecimal"));

        register_entry_t e;
        e.id = *id;
        const QJsonValue name = o.value(QLatin1String("name"));
        if (!name.isUndefined() && !name.isString())
            fault(QStringLiteral("\"name\" is not a string"));
        e.name = name.toString();

        const int table = index_of(table_names, o.value(QLatin1String("table")).toString());
        if (table < 0)
            fault(QStringLiteral("\"table\" is not coil, discrete, input or holding"));
        e.table = table_e(table);
        const QJsonValue address = o.value(QLatin1String("address"));
        const double a = address.toDouble(-1);
        if (!address.isDouble() || std::floor(a) != a || a < 0 || a > max_address)
            fault(QStringLiteral("\"address\" is not a whole number from 0 to 65535"));
        e.address = uint16_t(a);

        const int type = index_of(type_names, o.value(QLatin1String("type")).toString());
        if (type < 0)
            fault(QStringLiteral("\"type\" is not bool, int16, uint16, int32, uint32, float32 or string"));
        e.type = value_type_e(type);
        if (e.is_bit() != (e.type == type_bool))
            fault(e.is_bit()
                      ? QStringLiteral("a %1 table holds bits: its type is bool").arg(table_names[table])
                      : QStringLiteral("a bool lives in a coil or discrete table, not in the %1 table")
                            .arg(QLatin1String(table_names[table])));
        e.size = is_32_bit(e.type) ? 2 : 1;
        const QJsonValue registers = o.value(QLatin1String("registers"));
        if (e.type == type_string) {
            const double n = registers.toDouble(0);
            // One write request carries at most 123 registers: a string is written whole or not at all.
            if (!registers.isDouble() || std::floor(n) != n || n < 1 || n > max_string_registers)
                fault(QStringLiteral("a string needs \"registers\", a whole number from 1 to 123"));
            e.size = int(n);
        } else if (!registers.isUndefined()) {
            fault(QStringLiteral("\"registers\" is for strings only"));
        }
        if (int(e.address) + e.size - 1 > max_address)
            fault(QStringLiteral("it reaches past address 65535"));

        const QJsonValue order = o.value(QLatin1String("word_order"));
        if (!order.isUndefined()) {
            if (!is_32_bit(e.type))
                fault(QStringLiteral("\"word_order\" is for 32-bit types only"));
            if (order.toString() != QLatin1String("big") && order.toString() != QLatin1String("little"))
                fault(QStringLiteral("\"word_order\" is not big or little"));
            e.little_word_order = order.toString() == QLatin1String("little");
        }
        const QJsonValue scale = o.value(QLatin1String("scale"));
        if (!scale.isUndefined()) {
            if (e.type == type_bool || e.type == type_string)
                fault(QStringLiteral("\"scale\" is for numbers only"));
            if (!scale.isDouble() || scale.toDouble() == 0 || !std::isfinite(scale.toDouble()))
                fault(QStringLiteral("\"scale\" is not a number other than 0"));
            e.scale = scale.toDouble();
        }
        const QJsonValue read_only = o.value(QLatin1String("read_only"));
        if (!read_only.isUndefined() && !read_only.isBool())
            fault(QStringLiteral("\"read_only\" is not true or false"));
        e.read_only = read_only.toBool() || e.table == input || e.table == discrete;

        const QJsonValue initial = o.value(QLatin1String("initial"));
        if (!initial.isUndefined()) {
            std::optional<QVariant> value;
            if (e.is_bit())
                value = initial.isBool() ? std::optional<QVariant>(initial.toBool()) : std::nullopt;
            else if (e.type == type_string)
                value = initial.isString() ? std::optional<QVariant>(initial.toString()) : std::nullopt;
            else if (initial.isDouble())
                value = exact_value(e, initial.toDouble());
            if (!value || !e.encode(*value))
                fault(QStringLiteral("\"initial\" does not fit the type"));
            e.initial = *value;
        }
        return e;
    }

    // Entries of one table may not share a register (or bit).
    void check_overlaps(const QVector<register_entry_t>& entries) const
    {
        QVector<int> order(entries.size());
        for (int i = 0; i < order.size(); ++i)
            order[i] = i;
        std::sort(order.begin(), order.end(), [&](int a, int b) {
            const auto& x = entries[a];
            const auto& y = entries[b];
            return x.table != y.table ? x.table < y.table : x.address < y.address;
        });
        for (int k = 1; k < order.size(); ++k) {
            const auto& before = entries[order[k - 1]];
            const auto& e = entries[order[k]];
            if (e.table == before.table && int(e.address) <= int(before.address) + before.size - 1) {
                const int later = std::max(order[k - 1], order[k]);
                const int earlier = std::min(order[k - 1], order[k]);
                fail_at(later + 1, entries[later].id,
                        QStringLiteral("it overlaps parameter %1 (id %2) in the %3 table")
                            .arg(earlier + 1)
                            .arg(qz::gui::short_parameter_id_text(entries[earlier].id),
                                 QLatin1String(table_names[e.table])));
            }
        }
    }
};

} // namespace

register_map::register_map() = default;

register_map register_map::load(const QString& path)
{
    const loader l{path};
    register_map map;
    int position = 0;
    for (const QJsonValue& item : l.parameters()) {
        register_entry_t e = l.entry(++position, item);
        if (map._index.contains(e.id))
            l.fail_at(position, e.id, QStringLiteral("the id appears a second time"));
        map._index.insert(e.id, map._entries.size());
        map._entries.append(std::move(e));
    }
    l.check_overlaps(map._entries);
    return map;
}

QVector<uint32_t> register_map::ids() const
{
    QVector<uint32_t> ids;
    ids.reserve(_entries.size());
    for (const register_entry_t& e : _entries)
        ids.append(e.id);
    return ids;
}

const register_entry_t* register_map::find(uint32_t id) const
{
    const auto it = _index.constFind(id);
    return it == _index.constEnd() ? nullptr : &_entries[*it];
}

} // namespace qz::modbus
