// SPDX-License-Identifier: BSD-3-Clause
// The simulated Modbus device's registers and the faults it was told to show.
#ifndef QZGUI_TOOLS_DEVICE_STORE_H
#define QZGUI_TOOLS_DEVICE_STORE_H

#include <qzgui/modbus/register_map.h>

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

namespace qz::tools {

/**
 * The four tables of a simulated device, holding a register map's parameters with their initial
 * values, and the answer it gives to each request. Addresses outside the map are answered with
 * "illegal data address", as are writes to read-only parameters.
 */
class device_store {
public:
    /// What a fault rule does to a request that touches its address.
    enum fault_e : int {
        fault_exception, ///< answer with a Modbus exception code
        fault_delay,     ///< answer late
        fault_silent,    ///< never answer
        fault_garble     ///< answer a read one register, or one byte of bits, short
    };

    /// The answer to one request.
    struct answer_t {
        QByteArray pdu;   ///< function code first; empty: no answer at all
        int delay_ms = 0; ///< how long to hold the answer back
        QString log;      ///< one line describing the request and the answer
    };

    explicit device_store(const qz::modbus::register_map& map);

    /**
     * Adds a fault rule from its command-line form: "TABLE:ADDRESS=CODE" (exception),
     * "TABLE:ADDRESS=MS" (delay) or "TABLE:ADDRESS" (silent, garble).
     * @return an empty string, or what is wrong with @p text
     */
    QString add_fault(fault_e kind, const QString& text);

    /// Answers the request @p pdu (function code first) sent to this device's unit @p unit.
    answer_t answer(int unit, const QByteArray& pdu);

private:
    struct rule_t {
        fault_e kind;
        int table;
        int address;
        int value;
    };
    // What the rules touching a request do to it, all of them together.
    struct effect_t {
        int delay_ms = 0;             // every delay, added up
        bool garble = false;          // some rule garbles it
        const rule_t* stop = nullptr; // the first exception or silence, in command-line order
    };
    answer_t _answer(const QByteArray& pdu, QString* what);
    effect_t _effect(int table, int start, int count) const;

    QVector<uint16_t> _words[4];  // a word per bit or register
    QVector<uint8_t> _present[4]; // 0: no parameter; 1: read-only; 2: writable
    QVector<rule_t> _rules;
};

} // namespace qz::tools

#endif
