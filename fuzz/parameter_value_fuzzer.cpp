// SPDX-License-Identifier: BSD-3-Clause
// Feeds arbitrary text to register_entry_t::parse(), the reader of values typed on a command line,
// for every value type, scaled and not, and checks what it takes against the format's own rules:
// numbers are checked character by character against a reading of the grammar written here, and
// every value taken must be written to the device and read back unchanged.
//
// Input: byte 0 picks the type (bits 0 to 2), the word order (bit 3) and a scale (bit 4); byte 1
// the scale (bits 0 to 2) and a string's registers (bits 3 to 5, plus 1); the rest is the text,
// in UTF-8.
#include "fuzz_check.h"

#include <qzgui/modbus/register_map.h>

#include <QCoreApplication>
#include <QLocale>

#include <cmath>
#include <limits>
#include <optional>

using qz::fuzz::check;
using namespace qz::modbus;

namespace {

constexpr double scales[] = {0.1, 0.5, -0.25, 1e-5, 1000, 3, 0.001, 1e-9};

// The grammar of typed numbers, read here character by character: a sign + or -, then decimal
// digits with at most one point and at least one digit, then an optional exponent; or, where
// @p hex, "0x" and hexadecimal digits. @return the number, or nothing for any other text
std::optional<double> number_of_text(const QString& text, bool hex)
{
    int i = 0;
    const int n = int(text.size());
    const bool negative = n > 0 && text[0] == QLatin1Char('-');
    if (n > 0 && (text[0] == QLatin1Char('+') || negative))
        ++i;
    if (hex && i + 2 < n + 1 && text.mid(i, 2).compare(QLatin1String("0x"), Qt::CaseInsensitive) == 0) {
        double magnitude = 0;
        if (i + 2 == n)
            return std::nullopt;
        for (int k = i + 2; k < n; ++k) {
            const int digit = QStringLiteral("0123456789abcdef").indexOf(text[k].toLower());
            if (digit < 0 || text[k].unicode() > 127)
                return std::nullopt;
            magnitude = magnitude * 16 + digit;
        }
        return negative ? -magnitude : magnitude;
    }
    int digits = 0, points = 0;
    const int start = i;
    for (; i < n && (text[i].isDigit() || text[i] == QLatin1Char('.')) && text[i].unicode() < 128; ++i)
        (text[i] == QLatin1Char('.') ? points : digits)++;
    if (digits == 0 || points > 1)
        return std::nullopt;
    if (i < n && (text[i] == QLatin1Char('e') || text[i] == QLatin1Char('E'))) {
        ++i;
        if (i < n && (text[i] == QLatin1Char('+') || text[i] == QLatin1Char('-')))
            ++i;
        const int exponent_start = i;
        while (i < n && text[i].isDigit() && text[i].unicode() < 128)
            ++i;
        if (i == exponent_start)
            return std::nullopt;
    }
    if (i != n)
        return std::nullopt;
    bool ok = false;
    const double magnitude = QLocale::c().toDouble(text.mid(start), &ok);
    if (!ok)
        return std::numeric_limits<double>::infinity(); // too large for a double
    return negative ? -magnitude : magnitude;
}

std::pair<double, double> range_of(value_type_e type)
{
    switch (type) {
    case type_int16:
        return {-32768, 32767};
    case type_uint16:
        return {0, 65535};
    case type_int32:
        return {-2147483648.0, 2147483647.0};
    default:
        return {0, 4294967295.0};
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    new QCoreApplication(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    register_entry_t e;
    e.type = value_type_e(data[0] % 7);
    e.table = e.type == type_bool ? coil : holding;
    e.little_word_order = data[0] & 8;
    e.size = e.type == type_string                                                  ? 1 + ((data[1] >> 3) & 7)
        : (e.type == type_int32 || e.type == type_uint32 || e.type == type_float32) ? 2
                                                                                    : 1;
    if ((data[0] & 16) && e.type != type_bool && e.type != type_string)
        e.scale = scales[data[1] & 7];
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data + 2), int(size - 2));

    const std::optional<QVariant> value = e.parse(text);
    if (e.type == type_bool) {
        const bool named = text == QLatin1String("true") || text == QLatin1String("false")
            || text == QLatin1String("1") || text == QLatin1String("0");
        check(bool(value) == named, "a bit is true, false, 1 or 0", text);
        if (value)
            check(value->userType() == QMetaType::Bool
                      && value->toBool() == (text == QLatin1String("true") || text == QLatin1String("1")),
                  "a bit reads as it is named", text);
    } else if (e.type != type_string && e.type != type_float32 && !e.scale) {
        const std::optional<double> number = number_of_text(text, true);
        const auto [low, high] = range_of(e.type);
        const bool fits = number && std::floor(*number) == *number && *number >= low && *number <= high;
        check(bool(value) == fits, "a whole number is taken exactly when it fits", text);
        if (value) {
            const bool is_signed = e.type == type_int16 || e.type == type_int32;
            check(value->userType() == (is_signed ? QMetaType::Int : QMetaType::UInt)
                      && value->toDouble() == *number,
                  "a whole number keeps its value", text);
        }
    } else if (value && e.type != type_string) {
        check(number_of_text(text, false) && value->userType() == QMetaType::Double,
              "a real number is written in decimal digits", text);
    }
    if (!value)
        return 0;

    // Every value taken is one the device can hold, and holds unchanged.
    const std::optional<QVector<uint16_t>> words = e.encode(*value);
    check(words && words->size() == e.size, "a value taken can be written", text);
    const QVariant read = e.decode(*words);
    check(read.userType() == value->userType(), "a value reads back as its type", text);
    const std::optional<QVector<uint16_t>> again = e.encode(read);
    check(again && *again == *words, "a value read back writes the same words", text);
    if (e.type == type_string) {
        QString stored = text;
        while (stored.endsWith(QChar(0)))
            stored.chop(1);
        check(read.toString() == stored, "a text reads back as typed, trailing zeros aside", text);
    } else if (e.type == type_float32 && !e.scale) {
        // Past the largest float, but within half a step, a value rounds to the largest.
        const double number = *number_of_text(text, false);
        const float largest = std::numeric_limits<float>::max();
        const float typed = std::fabs(number) <= double(largest) ? float(number)
            : number > 0                                         ? largest
                                                                 : -largest;
        check(float(read.toDouble()) == typed && qz::fuzz::same_value(read, *value),
              "a float32 reads back as the float nearest the typed value", text);
    } else if (!e.scale) {
        check(qz::fuzz::same_value(read, *value), "a whole number reads back unchanged", text);
    }
    return 0;
}
