// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_SIMULATOR_FAULT_H
#define QZGUI_SIMULATOR_FAULT_H

#include "module_api/media_exception.h"
#include "module_api/proto_exception.h"

#include <cstdint>
#include <exception>
#include <string>

namespace qz::sim {

/**
 * An exception that is neither a module exception nor a std::runtime_error: the kind that the
 * worker's narrower handlers let pass.
 */
class plain_error : public std::exception {
public:
    /// @param message what() returns it
    explicit plain_error(std::string message);
    /// @return the message
    const char* what() const noexcept override;

private:
    std::string _message;
};

/**
 * A scripted failure: which exception class a simulated call throws, with which kind and message.
 */
struct fault_t {
    /// The exception class thrown.
    enum class_e {
        media_class,   ///< qz::api::proto::media_exception
        proto_class,   ///< qz::api::proto::proto_exception
        runtime_class, ///< std::runtime_error
        plain_class    ///< plain_error, a std::exception that is not a std::runtime_error
    };

    class_e exception_class = media_class;
    int32_t type = 0; ///< media_exception or proto_exception kind
    std::string message;

    /// A media_exception of kind @p type.
    static fault_t media(api::proto::media_exception::exception_type_e type,
                         std::string message = "media fault");
    /// A proto_exception of kind @p type.
    static fault_t proto(api::proto::proto_exception::exception_type_e type,
                         std::string message = "proto fault");
    /// A std::runtime_error.
    static fault_t runtime(std::string message = "runtime fault");
    /// A plain_error.
    static fault_t plain(std::string message = "plain fault");

    /// Throws the exception this fault describes.
    [[noreturn]] void raise() const;
};

} // namespace qz::sim

#endif
