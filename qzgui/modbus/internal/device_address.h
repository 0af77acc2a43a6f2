// SPDX-License-Identifier: BSD-3-Clause
// Internal: the device addresses of the Modbus module, read once for the client and the device
// simulator alike.
#ifndef QZGUI_MODBUS_INTERNAL_DEVICE_ADDRESS_H
#define QZGUI_MODBUS_INTERNAL_DEVICE_ADDRESS_H

#include <QSerialPort>
#include <QString>

namespace qz::modbus {

// Where a device is, as its address names it.
struct address_t {
    bool tcp = true;
    QString host;
    int port = 0;
    QString device;
    int baud = 19200;
    QSerialPort::Parity parity = QSerialPort::NoParity;
    int data = 8;
    int stop = 1;
    int unit = 1;
};

// Reads "tcp://HOST:PORT[?unit=N]" or "rtu:DEVICE[?baud=..&parity=..&data=..&stop=..&unit=N]".
// A server that picks its own port passes 0 as @p lowest_port.
// Throws std::invalid_argument naming the address and its fault.
address_t parse_address(const QString& address, int lowest_port = 1);

} // namespace qz::modbus

#endif
