// SPDX-License-Identifier: BSD-3-Clause
// Internal: the names register maps give tables and types. Not installed.
#ifndef QZGUI_MODBUS_REGISTER_NAMES_P_H
#define QZGUI_MODBUS_REGISTER_NAMES_P_H

#include "qzgui/modbus/register_map.h"

#include <cstdint>
#include <limits>
#include <utility>

namespace qz::modbus {

/// By table_e.
inline const char* const table_names[] = {"coil", "discrete", "input", "holding"};
/// By value_type_e.
inline const char* const type_names[] = {"bool", "int16", "uint16", "int32", "uint32", "float32", "string"};

inline bool is_32_bit(value_type_e type)
{
    return type == type_int32 || type == type_uint32 || type == type_float32;
}

/// The raw integer range of an integer type, as doubles (exact for every bound).
inline std::pair<double, double> raw_range(value_type_e type)
{
    switch (type) {
    case type_int16:
        return {-32768, 32767};
    case type_uint16:
        return {0, 65535};
    case type_int32:
        return {double(std::numeric_limits<int32_t>::min()), double(std::numeric_limits<int32_t>::max())};
    case type_uint32:
        return {0, double(std::numeric_limits<uint32_t>::max())};
    default:
        return {0, 1};
    }
}

} // namespace qz::modbus

#endif
