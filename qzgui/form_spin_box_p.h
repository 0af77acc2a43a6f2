// SPDX-License-Identifier: BSD-3-Clause
// Internal: the integer spin box of a built form. Not installed.
#ifndef QZGUI_FORM_SPIN_BOX_P_H
#define QZGUI_FORM_SPIN_BOX_P_H

#include "qzgui/bounded_entry_p.h"

#include <QSpinBox>

namespace qz::gui {

/**
 * The QSpinBox of an integer field: a value is taken when the entry ends (Enter, leaving the
 * field, a step), and an entry beyond the range is refused whole rather than cut to its prefix.
 */
class form_spin_box : public QSpinBox, public bounded_entry {
public:
    explicit form_spin_box(QWidget* parent = nullptr);
    ~form_spin_box() override;

    QString range_text() const override;

protected:
    QValidator::State validate(QString& text, int& position) const override;
    void fixup(QString& text) const override;

private:
    box_t _box() const;
};

} // namespace qz::gui

#endif
