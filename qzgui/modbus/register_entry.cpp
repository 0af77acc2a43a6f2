// SPDX-License-Identifier: BSD-3-Clause
// The values of register map entries: decoding words, encoding values and reading typed ones.
#include "qzgui/modbus/register_map.h"
#include "qzgui/modbus/register_names_p.h"

#include "qzgui/internal/numbers.h"
#include "qzgui/printable_text.h"

#include <QRegularExpression>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace qz::modbus {

namespace {

using qz::gui::number_text;

// A number the variant holds, when it holds one (a bool is not a number here).
std::optional<double> number_of(const QVariant& value)
{
    return qz::gui::holds_number(value) ? std::optional<double>(value.toDouble()) : std::nullopt;
}

// A finite decimal: mantissa × 10^exponent. Products of a raw value (at most ten digits, or the
// nine of a float) and a scale (at most seventeen) fit the mantissa.
struct decimal_t {
    bool negative = false;
    unsigned __int128 mantissa = 0;
    int exponent = 0;
};

// Reads the digits that std::to_chars wrote: "-2.5e-01", "21.6", "1000".
decimal_t decimal_of(const char* first, const char* last)
{
    decimal_t d;
    bool after_point = false;
    for (const char* p = first; p != last; ++p) {
        if (*p == '-') {
            d.negative = true;
        } else if (*p == '.') {
            after_point = true;
        } else if (*p == 'e') {
            // to_chars writes no NUL: the exponent ends at last.
            const bool minus = p + 1 != last && p[1] == '-';
            int exponent = 0;
            for (const char* q = p + 1 + (p + 1 != last && (p[1] == '-' || p[1] == '+')); q != last; ++q)
                exponent = exponent * 10 + (*q - '0');
            d.exponent += minus ? -exponent : exponent;
            break;
        } else {
            d.mantissa = d.mantissa * 10 + unsigned(*p - '0');
            d.exponent -= after_point ? 1 : 0;
        }
    }
    return d;
}

template <typename Number>
decimal_t shortest_decimal(Number number)
{
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, number, std::chars_format::scientific);
    return decimal_of(text, result.ptr);
}

// The double nearest to @p d, read by the C++ library: no locale can change the point.
double nearest_double(const decimal_t& d)
{
    char digits[48];
    int n = 0;
    unsigned __int128 m = d.mantissa;
    do {
        digits[n++] = char('0' + int(m % 10));
        m /= 10;
    } while (m);
    char text[64];
    int at = 0;
    if (d.negative)
        text[at++] = '-';
    while (n)
        text[at++] = digits[--n];
    at += std::snprintf(text + at, sizeof text - size_t(at), "e%d", d.exponent);
    double value = 0;
    std::from_chars(text, text + at, value);
    return value;
}

// raw × scale rounded once: the raw value and the scale taken as the decimals they are written
// as (0.1 is 1 × 10^-1, a float 21.6 is 216 × 10^-1), the product formed in whole numbers and read
// as the nearest double. So 3 × 0.1 gives 0.3, where the product of the doubles gives
// 0.30000000000000004.
double scaled(const decimal_t& raw, double scale)
{
    const decimal_t s = shortest_decimal(scale);
    const unsigned __int128 product = raw.mantissa * s.mantissa;
    // Zero has no sign here: 0 × -0.5 is 0, not -0.
    return nearest_double({product != 0 && raw.negative != s.negative, product, raw.exponent + s.exponent});
}

decimal_t whole(double raw)
{
    return {raw < 0, static_cast<unsigned __int128>(std::fabs(raw)), 0};
}

// A float32 value as people write it: the shortest decimal that reads back as the same float,
// so that 21.6 stays 21.6 and does not become 21.600000381469727.
double float_value(float f)
{
    if (!std::isfinite(f))
        return double(f);
    return nearest_double(shortest_decimal(f));
}

constexpr float float_max = std::numeric_limits<float>::max();

// The largest double that rounds to a finite float: FLT_MAX plus half its last step, excluded.
const double float_limit = double(float_max) + std::ldexp(1.0, 103);

const QString& number_pattern()
{
    // Decimal digits with a point and an exponent where wanted; a sign in front, + or -.
    // \A and \z: "$" would also match before a last line feed.
    static const QString pattern =
        QStringLiteral("\\A[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?\\z");
    return pattern;
}

} // namespace

QVariant register_entry_t::decode(const QVector<uint16_t>& words) const
{
    return decode(words.constData(), int(words.size()));
}

QVariant register_entry_t::decode(const uint16_t* words, int count) const
{
    if (count != size)
        return QVariant();
    if (is_bit())
        return words[0] != 0;
    if (type == type_string) {
        QByteArray bytes;
        bytes.reserve(2 * size);
        for (int i = 0; i < count; ++i) {
            bytes.append(char(words[i] >> 8));
            bytes.append(char(words[i] & 0xFF));
        }
        while (bytes.endsWith('\0'))
            bytes.chop(1);
        return QString::fromLatin1(bytes.constData(), bytes.size()); // NULs inside stay
    }
    uint32_t bits = words[0];
    if (is_32_bit(type)) {
        const uint32_t high = little_word_order ? words[1] : words[0];
        const uint32_t low = little_word_order ? words[0] : words[1];
        bits = high << 16 | low;
    }
    if (type == type_float32) {
        float f;
        std::memcpy(&f, &bits, sizeof f);
        if (!scale || !std::isfinite(f))
            return float_value(f) * (scale ? *scale : 1.0);
        return scaled(shortest_decimal(f), *scale);
    }
    // A plain integer is the words themselves: a sweep decodes thousands of these.
    const bool is_signed = type == type_int16 || type == type_int32;
    const int64_t raw = type == type_int16 ? int64_t(int16_t(bits))
        : type == type_int32               ? int64_t(int32_t(bits))
                                           : int64_t(bits);
    if (!scale)
        return is_signed ? QVariant(int(raw)) : QVariant(uint(raw));
    return scaled(whole(double(raw)), *scale);
}

std::optional<QVector<uint16_t>> register_entry_t::encode(const QVariant& value, QString* why) const
{
    const auto refuse = [&](const QString& text) -> std::optional<QVector<uint16_t>> {
        if (why)
            *why = text;
        return std::nullopt;
    };
    if (is_bit()) {
        const std::optional<double> n = number_of(value);
        if (value.userType() != QMetaType::Bool && !(n && (*n == 0 || *n == 1)))
            return refuse(QStringLiteral("a bool is true or false (1 or 0)"));
        return QVector<uint16_t>{uint16_t(value.userType() == QMetaType::Bool ? value.toBool() : *n != 0)};
    }
    if (type == type_string) {
        const QString text = value.toString();
        if (value.userType() != QMetaType::QString || text.size() > 2 * size
            || std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() > 0xFF; }))
            return refuse(QStringLiteral("a string of %1 registers holds at most %2 Latin-1 characters")
                              .arg(size)
                              .arg(2 * size));
        const QByteArray bytes = text.toLatin1().leftJustified(2 * size, '\0');
        QVector<uint16_t> words(size);
        for (int i = 0; i < size; ++i)
            words[i] = uint16_t(uint8_t(bytes[2 * i]) << 8 | uint8_t(bytes[2 * i + 1]));
        return words;
    }
    const std::optional<double> number = number_of(value);
    uint32_t bits = 0;
    if (type == type_float32) {
        const double raw = number ? (scale ? *number / *scale : *number) : 0;
        if (!number || !std::isfinite(raw) || std::fabs(raw) >= float_limit)
            return refuse(
                scale ? QStringLiteral("a float32 with scale %1 holds finite values up to %2 in size")
                            .arg(number_text(*scale), number_text(float_value(float_max) * std::fabs(*scale)))
                      : QStringLiteral("a float32 holds finite values up to 3.4028235e+38 in size"));
        // Between the largest float and half a step above it, a value rounds to the largest.
        const float f = std::fabs(raw) <= double(float_max) ? float(raw) : raw > 0 ? float_max : -float_max;
        std::memcpy(&bits, &f, sizeof bits);
    } else {
        const auto [low, high] = raw_range(type);
        if (!scale) {
            if (!number || std::floor(*number) != *number || *number < low || *number > high)
                return refuse(QStringLiteral("%1 takes whole numbers from %2 to %3")
                                  .arg(QLatin1String(type_names[type]), number_text(low), number_text(high)));
            bits = *number < 0 ? uint32_t(int64_t(*number)) : uint32_t(*number);
        } else {
            const double step = number ? *number / *scale : 0;
            const double raw = std::nearbyint(step);
            const double first = scaled(whole(low), *scale), last = scaled(whole(high), *scale);
            if (!number || !std::isfinite(raw) || raw < low || raw > high)
                return refuse(QStringLiteral("%1 with scale %2 holds values from %3 to %4")
                                  .arg(QLatin1String(type_names[type]), number_text(*scale),
                                       number_text(std::min(first, last)),
                                       number_text(std::max(first, last))));
            // A value between two steps is refused rather than rounded behind the user's back.
            if (scaled(whole(raw), *scale) != *number) {
                const double below = std::clamp(std::floor(step), low, high);
                const double above = std::clamp(std::ceil(step), low, high);
                double a = scaled(whole(below), *scale), b = scaled(whole(above), *scale);
                if (a > b)
                    std::swap(a, b);
                return refuse(
                    QStringLiteral("scale %1 holds %2 and %3 nearest, not %4")
                        .arg(number_text(*scale), number_text(a), number_text(b), number_text(*number)));
            }
            bits = raw < 0 ? uint32_t(int64_t(raw)) : uint32_t(raw);
        }
    }
    if (!is_32_bit(type))
        return QVector<uint16_t>{uint16_t(bits)};
    const auto high = uint16_t(bits >> 16), low = uint16_t(bits & 0xFFFF);
    return little_word_order ? QVector<uint16_t>{low, high} : QVector<uint16_t>{high, low};
}

std::optional<QVariant> register_entry_t::parse(const QString& text, QString* why) const
{
    const auto refuse = [&](const QString& reason) -> std::optional<QVariant> {
        if (why)
            *why = reason;
        return std::nullopt;
    };
    QVariant value;
    // A choice may be given by its text: "Transmit" for 2.
    const auto chosen = std::find_if(choices.cbegin(), choices.cend(),
                                     [&](const QPair<QVariant, QString>& c) { return c.second == text; });
    if (chosen != choices.cend()) {
        value = chosen->first;
    } else if (is_bit()) {
        if (text == QLatin1String("true") || text == QLatin1String("1"))
            value = true;
        else if (text == QLatin1String("false") || text == QLatin1String("0"))
            value = false;
        else
            return refuse(QStringLiteral("a bool is true, false, 1 or 0"));
    } else if (type == type_string) {
        value = text;
    } else {
        // One rule for every number: decimal digits, a point and an exponent where wanted, a sign
        // (+ or -); integers without scale also as "0x" and hexadecimal digits. No group
        // separators, no blanks, no "inf" or "nan".
        static const QRegularExpression decimal(number_pattern());
        static const QRegularExpression hexadecimal(QStringLiteral("\\A[+-]?0[xX][0-9a-fA-F]+\\z"));
        const bool hex_allowed = !scale && type != type_float32;
        const QString digits = text.startsWith(QLatin1Char('+')) ? text.mid(1) : text;
        double number = 0;
        if (hex_allowed && hexadecimal.match(text).hasMatch()) {
            const bool negative = digits.startsWith(QLatin1Char('-'));
            bool ok = false;
            const qulonglong magnitude = digits.mid(negative ? 3 : 2).toULongLong(&ok, 16);
            number =
                ok && magnitude <= 0xFFFFFFFFu ? double(magnitude) : std::numeric_limits<double>::infinity();
            number = negative ? -number : number;
        } else if (decimal.match(text).hasMatch()) {
            const QByteArray latin = digits.toLatin1();
            const auto result = std::from_chars(latin.constData(), latin.constData() + latin.size(), number);
            if (result.ec != std::errc())
                number = std::numeric_limits<double>::infinity();
        } else {
            return refuse(hex_allowed
                              ? QStringLiteral("not a number: decimal digits (with a point or an exponent "
                                               "where wanted) or 0x and hexadecimal digits, no separators")
                              : QStringLiteral("not a number: decimal digits, with a point or an exponent "
                                               "where wanted, no separators"));
        }
        value = number;
    }
    QString fault;
    const std::optional<QVector<uint16_t>> words = encode(value, &fault);
    if (!words)
        return refuse(fault);
    // The value as the device will hold it: an int for an integer type, the float a float32 is.
    const QVariant held = type == type_string ? value : decode(*words);
    if (!admits(held, &fault))
        return refuse(fault);
    return held;
}

} // namespace qz::modbus
