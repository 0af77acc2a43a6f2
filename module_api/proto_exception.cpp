// SPDX-License-Identifier: BSD-3-Clause
#include "module_api/proto_exception.h"

namespace qz::api::proto {

proto_exception::proto_exception(exception_type_e type, const std::string& message)
    : std::runtime_error(message)
    , _type(type)
{}

proto_exception::~proto_exception() = default;

proto_exception::exception_type_e proto_exception::get_type() const
{
    return _type;
}

} // namespace qz::api::proto
