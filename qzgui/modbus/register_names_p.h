// SPDX-License-Identifier: BSD-3-Clause
// Internal: the names register maps give tables and types. Not installed.
#ifndef QZGUI_MODBUS_REGISTER_NAMES_P_H
#define QZGUI_MODBUS_REGISTER_NAMES_P_H

#include "qzgui/modbus/register_map.h"

namespace qz::modbus {

/// By table_e.
inline const char* const table_names[] = {"coil", "discrete", "input", "holding"};
/// By value_type_e.
inline const char* const type_names[] = {"bool", "int16", "uint16", "int32", "uint32", "float32", "string"};

inline bool is_32_bit(value_type_e type)
{
    return type == type_int32 || type == type_uint32 || type == type_float32;
}

} // namespace qz::modbus

#endif
