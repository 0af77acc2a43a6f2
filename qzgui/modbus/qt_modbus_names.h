// SPDX-License-Identifier: BSD-3-Clause
// Internal: the Qt SerialBus names that differ between Qt 5 and Qt 6. Not installed.
#ifndef QZGUI_MODBUS_QT_MODBUS_NAMES_H
#define QZGUI_MODBUS_QT_MODBUS_NAMES_H

#include <QModbusDevice>
#include <QtGlobal>

// Qt 6 renamed the RTU master and slave to client and server.
#if QT_VERSION_MAJOR < 6
#include <QModbusRtuSerialMaster>
#include <QModbusRtuSerialSlave>
namespace qz::modbus {
using rtu_client = QModbusRtuSerialMaster;
using rtu_server = QModbusRtuSerialSlave;
// A reply that arrived but does not decode as an answer to the request: Qt 5 has no word of its
// own for it and says UnknownError, Qt 6 says InvalidResponseError.
constexpr QModbusDevice::Error invalid_response_error = QModbusDevice::UnknownError;
} // namespace qz::modbus
#else
#include <QModbusRtuSerialClient>
#include <QModbusRtuSerialServer>
namespace qz::modbus {
using rtu_client = QModbusRtuSerialClient;
using rtu_server = QModbusRtuSerialServer;
constexpr QModbusDevice::Error invalid_response_error = QModbusDevice::InvalidResponseError;
} // namespace qz::modbus
#endif

#endif
