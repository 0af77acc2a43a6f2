// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZ_MODULE_API_PROTO_EXCEPTION_H
#define QZ_MODULE_API_PROTO_EXCEPTION_H

#include "module_api/module_api_export.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace qz::api::proto {

/**
 * A failure of the protocol layer. Being a std::runtime_error, it is taken by handlers of that
 * class, unlike media_exception.
 */
class QZ_MODULE_API_EXPORT proto_exception : public std::runtime_error {
public:
    /// The kinds of protocol failure.
    enum exception_type_e : int32_t {
        no_error = 0,        ///< no failure
        general_error = 1,   ///< any other protocol failure
        no_device = 2,       ///< no device answers at the port and address
        response_error = 3,  ///< the response to a command was wrong
        invalid_result = 4,  ///< the response carried an invalid result value
        parameter_error = 5, ///< the parameter was refused
        crc_error = 6,       ///< a checksum did not match
        pipe_error = 7,      ///< the pipe transport failed
        ax25_error = 8,      ///< the AX.25 layer failed
        busy = 9             ///< another command is in progress
    };

    /**
     * Creates a protocol failure.
     * @param type the kind of failure
     * @param message free text returned by what()
     */
    proto_exception(exception_type_e type, const std::string& message);

    /// Destroys the failure; out of line so that the type information has one home.
    ~proto_exception() override;

    /// @return the kind of failure
    exception_type_e get_type() const;

private:
    exception_type_e _type;
};

} // namespace qz::api::proto

#endif
