// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/qzgui.h"

namespace qz::gui {

qzgui::qzgui() = default;

} // namespace qz::gui
