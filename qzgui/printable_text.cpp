// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/printable_text.h"

#include <QVariant>

#include <charconv>
#include <cmath>

namespace qz::gui {

QString printable_text(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const ushort u = c.unicode();
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            out += c;
            out += text.at(++i);
        } else if (c == QLatin1Char('\\')) {
            out += QLatin1String("\\\\");
        } else if (u < 0x20 || (u >= 0x7F && u <= 0x9F) || u == 0x2028 || u == 0x2029 || c.isSurrogate()) {
            out += QStringLiteral("\\u%1").arg(u, 4, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    return out;
}

QString number_text(double number)
{
    char text[400]; // the longest written-out double below 1e21, with room to spare
    const double magnitude = std::fabs(number);
    const bool written_out = number == 0 || (magnitude >= 1e-7 && magnitude < 1e21);
    const auto result = written_out
        ? std::to_chars(text, text + sizeof text, number, std::chars_format::fixed)
        : std::to_chars(text, text + sizeof text, number);
    return QString::fromLatin1(text, int(result.ptr - text));
}

QString printable_value(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::Double:
        return number_text(value.toDouble());
    case QMetaType::QString:
        return printable_text(value.toString());
    default:
        return value.toString();
    }
}

QString failure_detail(const QString& message)
{
    const int colon = message.indexOf(QLatin1String(": "));
    return colon < 0 ? QString() : message.mid(colon + 2);
}

} // namespace qz::gui
