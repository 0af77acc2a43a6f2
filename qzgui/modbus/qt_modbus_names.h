// SPDX-License-Identifier: BSD-3-Clause
// Internal: the Qt SerialBus classes whose names differ between Qt 5 and Qt 6. Not installed.
#ifndef QZGUI_MODBUS_QT_MODBUS_NAMES_H
#define QZGUI_MODBUS_QT_MODBUS_NAMES_H

#include <QtGlobal>

// Qt 6 renamed the RTU master and slave to client and server.
#if QT_VERSION_MAJOR < 6
#include <QModbusRtuSerialMaster>
#include <QModbusRtuSerialSlave>
namespace qz::modbus {
using rtu_client = QModbusRtuSerialMaster;
using rtu_server = QModbusRtuSerialSlave;
} // namespace qz::modbus
#else
#include <QModbusRtuSerialClient>
#include <QModbusRtuSerialServer>
namespace qz::modbus {
using rtu_client = QModbusRtuSerialClient;
using rtu_server = QModbusRtuSerialServer;
} // namespace qz::modbus
#endif

#endif
