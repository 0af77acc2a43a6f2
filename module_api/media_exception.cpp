// SPDX-License-Identifier: BSD-3-Clause
#include "module_api/media_exception.h"

#include <utility>

namespace qz::api::proto {

media_exception::media_exception(exception_type_e type, std::string message)
    : _type(type)
    , _message(std::move(message))
{}

media_exception::exception_type_e media_exception::get_type() const
{
    return _type;
}

const char* media_exception::what() const noexcept
{
    return _message.c_str();
}

} // namespace qz::api::proto
