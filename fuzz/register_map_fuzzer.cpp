// SPDX-License-Identifier: BSD-3-Clause
// Loads arbitrary bytes as a register map file and checks that the loader either refuses them,
// naming the file, or gives a whole map: every rule the format sets holds for every entry.
//
// Input: the file's bytes.
#include "fuzz_check.h"

#include <qzgui/modbus/register_map.h>

#include <QCoreApplication>
#include <QSet>

#include <cmath>
#include <stdexcept>

using qz::fuzz::check;
using namespace qz::modbus;

namespace {

qz::fuzz::input_file* file = nullptr;

void check_entry(const register_map& map, const register_entry_t& e, QSet<uint32_t>& ids,
                 QVector<QVector<const register_entry_t*>>& used)
{
    const QString who = QStringLiteral("id %1").arg(e.id);
    check(!ids.contains(e.id), "ids are unique", who);
    ids.insert(e.id);
    check(map.find(e.id) == &e, "find() gives the entry", who);
    check(e.table >= coil && e.table <= holding, "the table is known", who);
    check((e.type == type_bool) == e.is_bit(), "bits are bools and bools are bits", who);
    const int expected = e.type == type_string                                      ? e.size
        : (e.type == type_int32 || e.type == type_uint32 || e.type == type_float32) ? 2
                                                                                    : 1;
    check(e.size == expected && e.size >= 1 && (e.type != type_string || e.size <= 123),
          "the size fits the type", who);
    check(int(e.address) + e.size <= 65536, "the entry ends inside its table", who);
    check(!(e.table == input || e.table == discrete) || e.read_only, "inputs are read-only", who);
    check(!e.scale || std::isfinite(*e.scale), "a scale is a number", who);
    // The registers each entry takes belong to it alone.
    QVector<const register_entry_t*>& table = used[e.table];
    for (int r = e.address; r < e.address + e.size; ++r) {
        check(!table[r], "entries of one table do not overlap", who);
        table[r] = &e;
    }
    if (e.initial.isValid()) {
        const std::optional<QVector<uint16_t>> words = e.encode(e.initial);
        check(bool(words), "the initial value fits", who);
        check(words->size() == e.size, "a value takes the entry's size", who);
        const QVariant decoded = e.decode(*words);
        const std::optional<QVector<uint16_t>> again = e.encode(decoded);
        check(again && *again == *words, "the initial value reads back as it was written", who);
    }
}

// The hints hold what the loader promises, and the entry's form description agrees with them.
void check_hints(const register_entry_t& e)
{
    const QString who = QStringLiteral("id %1").arg(e.id);
    const bool number = !e.is_bit() && e.type != type_string;
    const bool whole = number && !e.scale && e.type != type_float32;
    check(number || (!e.minimum.isValid() && !e.maximum.isValid() && e.step == 0 && e.decimals == -1),
          "bounds, steps and decimals belong to numbers", who);
    check(!e.minimum.isValid() || !e.maximum.isValid() || e.minimum.toDouble() <= e.maximum.toDouble(),
          "the minimum is not above the maximum", who);
    for (const QVariant& bound : {e.minimum, e.maximum})
        if (bound.isValid()) {
            const std::optional<QVector<uint16_t>> words = e.encode(bound);
            check(words && e.decode(*words) == bound, "a bound is a value the device holds", who);
        }
    check(e.step >= 0 && std::isfinite(e.step), "a step is not below zero", who);
    check(e.decimals >= -1 && e.decimals <= 10 && (e.decimals == -1 || !whole),
          "decimals are 0 to 10 of a fraction", who);
    check(!e.hexadecimal || whole, "hex is for integers without scale", who);
    check(e.choices.isEmpty() || whole, "choices are for integers without scale", who);
    QSet<qint64> values;
    for (const auto& choice : e.choices) {
        check(!choice.second.isEmpty(), "a choice has a text", who);
        check(e.admits(choice.first), "a choice is a value a write takes", who);
        check(!values.contains(choice.first.toLongLong()), "choices have values of their own", who);
        values.insert(choice.first.toLongLong());
        const std::optional<QVariant> parsed = e.parse(choice.second);
        check(parsed.has_value(), "a choice's text reads as a value", who);
    }
    check(!e.initial.isValid() || e.admits(e.initial), "the initial value is one a write takes", who);
    const qz::gui::parameter_description d = e.form_description();
    check(d.id == e.id && d.choices == e.choices && d.read_only == e.read_only,
          "the description is the entry's", who);
    check(!d.minimum.isValid() == !number && !d.maximum.isValid() == !number,
          "a number's description has bounds", who);
    if (number)
        check(d.minimum.toDouble() <= d.maximum.toDouble(), "a description's bounds are in order", who);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    new QCoreApplication(*argc, *argv);
    file = new qz::fuzz::input_file("register-map.json");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    file->write(data, size);
    register_map map;
    try {
        map = register_map::load(file->path());
    } catch (const std::runtime_error& e) {
        file->check_refusal(e);
        return 0;
    }
    QSet<uint32_t> ids;
    QVector<QVector<const register_entry_t*>> used(4);
    for (const register_entry_t& e : map.entries()) {
        QVector<const register_entry_t*>& table = used[qBound(0, int(e.table), 3)];
        if (table.isEmpty())
            table.resize(65536);
        check_entry(map, e, ids, used);
        check_hints(e);
    }
    check(map.descriptions().size() == map.entries().size(), "descriptions() describes every entry");
    check(map.ids().size() == map.entries().size(), "ids() names every entry");
    return 0;
}
