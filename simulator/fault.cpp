// SPDX-License-Identifier: BSD-3-Clause
#include "simulator/fault.h"

#include <stdexcept>
#include <utility>

namespace qz::sim {

using api::proto::media_exception;
using api::proto::proto_exception;

plain_error::plain_error(std::string message)
    : _message(std::move(message))
{}

const char* plain_error::what() const noexcept
{
    return _message.c_str();
}

fault_t fault_t::media(media_exception::exception_type_e type, std::string message)
{
    return {media_class, type, std::move(message)};
}

fault_t fault_t::proto(proto_exception::exception_type_e type, std::string message)
{
    return {proto_class, type, std::move(message)};
}

fault_t fault_t::runtime(std::string message)
{
    return {runtime_class, 0, std::move(message)};
}

fault_t fault_t::plain(std::string message)
{
    return {plain_class, 0, std::move(message)};
}

void fault_t::raise() const
{
    switch (exception_class) {
    case media_class:
        throw media_exception(media_exception::exception_type_e(type), message);
    case proto_class:
        throw proto_exception(proto_exception::exception_type_e(type), message);
    case runtime_class:
        throw std::runtime_error(message);
    case plain_class:
        break;
    }
    throw plain_error(message);
}

} // namespace qz::sim
