// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/internal/device_address.h"

#include "qzgui/printable_text.h"

#include <QStringList>

#include <algorithm>
#include <stdexcept>

namespace qz::modbus {

namespace {

bool is_control(QChar c)
{
    return c.unicode() < 0x20 || c.unicode() == 0x7F;
}

[[noreturn]] void bad_address(const QString& address, const QString& fault)
{
    throw std::invalid_argument(QStringLiteral("bad device address \"%1\": %2")
                                    .arg(qz::gui::printable_text(address), fault)
                                    .toStdString());
}

// A whole number in [low, high] written in decimal digits only.
int setting(const QString& address, const QString& key, const QString& text, int low, int high)
{
    bool ok = !text.isEmpty()
        && std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.isDigit() && c.unicode() < 128; });
    const qlonglong value = ok ? text.toLongLong(&ok) : 0;
    if (!ok || value < low || value > high)
        bad_address(address,
                    QStringLiteral("%1 is not a whole number from %2 to %3").arg(key).arg(low).arg(high));
    return int(value);
}

} // namespace

address_t parse_address(const QString& address, int lowest_port)
{
    // A zero or a line break in a host or device name would name another one to the system.
    if (std::any_of(address.cbegin(), address.cend(), is_control))
        bad_address(address, QStringLiteral("it holds a control character"));
    address_t a;
    QString query;
    if (address.startsWith(QLatin1String("tcp://"))) {
        const QString rest = address.mid(6);
        const int question = rest.indexOf(QLatin1Char('?'));
        const QString authority = question < 0 ? rest : rest.left(question);
        query = question < 0 ? QString() : rest.mid(question + 1);
        // The port after the last colon; a bracketed IPv6 host keeps its own colons.
        const int colon = authority.lastIndexOf(QLatin1Char(':'));
        if (colon <= 0 || authority.contains(QLatin1Char('/')) || authority.contains(QLatin1Char('@')))
            bad_address(address, QStringLiteral("a TCP address is tcp://HOST:PORT"));
        a.host = authority.left(colon);
        if (a.host.startsWith(QLatin1Char('[')) && a.host.endsWith(QLatin1Char(']')))
            a.host = a.host.mid(1, a.host.size() - 2);
        a.port = setting(address, QStringLiteral("the port"), authority.mid(colon + 1), lowest_port, 65535);
        if (a.host.isEmpty())
            bad_address(address, QStringLiteral("the host is missing"));
    } else if (address.startsWith(QLatin1String("rtu:"))) {
        a.tcp = false;
        const QString rest = address.mid(4);
        const int question = rest.indexOf(QLatin1Char('?'));
        a.device = question < 0 ? rest : rest.left(question);
        query = question < 0 ? QString() : rest.mid(question + 1);
        if (a.device.isEmpty())
            bad_address(address, QStringLiteral("the serial device is missing"));
    } else {
        bad_address(address, QStringLiteral("it starts with neither tcp:// nor rtu:"));
    }
    if (address.contains(QLatin1Char('?')) && query.isEmpty())
        bad_address(address, QStringLiteral("the settings after \"?\" are missing"));
    QStringList seen;
    const QStringList pairs = query.isEmpty() ? QStringList() : query.split(QLatin1Char('&'));
    for (const QString& pair : pairs) {
        const int equals = pair.indexOf(QLatin1Char('='));
        const QString key = pair.left(equals);
        const QString value = equals < 0 ? QString() : pair.mid(equals + 1);
        if (equals < 0)
            bad_address(address, QStringLiteral("\"%1\" is not KEY=VALUE").arg(pair));
        if (seen.contains(key))
            bad_address(address, QStringLiteral("%1 is given twice").arg(key));
        seen.append(key);
        if (key == QLatin1String("unit"))
            a.unit = a.tcp ? setting(address, key, value, 0, 255) : setting(address, key, value, 1, 247);
        else if (a.tcp)
            bad_address(address, QStringLiteral("a TCP address takes only unit, not %1").arg(key));
        else if (key == QLatin1String("baud"))
            a.baud = setting(address, key, value, 50, 4000000);
        else if (key == QLatin1String("data") && value != QLatin1String("8"))
            bad_address(address, QStringLiteral("data is 8: Modbus RTU sends 8 data bits"));
        else if (key == QLatin1String("data"))
            a.data = 8;
        else if (key == QLatin1String("stop"))
            a.stop = setting(address, key, value, 1, 2);
        else if (key == QLatin1String("parity") && value == QLatin1String("none"))
            a.parity = QSerialPort::NoParity;
        else if (key == QLatin1String("parity") && value == QLatin1String("even"))
            a.parity = QSerialPort::EvenParity;
        else if (key == QLatin1String("parity") && value == QLatin1String("odd"))
            a.parity = QSerialPort::OddParity;
        else if (key == QLatin1String("parity"))
            bad_address(address, QStringLiteral("parity is none, even or odd"));
        else
            bad_address(address, QStringLiteral("unknown setting %1").arg(key));
    }
    return a;
}

} // namespace qz::modbus
