// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZ_MODULE_API_MEDIA_EXCEPTION_H
#define QZ_MODULE_API_MEDIA_EXCEPTION_H

#include "module_api/module_api_export.h"

#include <cstdint>
#include <exception>
#include <string>

namespace qz::api::proto {

/**
 * A failure of the transport layer. Not a std::runtime_error.
 */
class QZ_MODULE_API_EXPORT media_exception : public std::exception {
public:
    /// The kinds of transport failure.
    enum exception_type_e : int32_t {
        no_error = 0,     ///< no failure
        no_device = 1,    ///< no device answers at the port and address
        not_open = 2,     ///< the transport is not open
        open_failed = 3,  ///< opening the transport failed
        read_failed = 4,  ///< reading from the transport failed
        write_failed = 5, ///< writing to the transport failed
        stopped = 6,      ///< the exchange was aborted
        general_error = 7 ///< any other transport failure
    };

    /**
     * Creates a transport failure.
     * @param type the kind of failure
     * @param message free text returned by what()
     */
    explicit media_exception(exception_type_e type, std::string message = {});

    /// @return the kind of failure
    exception_type_e get_type() const;

    /// @return the message given to the constructor
    const char* what() const noexcept override;

private:
    exception_type_e _type;
    std::string _message;
};

} // namespace qz::api::proto

#endif
