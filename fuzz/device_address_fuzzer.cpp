// SPDX-License-Identifier: BSD-3-Clause
// Feeds arbitrary text to the Modbus device address parser, as a client and as a server (which
// may take port 0), and checks that every address it takes is whole and reads back the same.
//
// Input: byte 0 bit 0 picks UTF-16 (see text_of()), bit 1 the server's lowest port 0; the rest is
// the address.
#include "fuzz_check.h"

#include <qzgui/printable_text.h>

#include "qzgui/modbus/internal/device_address.h"

#include <QCoreApplication>

#include <algorithm>
#include <stdexcept>

using qz::fuzz::check;
using qz::modbus::address_t;
using qz::modbus::parse_address;

namespace {

// The address written back in the form the parser documents.
QString written(const address_t& a)
{
    if (a.tcp) {
        const bool bracket = a.host.contains(QLatin1Char(':'))
            || (a.host.startsWith(QLatin1Char('[')) && a.host.endsWith(QLatin1Char(']')));
        return QStringLiteral("tcp://") + (bracket ? QLatin1Char('[') + a.host + QLatin1Char(']') : a.host)
            + QStringLiteral(":%1?unit=%2").arg(a.port).arg(a.unit);
    }
    const char* parity = a.parity == QSerialPort::EvenParity ? "even"
        : a.parity == QSerialPort::OddParity                 ? "odd"
                                                             : "none";
    // Put together piece by piece: a device name may hold "%1" itself.
    return QStringLiteral("rtu:") + a.device
        + QStringLiteral("?baud=%1&parity=%2&data=%3&stop=%4&unit=%5")
              .arg(a.baud)
              .arg(QLatin1String(parity))
              .arg(a.data)
              .arg(a.stop)
              .arg(a.unit);
}

bool same(const address_t& a, const address_t& b)
{
    return a.tcp == b.tcp && a.host == b.host && a.port == b.port && a.device == b.device && a.baud == b.baud
        && a.parity == b.parity && a.data == b.data && a.stop == b.stop && a.unit == b.unit;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    new QCoreApplication(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const int lowest_port = data[0] & 2 ? 0 : 1;
    const QString text = qz::fuzz::text_of(data, size);
    address_t a;
    try {
        a = parse_address(text, lowest_port);
    } catch (const std::invalid_argument& e) {
        // Read as a C string, as a host application shows it: nothing may cut it short.
        const QString message = QString::fromUtf8(e.what());
        check(message.toUtf8() == QByteArray(e.what()), "a refusal is whole UTF-8", message);
        // Text UTF-8 cannot carry would come out as "?".
        check(text.contains(QLatin1Char('?')) || !message.contains(QLatin1Char('?')),
              "a refusal loses nothing", message);
        check(message.startsWith(QStringLiteral("bad device address \"")), "a refusal says what it refuses",
              message);
        // As printable_text() shows it (tested on its own): escapes only where the address needs them.
        check(message.startsWith(
                  QStringLiteral("bad device address \"%1\": ").arg(qz::gui::printable_text(text))),
              "a refusal names the address", message);
        check(message.size() > message.lastIndexOf(QLatin1String("\": ")) + 3
                  && message.contains(QLatin1String("\": ")),
              "a refusal gives the fault", message);
        return 0;
    }
    check(text.startsWith(QLatin1String(a.tcp ? "tcp://" : "rtu:")), "the scheme is the address's own", text);
    if (a.tcp) {
        check(!a.host.isEmpty() && a.port >= lowest_port && a.port <= 65535 && a.unit >= 0 && a.unit <= 255,
              "a TCP address is whole", text);
    } else {
        check(!a.device.isEmpty() && !a.device.contains(QLatin1Char('?')) && a.baud >= 50 && a.baud <= 4000000
                  && a.data >= 5 && a.data <= 8 && a.stop >= 1 && a.stop <= 2 && a.unit >= 1 && a.unit <= 247,
              "a serial address is whole", text);
    }
    const QString again = written(a);
    try {
        check(same(parse_address(again, lowest_port), a), "an address reads back the same", again);
    } catch (const std::invalid_argument& e) {
        qz::fuzz::broken("an address written back is refused", QString::fromStdString(e.what()));
    }
    return 0;
}
