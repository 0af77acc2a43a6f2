// SPDX-License-Identifier: BSD-3-Clause
// The parameters of the demo's device, all in this one place: ids, names, the values the
// simulated device starts with, and the mode choices. The register map beside the program says
// the same for a Modbus device; a test holds the two to each other.
#ifndef DEVICE_CONSOLE_DEVICE_PARAMETERS_H
#define DEVICE_CONSOLE_DEVICE_PARAMETERS_H

#include <qzgui/printable_text.h>

#include <QDateTime>
#include <QPair>
#include <QString>
#include <QVariant>
#include <QVector>

#include <cstdint>

namespace device_console {

enum parameter_id : uint32_t {
    id_output = 0x0001,    ///< output enabled, check box
    id_name = 0x0002,      ///< device name, line edit
    id_gain = 0x0003,      ///< gain in dB, spin box
    id_frequency = 0x0004, ///< frequency in MHz, double spin box
    id_mode = 0x0005,      ///< operating mode, combo box
    id_firmware = 0x0006,  ///< firmware version, label
    id_level = 0x0007,     ///< signal level in percent, progress bar
    id_clock = 0x0008,     ///< device clock, date-time edit
    id_address = 0x0009,   ///< bus address, 16-bit hexadecimal
    id_mask = 0x000A       ///< interrupt mask, 32-bit hexadecimal
};

struct parameter_t {
    parameter_id id;
    QString name;
    QVariant initial;
};

/// Every parameter of the device, in form order, with the value the simulated device starts with.
inline QVector<parameter_t> parameters()
{
    return {{id_output, QStringLiteral("Output enabled"), true},
            {id_name, QStringLiteral("Device name"), QStringLiteral("QZ-1000 north mast")},
            {id_gain, QStringLiteral("Gain (dB)"), 12},
            {id_frequency, QStringLiteral("Frequency"), 433.92},
            {id_mode, QStringLiteral("Mode"), 1u},
            {id_firmware, QStringLiteral("Firmware"), QStringLiteral("2.4.1")},
            {id_level, QStringLiteral("Signal level"), 63},
            {id_clock, QStringLiteral("Device clock"), QDateTime(QDate(2026, 11, 21), QTime(9, 30, 0))},
            {id_address, QStringLiteral("Bus address"), 0x1F},
            {id_mask, QStringLiteral("Interrupt mask"), int(0xFFFF0000u)}};
}

/// The operating modes' texts and the values the device uses; the extended band adds a beacon.
inline QVector<QPair<QString, QVariant>> mode_choices(bool extended)
{
    QVector<QPair<QString, QVariant>> items = {
        {QStringLiteral("Idle"), 0u}, {QStringLiteral("Receive"), 1u}, {QStringLiteral("Transmit"), 2u}};
    if (extended)
        items.append({QStringLiteral("Beacon"), 3u});
    return items;
}

/// "0x0003 Gain (dB)": how the log names a parameter.
inline QString parameter_name(uint32_t id)
{
    for (const parameter_t& p : parameters())
        if (p.id == id)
            return QStringLiteral("0x%1 %2").arg(id, 4, 16, QLatin1Char('0')).arg(p.name);
    return QStringLiteral("0x%1").arg(id, 4, 16, QLatin1Char('0'));
}

/// A value as the log shows it: the hexadecimal fields in hex, the rest as printable text.
inline QString format_value(uint32_t id, const QVariant& value)
{
    if (id == id_address || id == id_mask)
        return QStringLiteral("0x") + QString::number(uint(value.toInt()), 16).toUpper();
    return qz::gui::printable_value(value);
}

} // namespace device_console

#endif
