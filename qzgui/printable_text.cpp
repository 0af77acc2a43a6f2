// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/printable_text.h"

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

} // namespace qz::gui
