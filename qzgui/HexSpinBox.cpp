// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/HexSpinBox.h"

#include <limits>

namespace qz::gui {

namespace {
const QString hex_prefix = QStringLiteral("0x");
constexpr uint max_16_bit = 0xFFFF;
} // namespace

HexSpinBox::HexSpinBox(bool is16Bit, QWidget* parent)
    : QSpinBox(parent)
    , is16Bit(is16Bit)
{
    setPrefix(hex_prefix);
    setDisplayIntegerBase(16);
    if (is16Bit)
        setRange(0, int(max_16_bit));
    else
        setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
}

HexSpinBox::~HexSpinBox() = default;

QValidator::State HexSpinBox::validate(QString& input, int& pos) const
{
    // Only the lower-case prefix is ours; an upper-case "0X" stays in the digits and is judged by
    // how toUInt() reads it.
    QString digits = input.startsWith(hex_prefix) ? input.mid(hex_prefix.size()) : input;
    const QString trimmed = digits.trimmed();
    // The prefix characters are not subtracted: the prefix is put back in front below. Nor is the
    // position clamped: one inside leading blanks goes below 0, and the spin box's editor keeps
    // its cursor in the text.
    pos -= digits.size() - trimmed.size();
    if (trimmed.isEmpty())
        return QValidator::Intermediate;

    input = hex_prefix + trimmed.toUpper();

    bool ok = false;
    const uint number = trimmed.toUInt(&ok, 16);
    // Qt 6's toUInt() stops at a NUL and reads what came before; Qt 5 refuses such text, as we do.
    ok = ok && !trimmed.contains(QChar(0));
    if (ok && (!is16Bit || number <= max_16_bit))
        return QValidator::Acceptable;
    return QValidator::Invalid;
}

int HexSpinBox::valueFromText(const QString& text) const
{
    return int(text.toUInt(nullptr, 16));
}

QString HexSpinBox::textFromValue(int value) const
{
    return QString::number(uint(value), 16).toUpper();
}

unsigned int HexSpinBox::hexValue() const
{
    return uint(value());
}

void HexSpinBox::setHexValue(unsigned int value)
{
    setValue(int(value));
}

} // namespace qz::gui
