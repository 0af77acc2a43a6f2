// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_MODBUS_REGISTER_MAP_H
#define QZGUI_MODBUS_REGISTER_MAP_H

#include "qzgui/modbus/modbus_export.h"
#include "qzgui/parameter_description.h"

#include <QHash>
#include <QPair>
#include <QString>
#include <QVariant>
#include <QVector>

#include <cstdint>
#include <optional>

namespace qz::modbus {

/// The four Modbus data tables.
enum table_e : int {
    coil = 0,     ///< read-write bits
    discrete = 1, ///< read-only bits (discrete inputs)
    input = 2,    ///< read-only 16-bit registers
    holding = 3   ///< read-write 16-bit registers
};

/// How a parameter's value is laid out in its table.
enum value_type_e : int {
    type_bool = 0,    ///< one bit of a coil or discrete input table; a bool
    type_int16 = 1,   ///< one register, two's complement; an int
    type_uint16 = 2,  ///< one register; a uint
    type_int32 = 3,   ///< two registers, two's complement; an int
    type_uint32 = 4,  ///< two registers; a uint
    type_float32 = 5, ///< two registers, IEEE 754 single precision; a double, the float's shortest decimal
    type_string = 6   ///< a number of registers, two characters each, high byte first; a QString
};

/**
 * One parameter of a register map: where its value lives on the device and how it is encoded.
 * @see register_map
 */
struct QZGUI_MODBUS_EXPORT register_entry_t {
    uint32_t id = 0;                 ///< the parameter id
    QString name;                    ///< a name for people; may be empty
    table_e table = holding;         ///< the table the value lives in
    uint16_t address = 0;            ///< the first bit or register
    value_type_e type = type_uint16; ///< the layout
    int size = 1;                    ///< bits or registers taken: 1, 2 for 32-bit types, N for strings
    bool little_word_order = false;  ///< for 32-bit types: the low word comes first
    /// value = raw × scale: the decimal product of the two as written (the raw value of a float32
    /// as its shortest decimal), read as the nearest double
    std::optional<double> scale;
    bool read_only = false; ///< writes are refused (always for input and discrete)
    QVariant initial;       ///< the value a simulated device starts with; may be invalid

    // Hints for people and forms, in the parameter's own units (after scale).
    QString unit;        ///< shown after the value, e.g. "dB"; may be empty
    QString group;       ///< the group of parameters a form shows it in; may be empty
    QString description; ///< what the parameter does, for a tool tip; may be empty
    /// the least value a write takes, as decode() gives values; invalid: what the encoding holds
    QVariant minimum;
    /// the greatest value a write takes, as decode() gives values; invalid: what the encoding holds
    QVariant maximum;
    double step = 0;                           ///< a form's step; 0: the scale, or 1
    int decimals = -1;                         ///< a form's digits after the point; -1: as the step needs
    QVector<QPair<QVariant, QString>> choices; ///< not empty: the values a write takes, with their texts
    bool hexadecimal = false;                  ///< an integer shown and typed as 0x...

    /// @return whether the entry is a bit of a coil or discrete input table
    bool is_bit() const { return table == coil || table == discrete; }

    /**
     * Decodes the value from the entry's registers (or one bit as 0 or 1).
     * @param words exactly size() words, in device order
     * @return the value as the form binding carries it: bool, int, uint, double or QString
     */
    QVariant decode(const QVector<uint16_t>& words) const;

    /**
     * Decodes the value from @p count words starting at @p words, such as the entry's part of a
     * block read for several entries at once, without copying them out.
     * @return the value as decode(const QVector<uint16_t>&) gives it; invalid unless @p count is
     *         size()
     */
    QVariant decode(const uint16_t* words, int count) const;

    /**
     * Encodes @p value for the device. Numbers of another type are taken when they convert
     * exactly. A scaled integer value must be a whole number of steps: one between two steps is
     * refused, never rounded. A float32 value is taken when it rounds to a finite float.
     * @param value the value to encode
     * @param why where given, says why a value is refused: the type and the values it holds, or
     *        the two nearest values a scale holds
     * @return size() words (a bit as 0 or 1), or nothing when the value does not fit the type or
     *         range (a string longer than its registers, a number out of range, a wrong type)
     */
    std::optional<QVector<uint16_t>> encode(const QVariant& value, QString* why = nullptr) const;

    /**
     * Reads a value typed by a person (a command line, a form): true/false/1/0 for bits, any
     * text for strings. Every number takes one rule: decimal digits, with a point and an
     * exponent where wanted ("1.5", "2e3"), a sign + or - in front; an integer without scale also
     * "0x" and hexadecimal digits. No group separators, blanks, "inf" or "nan". A choice's text
     * stands for its value. The value must then fit as encode() says, and be one admits() takes.
     * @param text the text typed
     * @param why where given, says why a text is refused
     * @return the value as the device will hold it (as decode() gives it back: an int for "1.0"
     *         of an int16, 21.6 for "21.6" of a float32), or nothing when the text names no
     *         value that fits
     */
    std::optional<QVariant> parse(const QString& text, QString* why = nullptr) const;

    /**
     * Whether a write takes @p value: within minimum() and maximum() where the map sets them, and
     * one of the choices where it has any.
     * @param value a value as decode() gives it
     * @param why where given, says why a value is refused, with the bounds or the choices
     */
    bool admits(const QVariant& value, QString* why = nullptr) const;

    /// @return the entry as a form shows it: types, bounds (the encoding's where the map sets
    ///         none), step, choices and texts; a string's length is two characters a register
    qz::gui::parameter_description form_description() const;
};

/**
 * The parameters of a device, each mapped onto Modbus registers or bits. Loaded from a JSON file:
 * @code{.json}
 * {"version": 1, "parameters": [
 *     {"id": "0x0010", "name": "Gain", "table": "holding", "address": 0, "type": "uint16"},
 *     {"id": "0x0011", "table": "holding", "address": 1, "type": "float32", "word_order": "little"},
 *     {"id": "0x0012", "name": "Mode", "table": "holding", "address": 3, "type": "uint16",
 *      "group": "Radio", "choices": [{"value": 0, "text": "Idle"}, {"value": 2, "text": "Transmit"}]},
 *     {"id": "0x0013", "name": "Frequency", "table": "holding", "address": 4, "type": "uint32",
 *      "scale": 0.001, "unit": "MHz", "minimum": 430, "maximum": 440, "description": "Carrier"}
 * ]}
 * The optional hints (unit, group, description, minimum, maximum, step, decimals, choices,
 * "format": "hex") are in the parameter's own units, after scale.
 * @endcode
 * @see register_entry_t
 */
class QZGUI_MODBUS_EXPORT register_map {
public:
    /// An empty map.
    register_map();

    /**
     * Loads a register map file.
     * @throws std::runtime_error naming the file, the entry and the fault (a missing or unreadable
     *         file, text that is not JSON, another version, a bad or repeated id, an unknown table
     *         or type, a bool in a register table, registers that overlap in one table or reach
     *         past address 65535, an initial value that does not fit, a hint the entry cannot
     *         have: a bound or choice the encoding cannot hold, a minimum above the maximum, two
     *         choices with one value or one without text, decimals outside 0..10, a step of zero
     *         or below, hex on a scaled or non-integer type, a hint of the wrong JSON type);
     *         nothing is returned then
     */
    static register_map load(const QString& path);

    /// @return the ids in the file's order
    QVector<uint32_t> ids() const;

    /// @return the entry of @p id, or null when the map has none
    const register_entry_t* find(uint32_t id) const;

    /// @return the entries in the file's order
    const QVector<register_entry_t>& entries() const { return _entries; }
    /// @return every entry as a form shows it, in the file's order, for qz::gui::build_form()
    QVector<qz::gui::parameter_description> descriptions() const;

private:
    QVector<register_entry_t> _entries;
    QHash<uint32_t, int> _index; // id to position in _entries
};

} // namespace qz::modbus

#endif
