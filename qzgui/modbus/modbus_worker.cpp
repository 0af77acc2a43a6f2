// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/modbus_worker.h"

#include "qzgui/modbus/modbus_module.h"

#include "qzgui/parameter_id.h"
#include "qzgui/printable_text.h"

#include <module_api/proto_exception.h>

#include <algorithm>
#include <functional>
#include <tuple>
#include <utility>

namespace qz::modbus {

using qz::api::proto::error_descriptor;
using qz::api::proto::proto_exception;

namespace {

// The most one read request may ask for.
constexpr int max_read_registers = 125;
constexpr int max_read_bits = 2000;

// A parameter a sweep reads, and the slot its outcome goes to. Slots are numbered in the order the
// request first names each id.
struct planned_t {
    const register_entry_t* entry;
    int slot;
};

// Consecutive parameters of one table, read by one request.
struct block_t {
    table_e table = holding;
    uint16_t start = 0;
    int count = 0;
    QVector<planned_t> members;
    int first_slot = 0; // the earliest the request needs one of them
};

[[noreturn]] void refuse(const register_entry_t& entry, const QString& fault)
{
    const QString name = entry.name.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(entry.name);
    throw proto_exception(proto_exception::parameter_error,
                          QStringLiteral("parameter %1%2: %3")
                              .arg(qz::gui::short_parameter_id_text(entry.id), name, fault)
                              .toStdString());
}

// Groups @p wanted into blocks, each as large as one request allows, in the order the request
// first needs them.
QVector<block_t> plan_blocks(QVector<planned_t> wanted)
{
    const auto by_place = [](const planned_t& a, const planned_t& b) {
        return std::make_pair(a.entry->table, a.entry->address)
            < std::make_pair(b.entry->table, b.entry->address);
    };
    // A map's own order usually is the devices' order already.
    if (!std::is_sorted(wanted.cbegin(), wanted.cend(), by_place))
        std::sort(wanted.begin(), wanted.end(), by_place);
    QVector<block_t> blocks;
    for (const planned_t& p : wanted) {
        const register_entry_t* e = p.entry;
        const int limit = e->is_bit() ? max_read_bits : max_read_registers;
        block_t* last = blocks.isEmpty() ? nullptr : &blocks.last();
        if (!last || last->table != e->table || int(last->start) + last->count != int(e->address)
            || last->count + e->size > limit) {
            blocks.append(block_t{e->table, e->address, 0, {}, p.slot});
            last = &blocks.last();
        }
        last->count += e->size;
        last->members.append(p);
        last->first_slot = std::min(last->first_slot, p.slot);
    }
    std::stable_sort(blocks.begin(), blocks.end(),
                     [](const block_t& a, const block_t& b) { return a.first_slot < b.first_slot; });
    return blocks;
}

} // namespace

modbus_worker::modbus_worker(QObject* parent, modbus_module* module, const register_map& map)
    : sat_worker(parent, module)
    , _modbus(module)
    , _map(map)
{}

const register_map& modbus_worker::map() const
{
    return _map;
}

const register_entry_t& modbus_worker::_entry(uint32_t id) const
{
    const register_entry_t* entry = _map.find(id);
    if (!entry)
        throw proto_exception(proto_exception::parameter_error,
                              QStringLiteral("parameter %1: not in the register map")
                                  .arg(qz::gui::short_parameter_id_text(id))
                                  .toStdString());
    return *entry;
}

QVariant modbus_worker::_read_entry(const register_entry_t& entry)
{
    return entry.decode(_modbus->read(entry.table, entry.address, entry.size));
}

void modbus_worker::_get_param(uint32_t id)
{
    _cache_parameter_and_emit_signal(id, _read_entry(_entry(id)));
}

void modbus_worker::_set_param(uint32_t id, const QVariant& value)
{
    const register_entry_t& entry = _entry(id);
    if (entry.read_only)
        refuse(entry, QStringLiteral("read-only"));
    QString why;
    const std::optional<QVector<uint16_t>> words = entry.encode(value, &why);
    if (!words)
        refuse(entry, QStringLiteral("%1 does not fit: %2").arg(qz::gui::printable_value(value), why));
    // The device holds the encoded value: a float32 is the float nearest to the value given.
    const QVariant written = entry.decode(*words);
    if (!entry.admits(written, &why))
        refuse(entry, why);
    _modbus->write(entry.table, entry.address, *words);
    _cache_parameter_and_emit_signal(id, written, false);
    emit on_set_param(id, written);
}

// One read sweep: the ids of a request, and what reading each gave, reported in request order as
// soon as it is known.
struct modbus_worker::sweep_t {
    // What reading one entry gave: a value or a failure, once it is known.
    struct outcome_t {
        bool known = false;
        QVariant value;
        std::optional<error_descriptor> error;
    };

    modbus_worker& worker;
    const QVector<uint32_t>& params;
    QVector<int> slot_at;        // per id of the request, its outcome's slot
    QVector<outcome_t> outcomes; // one slot per distinct entry, or per id the map lacks
    QVector<planned_t> wanted;   // the entries to read, with their slots
    int reported = 0;            // the ids of the request reported so far

    sweep_t(modbus_worker& w, const QVector<uint32_t>& p);
    void report(bool skip_unknown);
    void read(const QVector<block_t>& blocks);
    void settle(const block_t& block, const QVector<uint16_t>& words,
                const std::optional<error_descriptor>& error);
};

modbus_worker::sweep_t::sweep_t(modbus_worker& w, const QVector<uint32_t>& p)
    : worker(w)
    , params(p)
    , slot_at(p.size())
{
    // An id the request repeats is read once and reported each time. Slots are found by the
    // entry's place in the map, which costs no hashing per id.
    const register_map& map = worker._map;
    const register_entry_t* const first_entry = map.entries().constData();
    QVector<int> slot_of_entry(map.entries().size(), -1);
    outcomes.reserve(params.size());
    wanted.reserve(params.size());
    for (int i = 0; i < params.size(); ++i) {
        const uint32_t id = params[i];
        const register_entry_t* entry = map.find(id);
        int* known = entry ? &slot_of_entry[int(entry - first_entry)] : nullptr;
        if (known && *known >= 0) {
            slot_at[i] = *known;
            continue;
        }
        const int slot = int(outcomes.size());
        slot_at[i] = slot;
        if (known) {
            *known = slot;
            outcomes.append(outcome_t());
            wanted.append({entry, slot});
        } else {
            outcomes.append({true, {}, _parameter_failure([&] { worker._entry(id); })});
        }
    }
}

// Reports, in request order, every id whose outcome is known, up to the first that is not (or
// past it, with @p skip_unknown).
void modbus_worker::sweep_t::report(bool skip_unknown)
{
    for (; reported < params.size(); ++reported) {
        const outcome_t& outcome = outcomes[slot_at[reported]];
        if (!outcome.known && !skip_unknown)
            return;
        if (outcome.error)
            emit worker.on_get_param_request_error(params[reported], *outcome.error);
        else if (outcome.known)
            worker._cache_parameter_and_emit_signal(params[reported], outcome.value);
    }
}

// The next block goes out as soon as a block's reply is in: the module sends it from its own
// thread, so the device answers it while this one is decoded and reported. Two blocks are planned
// ahead (the one on its way, and the next, held behind it), so the next is in place before the
// reply it waits for comes in. Still only one request is ever on its way, as some devices take no
// more. A block the device refuses is read again id by id first: the module then holds the next
// until it is finished. A stop drops the block sent ahead.
void modbus_worker::sweep_t::read(const QVector<block_t>& blocks)
{
    modbus_module& modbus = *worker._modbus;
    const auto send = [&](int b, const modbus_module::pending_read* after) {
        std::optional<modbus_module::pending_read> request;
        std::optional<error_descriptor> error;
        if (b < blocks.size() && worker.running)
            error = _parameter_failure([&] {
                const block_t& next = blocks[b];
                request.emplace(after ? modbus.send_read_after(*after, next.table, next.start, next.count)
                                      : modbus.send_read(next.table, next.start, next.count));
            });
        return std::make_pair(std::move(request), std::move(error));
    };

    // Not structured bindings: a lambda below takes the request, which C++17 allows only of a variable.
    std::optional<modbus_module::pending_read> ahead;
    std::optional<error_descriptor> ahead_error;
    std::tie(ahead, ahead_error) = send(0, nullptr);
    auto [held, held_error] = send(1, ahead ? &*ahead : nullptr);
    for (int b = 0; b < blocks.size() && (ahead || ahead_error); ++b) {
        // A block sent ahead of a stop is dropped. The first was sent just now: a stop since then
        // came while it was in progress, and it fails as stopped.
        if (b > 0 && !worker.running)
            break;
        QVector<uint16_t> words;
        std::optional<error_descriptor> error = ahead_error;
        if (!error)
            error = _parameter_failure([&] { words = modbus.finish_read(*ahead); });
        auto [later, later_error] = send(b + 2, held ? &*held : nullptr);
        settle(blocks[b], words, error);
        report(false);
        ahead = std::exchange(held, std::move(later));
        ahead_error = std::exchange(held_error, std::move(later_error));
    }
}

// Gives each entry of @p block its value from @p words, or the block's @p error.
void modbus_worker::sweep_t::settle(const block_t& block, const QVector<uint16_t>& words,
                                    const std::optional<error_descriptor>& error)
{
    // Refused by the device itself (an illegal function, address or value): one of the parameters
    // the block names may be the cause, and each of the others still gets its value.
    const bool refused = error
        && (error->proto_type == proto_exception::parameter_error
            || error->proto_type == proto_exception::response_error);
    const bool one_by_one = refused && block.members.size() > 1;
    for (const planned_t& p : block.members) {
        outcome_t& outcome = outcomes[p.slot];
        if (one_by_one) {
            if (!worker.running)
                break;
            outcome.error = _parameter_failure([&] { outcome.value = worker._read_entry(*p.entry); });
        } else if (error) {
            outcome.error = error;
        } else {
            outcome.value =
                p.entry->decode(words.constData() + (p.entry->address - block.start), p.entry->size);
        }
        outcome.known = true;
    }
}

void modbus_worker::_get_params(const QVector<uint32_t>& params)
{
    _set_module_config();
    _connect_exec_disconnect(op_read, [&] {
        sweep_t sweep(*this, params);
        sweep.report(false);
        sweep.read(plan_blocks(sweep.wanted));
        // Stopped: what was read is still reported, in request order.
        sweep.report(true);
    });
}

} // namespace qz::modbus
