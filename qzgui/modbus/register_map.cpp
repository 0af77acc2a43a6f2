// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/register_map.h"
#include "qzgui/modbus/register_hints_p.h"
#include "qzgui/modbus/register_names_p.h"

#include "qzgui/internal/json_file.h"
#include "qzgui/parameter_id.h"
#include "qzgui/printable_text.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace qz::modbus {

namespace {

constexpr int map_version = 1;
constexpr int max_string_registers = 123;
constexpr qint64 max_file_size = 16 * 1024 * 1024; // 65,536 registers of four tables fit many times
constexpr int max_address = 65535;

const char* const top_keys[] = {"version", "parameters"};
const char* const parameter_keys[] = {"id",        "name",       "table",       "address",   "type",
                                      "registers", "word_order", "scale",       "read_only", "initial",
                                      "unit",      "group",      "description", "minimum",   "maximum",
                                      "step",      "decimals",   "choices",     "format"};
const char* const required_keys[] = {"id", "table", "address", "type"};

// Edits (insert, delete, replace, swap two neighbours) between @p a and @p b.
int edits(const QString& a, const QString& b)
{
    const int n = int(a.size()), m = int(b.size());
    QVector<QVector<int>> d(n + 1, QVector<int>(m + 1));
    for (int i = 0; i <= n; ++i)
        d[i][0] = i;
    for (int j = 0; j <= m; ++j)
        d[0][j] = j;
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= m; ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    return d[n][m];
}

// A key the format does not know is an error, never ignored: "word_ordre" would otherwise read
// every float in the wrong word order. @return the fault of the first unknown key, or nothing
template <std::size_t N>
QString unknown_key(const QJsonObject& object, const char* const (&known)[N], const char* what)
{
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        const QString key = it.key();
        if (std::any_of(std::begin(known), std::end(known),
                        [&](const char* k) { return key == QLatin1String(k); }))
            continue;
        QString nearest;
        int fewest = 3; // more edits than two make another word
        for (const char* k : known)
            if (const int e = edits(key.toLower(), QLatin1String(k)); e < fewest) {
                fewest = e;
                nearest = QLatin1String(k);
            }
        QString fault = QStringLiteral("\"%1\" is not a key of %2")
                            .arg(qz::gui::printable_text(key), QLatin1String(what));
        if (!nearest.isEmpty())
            fault += QStringLiteral(" (did you mean \"%1\"?)").arg(nearest);
        return fault;
    }
    return {};
}

template <std::size_t N>
int index_of(const char* const (&names)[N], const QString& name)
{
    for (std::size_t i = 0; i < N; ++i)
        if (name == QLatin1String(names[i]))
            return int(i);
    return -1;
}

} // namespace

namespace {

struct loader {
    const QString& path;

    [[noreturn]] void fail(const QString& text) const { qz::gui::fail_file(path, text); }

    [[noreturn]] void fail_at(int position, const std::optional<uint32_t>& id, const QString& text) const
    {
        const QString place = id
            ? QStringLiteral("parameter %1 (id %2)").arg(position).arg(qz::gui::short_parameter_id_text(*id))
            : QStringLiteral("parameter %1").arg(position);
        fail(QStringLiteral("%1: %2").arg(place, text));
    }

    QJsonArray parameters() const
    {
        const QJsonObject top = qz::gui::read_json_file(path, max_file_size);
        const QJsonValue version = top.value(QLatin1String("version"));
        if (!version.isDouble())
            fail(QStringLiteral("not a register map: its top object has no \"version\""));
        qz::gui::check_json_version(path, version.toDouble(), map_version);
        if (const QString fault = unknown_key(top, top_keys, "a register map"); !fault.isEmpty())
            fail(fault);
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
        // The id first, so that every later fault names it.
        for (const char* key : required_keys) {
            if (!o.contains(QLatin1String(key)))
                fault(QStringLiteral("\"%1\" is missing").arg(QLatin1String(key)));
            if (!id) {
                id = qz::gui::parse_parameter_id(o.value(QLatin1String("id")).toVariant());
                if (!id)
                    fault(QStringLiteral(
                        "\"id\" is not a 32-bit unsigned id in decimal or with \"0x\" in hexadecimal"));
            }
        }
        if (const QString unknown = unknown_key(o, parameter_keys, "a parameter"); !unknown.isEmpty())
            fault(unknown);

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
            // Taken as the device would hold it: encoded, and decoded back.
            QString why = QStringLiteral("%1 is not a JSON %2")
                              .arg(QLatin1String(type_names[e.type]),
                                   QLatin1String(e.is_bit()                  ? "true or false"
                                                     : e.type == type_string ? "string"
                                                                             : "number"));
            const bool right_kind = e.is_bit() ? initial.isBool()
                : e.type == type_string        ? initial.isString()
                                               : initial.isDouble();
            const std::optional<QVector<uint16_t>> words =
                right_kind ? e.encode(initial.toVariant(), &why) : std::nullopt;
            if (!words)
                fault(QStringLiteral("\"initial\" does not fit: %1").arg(why));
            e.initial = e.decode(*words);
        }
        read_hints(e, o, fault);
        if (QString why; e.initial.isValid() && !e.admits(e.initial, &why))
            fault(QStringLiteral("\"initial\" is not allowed: %1").arg(why));
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
