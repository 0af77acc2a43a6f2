// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/internal/csv_table.h"

#include "qzgui/parameter_id.h"
#include "qzgui/printable_text.h"

#include <QDateTime>

namespace qz::gui::internal {

namespace {

// A cell as RFC 4180 has it: quoted, quotes doubled, where it holds a comma, a quote, CR or LF.
QByteArray csv_cell(const QString& text)
{
    QByteArray bytes = text.toUtf8();
    if (!bytes.contains(',') && !bytes.contains('"') && !bytes.contains('\r') && !bytes.contains('\n'))
        return bytes;
    bytes.replace('"', "\"\"");
    return '"' + bytes + '"';
}

QByteArray value_cell(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return value.toBool() ? "1" : "0";
    case QMetaType::Double:
    case QMetaType::Float:
        return number_text(value.toDouble()).toUtf8();
    default:
        return csv_cell(value.toString());
    }
}

QString column_title(const parameter_description& p)
{
    QString title = short_parameter_id_text(p.id);
    if (!p.name.isEmpty())
        title += QLatin1Char(' ') + p.name;
    if (!p.unit.isEmpty())
        title += QStringLiteral(" (%1)").arg(p.unit);
    return title;
}

} // namespace

csv_table::csv_table(const QVector<parameter_description>& columns)
{
    _header = "time";
    for (const parameter_description& p : columns) {
        if (_column_of.contains(p.id))
            continue;
        _column_of.insert(p.id, int(_cells.size()));
        _cells.append(QByteArray());
        _header += ',' + csv_cell(column_title(p));
    }
    _header += "\r\n";
    _filled.fill(false, _cells.size());
}

QByteArray csv_table::put(uint32_t id, const QVariant& value, qint64 time_ms)
{
    return _put(id, value_cell(value), time_ms);
}

QByteArray csv_table::put_failure(uint32_t id, qint64 time_ms)
{
    return _put(id, QByteArray(), time_ms);
}

QByteArray csv_table::_put(uint32_t id, const QByteArray& cell, qint64 time_ms)
{
    const auto it = _column_of.constFind(id);
    if (it == _column_of.constEnd())
        return QByteArray();
    const int column = *it;
    // A column the row already holds begins the next sweep's row.
    QByteArray ended = _filled[column] ? end_row() : QByteArray();
    if (_filled_count == 0)
        _row_time = time_ms;
    _cells[column] = cell;
    _filled[column] = true;
    ++_filled_count;
    if (_filled_count == _cells.size())
        ended += end_row();
    return ended;
}

QByteArray csv_table::end_row()
{
    if (_filled_count == 0)
        return QByteArray();
    QByteArray row = QDateTime::fromMSecsSinceEpoch(_row_time, Qt::UTC)
                         .toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"))
                         .toLatin1();
    for (int c = 0; c < _cells.size(); ++c) {
        row += ',';
        if (_filled[c])
            row += _cells[c];
        _cells[c].clear();
        _filled[c] = false;
    }
    _filled_count = 0;
    ++_rows_ended;
    return row + "\r\n";
}

} // namespace qz::gui::internal
