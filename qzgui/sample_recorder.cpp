// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/sample_recorder.h"

#include "qzgui/internal/json_file.h"
#include "qzgui/parameter_id.h"
#include "qzgui/printable_text.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>

namespace qz::gui {

namespace {

constexpr int write_delay_ms = 1000;

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

sample_recorder::sample_recorder(const QString& path, const QVector<parameter_description>& columns,
                                 QObject* parent)
    : QObject(parent)
    , _path(path)
    , _timer(new QTimer(this))
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
    if (!_open(true))
        fail_file(path, QStringLiteral("cannot be written: %1").arg(_file.errorString()));
    _timer->setSingleShot(true);
    connect(_timer, &QTimer::timeout, this, [this] {
        // A row whose sweep reported no more for a second is over; one still filling waits.
        if (_filled_count > 0 && _since_sample.elapsed() >= write_delay_ms)
            _end_row();
        _write_out();
        if (_filled_count > 0)
            _timer->start(int(std::max<qint64>(0, write_delay_ms - _since_sample.elapsed())));
    });
}

sample_recorder::~sample_recorder()
{
    if (_filled_count > 0)
        _end_row();
    _write_out();
}

void sample_recorder::add(uint32_t id, const QVariant& value, qint64 time_ms)
{
    _put(id, value_cell(value), time_ms);
}

void sample_recorder::add_error(uint32_t id, qint64 time_ms)
{
    _put(id, QByteArray(), time_ms);
}

void sample_recorder::_put(uint32_t id, const QByteArray& cell, qint64 time_ms)
{
    const auto it = _column_of.constFind(id);
    if (it == _column_of.constEnd())
        return;
    const int column = *it;
    // A column the row already holds begins the next sweep's row.
    if (_filled[column])
        _end_row();
    if (_filled_count == 0)
        _row_time = time_ms;
    _cells[column] = cell;
    _filled[column] = true;
    ++_filled_count;
    _since_sample.start();
    if (_filled_count == _cells.size())
        _end_row();
    else if (!_timer->isActive())
        _timer->start(write_delay_ms); // ends the row should its sweep say no more
}

void sample_recorder::_end_row()
{
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
    _waiting += row + "\r\n";
    ++_waiting_rows;
    if (!_timer->isActive())
        _timer->start(write_delay_ms);
}

bool sample_recorder::_open(bool replace)
{
    _file.close();
    _file.setFileName(_path);
    if (!_file.open(replace ? QIODevice::WriteOnly | QIODevice::Truncate
                            : QIODevice::WriteOnly | QIODevice::Append))
        return false;
    // A file made anew (the first, or one lost with its directory) begins with the header.
    if (_file.size() == 0 && (_file.write(_header) != _header.size() || !_file.flush()))
        return false;
    return true;
}

void sample_recorder::_write_out()
{
    if (_waiting.isEmpty())
        return;
    // The file went away under the recorder (its directory removed): a new one is made.
    const bool lost = _file.isOpen() && !QFileInfo::exists(_path);
    const bool ready = (_file.isOpen() && !lost) || _open(false);
    const bool written = ready && _file.write(_waiting) == _waiting.size() && _file.flush();
    if (written) {
        _rows += _waiting_rows;
        _faulted = false;
    } else {
        // The rows of this second are lost; the next write tries a new file.
        const QString why = _file.errorString();
        _file.close();
        if (!_faulted) {
            _faulted = true;
            emit on_fault(
                QStringLiteral("%1: cannot be written: %2").arg(QDir::toNativeSeparators(_path), why));
        }
    }
    _waiting.clear();
    _waiting_rows = 0;
}

} // namespace qz::gui
