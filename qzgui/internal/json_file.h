// SPDX-License-Identifier: BSD-3-Clause
// Internal: the one reader and writer of the library's JSON files (parameter files, register
// maps), so that both check a file alike and name its faults alike. Not installed.
#ifndef QZGUI_INTERNAL_JSON_FILE_H
#define QZGUI_INTERNAL_JSON_FILE_H

#include <QtGlobal>

class QByteArray;
class QJsonDocument;
class QJsonObject;
class QString;
struct QJsonParseError;

namespace qz::gui {

/// @return "line L, column C" of the byte @p offset of @p text, both counted from 1
QString json_place(const QByteArray& text, int offset);

/**
 * Parses @p text as QJsonDocument::fromJson() does, keeping every U+FEFF inside a string (a byte
 * order mark at the very start is still the file's own). An error's offset counts in @p text.
 */
QJsonDocument parse_json(const QByteArray& text, QJsonParseError* error);

/// @return @p document as indented UTF-8, with U+FEFF written as an escape that parsers keep
QByteArray json_text(const QJsonDocument& document);

/// Throws std::runtime_error "PATH: TEXT", the path in the platform's own separators.
[[noreturn]] void fail_file(const QString& path, const QString& text);

/// Refuses a file of another @p version than the @p readable one, saying which it reads.
void check_json_version(const QString& path, double version, int readable);

/**
 * Reads the JSON file at @p path, of at most @p max_size bytes.
 * @return its top object; an empty one when the top is not an object, for the caller to refuse
 * in its own words
 * @throws std::runtime_error "PATH: FAULT" when the file cannot be read, is larger, or is not JSON
 */
QJsonObject read_json_file(const QString& path, qint64 max_size);

} // namespace qz::gui

#endif
