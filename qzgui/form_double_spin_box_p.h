// SPDX-License-Identifier: BSD-3-Clause
// Internal: the double spin box of a built form. Not installed.
#ifndef QZGUI_FORM_DOUBLE_SPIN_BOX_P_H
#define QZGUI_FORM_DOUBLE_SPIN_BOX_P_H

#include "qzgui/bounded_entry_p.h"

#include <QDoubleSpinBox>

namespace qz::gui {

/**
 * The QDoubleSpinBox of a built form, taking values and refusing entries beyond its range as
 * every bounded_box does. With exact_decimals (a field without a decimals hint) it keeps every
 * double exactly and shows each as its shortest decimal, so a device's 24.25 reads 24.25, not
 * 24.3, and 24.5 reads 24.5, not 24.50000; fewer decimals, set here or by a widget profile, round
 * as usual.
 */
class form_double_spin_box : public bounded_box<QDoubleSpinBox> {
public:
    /// The decimals that mean "every double exactly": the most QDoubleSpinBox takes.
    static constexpr int exact_decimals = 323;

    using bounded_box::bounded_box;
    ~form_double_spin_box() override;

    QString textFromValue(double value) const override;
};

} // namespace qz::gui

#endif
