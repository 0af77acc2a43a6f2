// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/sample_recorder.h"

#include "qzgui/internal/csv_table.h"
#include "qzgui/internal/json_file.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>

namespace qz::gui {

namespace {

constexpr int write_delay_ms = 1000;

} // namespace

sample_recorder::sample_recorder(const QString& path, const QVector<parameter_description>& columns,
                                 QObject* parent)
    : QObject(parent)
    , _path(path)
    , _table(std::make_unique<internal::csv_table>(columns))
    , _timer(new QTimer(this))
{
    if (!_open(true))
        fail_file(path, QStringLiteral("cannot be written: %1").arg(_file.errorString()));
    _timer->setSingleShot(true);
    connect(_timer, &QTimer::timeout, this, [this] {
        // A row whose sweep reported no more for a second is over; one still filling waits.
        if (_table->row_open() && _since_sample.elapsed() >= write_delay_ms)
            _waiting += _table->end_row();
        _write_out();
        if (_table->row_open())
            _timer->start(int(std::max<qint64>(0, write_delay_ms - _since_sample.elapsed())));
    });
}

sample_recorder::~sample_recorder()
{
    _waiting += _table->end_row();
    _write_out();
}

void sample_recorder::add(uint32_t id, const QVariant& value, qint64 time_ms)
{
    if (_table->has_column(id))
        _took(_table->put(id, value, time_ms));
}

void sample_recorder::add_error(uint32_t id, qint64 time_ms)
{
    if (_table->has_column(id))
        _took(_table->put_failure(id, time_ms));
}

void sample_recorder::_took(const QByteArray& ended_rows)
{
    _since_sample.start();
    _waiting += ended_rows;
    // A row still open ends a second after its sweep's last cell, should the sweep say no more.
    if (!_timer->isActive() && (_table->row_open() || !_waiting.isEmpty()))
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
    const QByteArray& header = _table->header();
    if (_file.size() == 0 && (_file.write(header) != header.size() || !_file.flush()))
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
        _rows += _table->rows_ended() - _rows_settled;
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
    _rows_settled = _table->rows_ended();
    _waiting.clear();
}

} // namespace qz::gui
