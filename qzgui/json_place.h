// SPDX-License-Identifier: BSD-3-Clause
// Internal: where in a file a JSON parse error stands, as people count. Not installed.
#ifndef QZGUI_JSON_PLACE_H
#define QZGUI_JSON_PLACE_H

#include <QByteArray>
#include <QString>

namespace qz::gui {

/// @return "line L, column C" of the byte @p offset of @p text, both counted from 1
inline QString json_place(const QByteArray& text, int offset)
{
    const QByteArray before = text.left(offset);
    return QStringLiteral("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(offset - before.lastIndexOf('\n'));
}

} // namespace qz::gui

#endif
