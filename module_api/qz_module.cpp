// SPDX-License-Identifier: BSD-3-Clause
#include "module_api/qz_module.h"

namespace qz::api::proto {

// Out of line so that the virtual tables have a single home in the shared library.
qz_media::~qz_media() = default;
qz_module::~qz_module() = default;

} // namespace qz::api::proto
