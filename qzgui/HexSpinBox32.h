// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_HEXSPINBOX32_H
#define QZGUI_HEXSPINBOX32_H

#include "qzgui/HexSpinBox.h"

namespace qz::gui {

/**
 * @class HexSpinBox32 HexSpinBox32.h <qzgui/HexSpinBox32.h>
 *
 * A HexSpinBox over every 32-bit pattern, 0x0 to 0xFFFFFFFF, constructible from its parent
 * alone, as forms made with Qt Designer (and uic) create their widgets. The Designer plugin offers it in the
 * "qzgui" group.
 * @see HexSpinBox
 */
class HexSpinBox32 : public HexSpinBox {
public:
    /// Creates a 32-bit hexadecimal spin box.
    explicit HexSpinBox32(QWidget* parent = nullptr)
        : HexSpinBox(false, parent)
    {}
};

} // namespace qz::gui

#endif
