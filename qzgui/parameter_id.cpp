// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/parameter_id.h"

#include <QVariant>

#include <cmath>
#include <limits>

namespace qz::gui {

namespace {

constexpr uint64_t max_id = std::numeric_limits<uint32_t>::max();

int digit_value(QChar c, int base)
{
    const char16_t u = c.unicode();
    int v = -1;
    if (u >= '0' && u <= '9')
        v = u - '0';
    else if (u >= 'a' && u <= 'f')
        v = u - 'a' + 10;
    else if (u >= 'A' && u <= 'F')
        v = u - 'A' + 10;
    return v < base ? v : -1;
}

} // namespace

// Written out rather than QString::toUInt(), which takes blanks, signs and octal.
std::optional<uint32_t> parse_parameter_id_text(const QString& text)
{
    int base = 10;
    int start = 0;
    if (text.size() > 2 && text.at(0) == QLatin1Char('0')
        && (text.at(1) == QLatin1Char('x') || text.at(1) == QLatin1Char('X'))) {
        base = 16;
        start = 2;
    }
    if (start == text.size())
        return std::nullopt;
    uint64_t value = 0;
    for (int i = start; i < text.size(); ++i) {
        const int digit = digit_value(text.at(i), base);
        if (digit < 0)
            return std::nullopt;
        value = value * uint64_t(base) + uint64_t(digit);
        if (value > max_id)
            return std::nullopt;
    }
    return uint32_t(value);
}

std::optional<uint32_t> parse_parameter_id(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::SChar: {
        const qlonglong v = value.toLongLong();
        return v >= 0 && uint64_t(v) <= max_id ? std::optional<uint32_t>(uint32_t(v)) : std::nullopt;
    }
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
    case QMetaType::UChar: {
        const qulonglong v = value.toULongLong();
        return v <= max_id ? std::optional<uint32_t>(uint32_t(v)) : std::nullopt;
    }
    case QMetaType::Double: {
        // JSON numbers arrive as doubles; only whole ones in range name an id.
        const double v = value.toDouble();
        return v >= 0 && v <= double(max_id) && std::floor(v) == v ? std::optional<uint32_t>(uint32_t(v))
                                                                   : std::nullopt;
    }
    case QMetaType::QString:
    case QMetaType::QByteArray:
        return parse_parameter_id_text(value.toString());
    default:
        return std::nullopt;
    }
}

QString parameter_id_text(uint32_t id)
{
    // Written digit by digit: files hold one per parameter, and this is the hot part of a save.
    char text[10] = {'0', 'x'};
    for (int i = 9; i >= 2; --i, id >>= 4)
        text[i] = "0123456789ABCDEF"[id & 0xF];
    return QString::fromLatin1(text, int(sizeof text));
}

QString short_parameter_id_text(uint32_t id)
{
    return QLatin1String("0x") + QString::number(id, 16).toUpper().rightJustified(4, QLatin1Char('0'));
}

} // namespace qz::gui
