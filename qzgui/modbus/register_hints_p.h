// SPDX-License-Identifier: BSD-3-Clause
// Internal: the hints of a register map entry, read from its JSON object. Not installed.
#ifndef QZGUI_MODBUS_REGISTER_HINTS_P_H
#define QZGUI_MODBUS_REGISTER_HINTS_P_H

#include "qzgui/modbus/register_map.h"

#include <functional>

class QJsonObject;

namespace qz::modbus {

/**
 * Reads the hints of @p entry, whose place and type are known, from @p object.
 * @param fault called with the fault's text; does not return
 */
void read_hints(register_entry_t& entry, const QJsonObject& object,
                const std::function<void(const QString&)>& fault);

} // namespace qz::modbus

#endif
