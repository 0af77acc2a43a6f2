// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/internal/json_file.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QString>
#include <QVector>

#include <stdexcept>

namespace qz::gui {

namespace {
// U+FEFF in UTF-8. Qt 5's parser drops it wherever it stands, also inside a string, where it is
// part of the value; written as the escape \ufeff it is kept.
constexpr char raw_feff[] = "\xEF\xBB\xBF";
constexpr char escaped_feff[] = "\\ufeff";
} // namespace

QString json_place(const QByteArray& text, int offset)
{
    const QByteArray before = text.left(offset);
    return QStringLiteral("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(offset - before.lastIndexOf('\n'));
}

QJsonDocument parse_json(const QByteArray& text, QJsonParseError* error)
{
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

QByteArray json_text(const QJsonDocument& document)
{
    // Outside strings the writer puts no such bytes: every one stands in a string.
    return document.toJson(QJsonDocument::Indented).replace(raw_feff, escaped_feff);
}

void fail_file(const QString& path, const QString& text)
{
    throw std::runtime_error(
        QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path), text).toStdString());
}

void check_json_version(const QString& path, double version, int readable)
{
    if (version != readable)
        fail_file(path,
                  QStringLiteral("version %1 cannot be read; this library reads version %2")
                      .arg(version)
                      .arg(readable));
}

QJsonObject read_json_file(const QString& path, qint64 max_size)
{
    const QString too_large = QStringLiteral("is larger than %1 MiB").arg(max_size / (1024 * 1024));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail_file(path, QStringLiteral("cannot be read: %1").arg(file.errorString()));
    if (file.size() > max_size)
        fail_file(path, too_large);
    // read(), not readAll(): a file that grows meanwhile still cannot exceed the bound.
    const QByteArray text = file.read(max_size + 1);
    if (text.size() > max_size)
        fail_file(path, too_large);
    if (file.error() != QFileDevice::NoError)
        fail_file(path, QStringLiteral("cannot be read: %1").arg(file.errorString()));
    QJsonParseError error;
    const QJsonDocument document = parse_json(text, &error);
    if (error.error != QJsonParseError::NoError)
        fail_file(
            path,
            QStringLiteral("%1: not JSON: %2").arg(json_place(text, error.offset), error.errorString()));
    return document.object();
}

} // namespace qz::gui
