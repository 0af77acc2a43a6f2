// SPDX-License-Identifier: BSD-3-Clause
#include "module_api/error_descriptor.h"

namespace qz::api::proto {

error_descriptor::error_descriptor()
    : media_type(media_exception::no_error)
    , proto_type(proto_exception::no_error)
{}

error_descriptor::error_descriptor(const media_exception* media, const proto_exception* proto,
                                   const std::exception* other)
    : error_descriptor()
{
    if (media)
        media_type = media->get_type();
    if (proto)
        proto_type = proto->get_type();

    const std::exception* source = media ? static_cast<const std::exception*>(media)
        : proto                          ? static_cast<const std::exception*>(proto)
                                         : other;
    if (source)
        message = QString::fromUtf8(source->what());
}

} // namespace qz::api::proto
