// SPDX-License-Identifier: BSD-3-Clause
// Internal: reading and writing the library's JSON files exactly, and where in a file a parse
// error stands, as people count. Not installed.
#ifndef QZGUI_JSON_PLACE_P_H
#define QZGUI_JSON_PLACE_P_H

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QString>
#include <QVector>

namespace qz::gui {

/// @return "line L, column C" of the byte @p offset of @p text, both counted from 1
inline QString json_place(const QByteArray& text, int offset)
{
    const QByteArray before = text.left(offset);
    return QStringLiteral("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(offset - before.lastIndexOf('\n'));
}

namespace json_detail {
// U+FEFF in UTF-8. Qt 5's parser drops it wherever it stands, also inside a string, where it is
// part of the value; written as the escape \ufeff it is kept.
constexpr char raw_feff[] = "\xEF\xBB\xBF";
constexpr char escaped_feff[] = "\\ufeff";
} // namespace json_detail

/**
 * Parses @p text as QJsonDocument::fromJson() does, keeping every U+FEFF inside a string (a byte
 * order mark at the very start is still the file's own). An error's offset counts in @p text.
 */
inline QJsonDocument parse_json(const QByteArray& text, QJsonParseError* error)
{
    using namespace json_detail;
    QByteArray kept = text;
    QVector<int> grown_at; // offsets in kept after which it is 3 bytes longer than text
    for (int at = kept.indexOf(raw_feff, 1); at >= 0; at = kept.indexOf(raw_feff, at + 1)) {
        // After an escaping backslash it stays, and the parser refuses the escape as before.
        int backslashes = 0;
        while (at - backslashes > 0 && kept[at - backslashes - 1] == '\\')
            ++backslashes;
        if (backslashes % 2 != 0)
            continue;
        kept.replace(at, 3, escaped_feff);
        grown_at.append(at);
    }
    QJsonDocument document = QJsonDocument::fromJson(kept, error);
    if (error->error != QJsonParseError::NoError) {
        int shift = 0;
        for (const int at : grown_at)
            if (at < error->offset)
                shift += error->offset >= at + 6 ? 3 : error->offset - at;
        error->offset -= shift;
    }
    return document;
}

/// @return @p document as indented UTF-8, with U+FEFF written as an escape that parsers keep
inline QByteArray json_text(const QJsonDocument& document)
{
    using namespace json_detail;
    // Outside strings the writer puts no such bytes: every one stands in a string.
    return document.toJson(QJsonDocument::Indented).replace(raw_feff, escaped_feff);
}

} // namespace qz::gui

#endif
