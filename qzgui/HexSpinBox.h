// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_HEXSPINBOX_H
#define QZGUI_HEXSPINBOX_H

#include "qzgui/qzgui_export.h"

#include <QSpinBox>

namespace qz::gui {

/**
 * @class HexSpinBox HexSpinBox.h <qzgui/HexSpinBox.h>
 *
 * A spin box that shows and accepts its value in hexadecimal: a lower-case "0x" prefix followed by
 * upper-case digits without leading zeros ("0x1F").
 *
 * A 16-bit box ranges from 0 to 0xFFFF. A 32-bit box covers every 32-bit pattern: it keeps the
 * full signed int range as its value() and shows each value as an unsigned number, so -1 reads
 * "0xFFFFFFFF". Use hexValue() and setHexValue() to work with the unsigned number directly.
 *
 * While the user types, blanks around the digits are dropped and the digits are upper-cased; text
 * that is not a hexadecimal number within the range is refused at once rather than held as
 * intermediate input.
 *
 * @code
 * auto* address = new qz::gui::HexSpinBox(true, this);  // 0x0 to 0xFFFF
 * address->setHexValue(0x1F);                            // shows 0x1F
 * @endcode
 */
class QZGUI_EXPORT HexSpinBox : public QSpinBox {
public:
    /**
     * Creates a hexadecimal spin box.
     * @param is16Bit true limits the range to 0..0xFFFF; false allows every 32-bit pattern
     * @param parent the parent widget
     */
    explicit HexSpinBox(bool is16Bit, QWidget* parent = nullptr);

    /// Destroys the spin box.
    ~HexSpinBox() override;

    /**
     * Checks and normalises the edited text. A "0x" prefix is set aside, blanks at both ends are
     * removed (moving @p pos left by their number) and the digits are upper-cased behind a fresh
     * "0x". Empty text is left alone as intermediate input.
     * @param input the whole edited text, prefix included; rewritten unless it is empty
     * @param pos the cursor position; lowered by the number of blanks removed, without clamping
     *        (it may fall below 0 or stay past the end; the spin box's editor copes with both)
     * @return Intermediate for empty text, Acceptable for a hexadecimal number within the range,
     *         Invalid for anything else
     */
    QValidator::State validate(QString& input, int& pos) const override;

    /**
     * @param text the text to interpret, with or without "0x"
     * @return the text read as an unsigned 32-bit hexadecimal number, its bits taken as int;
     *         0 when the text is not such a number
     */
    int valueFromText(const QString& text) const override;

    /**
     * @param value the value to show
     * @return the value's 32 bits as an upper-case unsigned hexadecimal number, without prefix
     *         or leading zeros (-1 gives "FFFFFFFF")
     */
    QString textFromValue(int value) const override;

    /**
     * @return the current value as an unsigned 32-bit number (the same bits as value())
     * @see setHexValue()
     */
    unsigned int hexValue() const;

    /**
     * Sets the value from an unsigned 32-bit number, taking its bits as int. In a 16-bit box the
     * range keeps larger numbers out, as for setValue(). Emits valueChanged() when the value changes.
     * @param value the new value
     * @see hexValue()
     */
    void setHexValue(unsigned int value);

private:
    bool is16Bit;
};

} // namespace qz::gui

#endif
