// SPDX-License-Identifier: BSD-3-Clause
// Internal: the integer spin box of a built form. Not installed.
#ifndef QZGUI_FORM_SPIN_BOX_P_H
#define QZGUI_FORM_SPIN_BOX_P_H

#include "qzgui/bounded_entry_p.h"

#include <QSpinBox>

namespace qz::gui {

/// The QSpinBox of an integer field: see bounded_box.
using form_spin_box = bounded_box<QSpinBox>;

} // namespace qz::gui

#endif
