// SPDX-License-Identifier: BSD-3-Clause
// Feeds arbitrary text and cursor positions to HexSpinBox::validate() of a 16-bit and a 32-bit box
// and checks what every edit must leave behind.
//
// Input: byte 0 selects the box (bit 0: 16-bit) and the decoding (bit 1: UTF-16, else UTF-8),
// bytes 1 and 2 the cursor position (signed 16-bit), the rest is the text.
#include "qzgui/HexSpinBox.h"

#include <QApplication>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using qz::gui::HexSpinBox;

namespace {

QApplication* app = nullptr;
HexSpinBox* box16 = nullptr;
HexSpinBox* box32 = nullptr;

[[noreturn]] void broken(const char* what, const QString& input, const QString& output)
{
    std::fprintf(stderr, "invariant broken: %s\n  input:  \"%s\"\n  output: \"%s\"\n", what,
                 qPrintable(input), qPrintable(output));
    std::abort();
}

// Whether every surrogate in the text is part of a pair.
bool well_formed(const QString& text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate())
            ++i;
        else if (text[i].isSurrogate())
            return false;
    }
    return true;
}

void check(bool holds, const char* what, const QString& input, const QString& output)
{
    if (!holds)
        broken(what, input, output);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    app = new QApplication(*argc, *argv);
    box16 = new HexSpinBox(true);
    box32 = new HexSpinBox(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    const bool is16Bit = data[0] & 1;
    const bool utf16 = data[0] & 2;
    int16_t raw_pos;
    std::memcpy(&raw_pos, data + 1, sizeof raw_pos);
    const char* text = reinterpret_cast<const char*>(data + 3);
    const int length = int(size - 3);
    const QString input = utf16 ? QString::fromUtf16(reinterpret_cast<const char16_t*>(text), length / 2)
                                : QString::fromUtf8(text, length);
    const HexSpinBox& box = is16Bit ? *box16 : *box32;

    QString output = input;
    int pos = raw_pos;
    const QValidator::State state = box.validate(output, pos);

    const QString untrimmed = input.startsWith(QLatin1String("0x")) ? input.mid(2) : input;
    const QString digits = untrimmed.trimmed();
    // The cursor moves left by exactly the blanks trimmed, unclamped.
    check(pos == raw_pos - (untrimmed.size() - digits.size()), "cursor not moved by the trimmed blanks",
          input, output);
    if (digits.isEmpty()) {
        check(state == QValidator::Intermediate, "empty text not intermediate", input, output);
        check(output == input, "empty text rewritten", input, output);
        return 0;
    }
    check(state != QValidator::Intermediate, "non-empty text intermediate", input, output);
    check(output.startsWith(QLatin1String("0x")), "rewritten text without 0x", input, output);
    if (!well_formed(input)) {
        // Qt 5.15's case mapping garbles unpaired surrogates, so the rewrite is not checked; such
        // text is never a number, and the editor discards the rewrite of an Invalid edit.
        check(state == QValidator::Invalid, "ill-formed text not invalid", input, output);
        return 0;
    }
    const QString after = output.mid(2);
    check(after == after.toUpper(), "rewritten text not upper-case", input, output);

    if (state == QValidator::Acceptable) {
        // What the editor keeps is taken as it stands on a second look. (An Invalid edit is thrown
        // away by the editor, so its rewrite need not hold up: "\uFB00" upper-cases to "FF".)
        QString again = output;
        int again_pos = 0;
        check(box.validate(again, again_pos) == state, "verdict changes on second look", input, output);
        check(again == output, "text changes on second look", input, output);

        const int value = box.valueFromText(output);
        if (is16Bit)
            check(uint(value) <= 0xFFFF, "accepted value beyond 16 bits", input, output);
        const QString shown = box.textFromValue(value);
        check(box.valueFromText(shown) == value, "shown value reads back differently", input, output);
        QString display = QStringLiteral("0x") + shown;
        int display_pos = display.size();
        check(box.validate(display, display_pos) == QValidator::Acceptable, "shown value not acceptable",
              input, output);
    }
    return 0;
}
