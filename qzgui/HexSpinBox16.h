// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_HEXSPINBOX16_H
#define QZGUI_HEXSPINBOX16_H

#include "qzgui/HexSpinBox.h"

namespace qz::gui {

/**
 * @class HexSpinBox16 HexSpinBox16.h <qzgui/HexSpinBox16.h>
 *
 * A HexSpinBox over 0x0 to 0xFFFF, constructible from its parent
 * alone, as forms made with Qt Designer (and uic) create their widgets. The Designer plugin offers it in the
 * "qzgui" group.
 * @see HexSpinBox
 */
class HexSpinBox16 : public HexSpinBox {
public:
    /// Creates a 16-bit hexadecimal spin box.
    explicit HexSpinBox16(QWidget* parent = nullptr)
        : HexSpinBox(true, parent)
    {}
};

} // namespace qz::gui

#endif
