// SPDX-License-Identifier: BSD-3-Clause
#include "device_store.h"

#include <algorithm>

#include <QRegularExpression>

namespace qz::tools {

using qz::modbus::register_entry_t;

namespace {

const char* const table_names[] = {"coil", "discrete", "input", "holding"};

// The table each function code works on, or -1 for one the device does not know.
int table_of(uint8_t function)
{
    switch (function) {
    case 1:
    case 5:
    case 15:
        return qz::modbus::coil;
    case 2:
        return qz::modbus::discrete;
    case 4:
        return qz::modbus::input;
    case 3:
    case 6:
    case 16:
        return qz::modbus::holding;
    default:
        return -1;
    }
}

void append_word(QByteArray& bytes, int word)
{
    bytes.append(char(word >> 8));
    bytes.append(char(word & 0xFF));
}

} // namespace

device_store::device_store(const qz::modbus::register_map& map)
{
    for (int t = 0; t < 4; ++t) {
        _words[t].fill(0, 65536);
        _present[t].fill(0, 65536);
    }
    for (const register_entry_t& e : map.entries()) {
        const auto initial = e.initial.isValid() ? e.encode(e.initial) : std::nullopt;
        for (int i = 0; i < e.size; ++i) {
            _present[e.table][e.address + i] = e.read_only ? 1 : 2;
            if (initial)
                _words[e.table][e.address + i] = (*initial)[i];
        }
    }
}

QString device_store::add_fault(fault_e kind, const QString& text)
{
    const bool valued = kind == fault_exception || kind == fault_delay;
    static const QRegularExpression form(
        QStringLiteral("\\A(coil|discrete|input|holding):([0-9]{1,5})(?:=([0-9]{1,9}))?\\z"));
    const QRegularExpressionMatch m = form.match(text);
    const int address = m.hasMatch() ? m.captured(2).toInt() : -1;
    const int value = m.captured(3).isEmpty() ? -1 : m.captured(3).toInt();
    if (!m.hasMatch() || address > 65535 || valued != (value >= 0))
        return valued ? QStringLiteral("\"%1\" is not TABLE:ADDRESS=NUMBER").arg(text)
                      : QStringLiteral("\"%1\" is not TABLE:ADDRESS").arg(text);
    if (kind == fault_exception && (value < 1 || value > 255))
        return QStringLiteral("\"%1\": an exception code is 1 to 255").arg(text);
    int table = 0;
    while (m.captured(1) != QLatin1String(table_names[table]))
        ++table;
    _rules.append({kind, table, address, value});
    return {};
}

device_store::effect_t device_store::_effect(int table, int start, int count) const
{
    effect_t effect;
    for (const rule_t& r : _rules) {
        if (r.table != table || r.address < start || r.address >= start + count)
            continue;
        if (r.kind == fault_delay)
            effect.delay_ms += r.value;
        else if (r.kind == fault_garble)
            effect.garble = true;
        else if (!effect.stop)
            effect.stop = &r;
    }
    return effect;
}

device_store::answer_t device_store::answer(int unit, const QByteArray& pdu)
{
    QString what;
    answer_t a = _answer(pdu, &what);
    QString outcome;
    if (a.pdu.isEmpty())
        outcome = QStringLiteral("no answer");
    else if (uint8_t(a.pdu[0]) & 0x80)
        outcome = QStringLiteral("exception 0x%1").arg(int(uint8_t(a.pdu[1])), 2, 16, QLatin1Char('0'));
    else
        outcome = QStringLiteral("ok");
    if (a.delay_ms > 0)
        outcome += QStringLiteral(" after %1 ms").arg(a.delay_ms);
    a.log = QStringLiteral("unit %1: %2: %3").arg(unit).arg(what, outcome);
    return a;
}

device_store::answer_t device_store::_answer(const QByteArray& pdu, QString* what)
{
    answer_t a;
    if (pdu.isEmpty()) {
        *what = QStringLiteral("empty request");
        return a;
    }
    const uint8_t function = uint8_t(pdu[0]);
    const auto word = [&](int at) { return (int(uint8_t(pdu[at])) << 8) | uint8_t(pdu[at + 1]); };
    const auto refuse = [&](int code) {
        a.pdu = QByteArray();
        a.pdu.append(char(function | 0x80));
        a.pdu.append(char(code));
        return a;
    };
    const int table = table_of(function);
    *what = QStringLiteral("function %1").arg(function);
    if (table < 0)
        return refuse(1);
    const bool write = function >= 5;
    const bool multiple = function >= 15;
    if ((!multiple && pdu.size() != 5) || (multiple && (pdu.size() < 6 || pdu.size() != 6 + uint8_t(pdu[5]))))
        return refuse(3);
    const int start = word(1);
    const int count = write && !multiple ? 1 : word(3);
    const bool bits = table <= qz::modbus::discrete;
    *what = QStringLiteral("%1 %2 %3 to %4")
                .arg(write ? QStringLiteral("write") : QStringLiteral("read"))
                .arg(QLatin1String(table_names[table]))
                .arg(start)
                .arg(start + count - 1);
    const int most = !write ? (bits ? 2000 : 125) : (bits ? 1968 : 123);
    const int byte_count = bits ? (count + 7) / 8 : count * 2;
    if (count < 1 || count > most || (multiple && uint8_t(pdu[5]) != byte_count))
        return refuse(3);
    if (function == 5 && word(3) != 0xFF00 && word(3) != 0)
        return refuse(3);
    if (start + count > 65536)
        return refuse(2);

    const effect_t effect = _effect(table, start, count);
    a.delay_ms = effect.delay_ms;
    if (effect.stop && effect.stop->kind == fault_silent)
        return a;
    if (effect.stop)
        return refuse(effect.stop->value);
    for (int i = start; i < start + count; ++i)
        if (_present[table][i] < (write ? 2 : 1))
            return refuse(2);

    QVector<uint16_t>& words = _words[table];
    a.pdu.append(char(function));
    if (!write) {
        // A garbled reply is one register, or one byte of bits, short.
        const int sent = !effect.garble ? count : bits ? std::min(count, 8 * (byte_count - 1)) : count - 1;
        const int sent_bytes = bits ? (effect.garble ? byte_count - 1 : byte_count) : sent * 2;
        a.pdu.append(char(sent_bytes));
        for (int i = 0; i < sent_bytes && bits; ++i) {
            int byte = 0;
            for (int b = 0; b < 8 && i * 8 + b < sent; ++b)
                byte |= (words[start + i * 8 + b] ? 1 : 0) << b;
            a.pdu.append(char(byte));
        }
        for (int i = 0; i < sent && !bits; ++i)
            append_word(a.pdu, words[start + i]);
        return a;
    }
    if (!multiple) {
        words[start] = function == 5 ? (word(3) ? 1 : 0) : word(3);
        a.pdu = pdu;
        return a;
    }
    for (int i = 0; i < count; ++i)
        words[start + i] = bits ? (uint8_t(pdu[6 + i / 8]) >> (i % 8)) & 1 : word(6 + 2 * i);
    append_word(a.pdu, start);
    append_word(a.pdu, count);
    return a;
}

} // namespace qz::tools
