// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZ_MODULE_API_ERROR_DESCRIPTOR_H
#define QZ_MODULE_API_ERROR_DESCRIPTOR_H

#include "module_api/media_exception.h"
#include "module_api/module_api_export.h"
#include "module_api/proto_exception.h"

#include <QMetaType>
#include <QString>

namespace qz::api::proto {

/**
 * A copyable description of one failure: its message and, for transport and protocol failures,
 * its kind. Every error signal of the device worker carries one.
 */
class QZ_MODULE_API_EXPORT error_descriptor {
public:
    /// Creates an empty descriptor: no message, both kinds 0.
    error_descriptor();

    /**
     * Describes a caught exception. Callers pass exactly one non-null pointer: a media_exception in
     * @p media, a proto_exception in @p proto, any other std::exception in @p other.
     * The message is what() of that object, decoded as UTF-8; the kind of a media or protocol
     * failure is taken from it, the other kind stays 0. With no object at all the descriptor
     * stays empty; should several be given, the message comes from the first in argument order.
     */
    error_descriptor(const media_exception* media, const proto_exception* proto, const std::exception* other);

    QString message; ///< what() of the failure, decoded as UTF-8 (possibly empty)
    QString details; ///< carried along, never read by qzgui
    media_exception::exception_type_e media_type; ///< kind of a transport failure, else 0
    proto_exception::exception_type_e proto_type; ///< kind of a protocol failure, else 0
};

} // namespace qz::api::proto

Q_DECLARE_METATYPE(qz::api::proto::error_descriptor)

#endif
