// SPDX-License-Identifier: BSD-3-Clause
// The CSV of polled values, row by row, shared by sample_recorder and qzparam's watch.
#ifndef QZGUI_INTERNAL_CSV_TABLE_H
#define QZGUI_INTERNAL_CSV_TABLE_H

#include "qzgui/parameter_description.h"

#include <QByteArray>
#include <QHash>
#include <QVector>

#include <cstdint>

namespace qz::gui::internal {

/**
 * Turns the values of read sweeps into CSV: UTF-8, CR LF, a header of "time" and a column per
 * parameter ("0x0003 Gain (dB)"), and one row per sweep: the UTC time of its first value and the
 * cells (C-locale numbers, doubles in their shortest exact form, booleans 1 and 0, strings as
 * RFC 4180 says, nothing for a failure).
 *
 * A row ends when every column has its cell, or when a column comes a second time: that value
 * begins the next sweep's row.
 */
class csv_table {
public:
    explicit csv_table(const QVector<parameter_description>& columns);

    /// @return the header line, CR LF included
    const QByteArray& header() const { return _header; }
    /// @return whether @p id has a column
    bool has_column(uint32_t id) const { return _column_of.contains(id); }
    /// @return whether a row has cells and is not ended yet
    bool row_open() const { return _filled_count > 0; }
    /// @return the rows ended so far
    int rows_ended() const { return _rows_ended; }

    /// Puts @p value in the column of @p id (ignored without one). @return the rows this ended
    QByteArray put(uint32_t id, const QVariant& value, qint64 time_ms);
    /// Leaves the cell of @p id empty: its read failed. @return the rows this ended
    QByteArray put_failure(uint32_t id, qint64 time_ms);
    /// Ends the open row, its missing cells empty. @return it, or nothing when none is open
    QByteArray end_row();

private:
    QByteArray _put(uint32_t id, const QByteArray& cell, qint64 time_ms);

    QByteArray _header;
    QHash<uint32_t, int> _column_of;
    QVector<QByteArray> _cells; // the open row
    QVector<bool> _filled;
    int _filled_count = 0;
    qint64 _row_time = 0;
    int _rows_ended = 0;
};

} // namespace qz::gui::internal

#endif
