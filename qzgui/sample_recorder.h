// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_SAMPLE_RECORDER_H
#define QZGUI_SAMPLE_RECORDER_H

#include "qzgui/parameter_description.h"
#include "qzgui/qzgui_export.h"

#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QVector>

#include <cstdint>
#include <memory>

class QTimer;

namespace qz::gui {
namespace internal {
class csv_table;
}

/**
 * @class sample_recorder sample_recorder.h <qzgui/sample_recorder.h>
 *
 * Records polled values to a CSV file for a spreadsheet: UTF-8, lines ended by CR LF, a header of
 * "time" and one column per parameter ("0x0003 Gain (dB)"), then one row per read sweep: the UTC
 * time of its first sample as 2026-11-24T09:30:00.125Z, and the values (numbers in the C locale,
 * doubles in the shortest form that reads back the same, booleans 1 and 0, strings as RFC 4180
 * says), an empty cell for a failed or missing value.
 *
 * A row ends when every column has its value or failure, or when a column comes a second time (the
 * next sweep). Rows reach the file at most a second after they end, through a file kept open and
 * written in one piece a second. A fault of the file (its directory gone, the disk full) loses the
 * rows of that second only, is reported once by on_fault(), and recording resumes by itself: the
 * file is opened again, its header written again where it was lost with it.
 *
 * @code
 * auto* recorder = new qz::gui::sample_recorder(path, map.descriptions(), this);
 * connect(poller, &qz::gui::poller::on_sample, recorder, &qz::gui::sample_recorder::add);
 * connect(poller, &qz::gui::poller::on_sample_error, recorder,
 *         [recorder](uint32_t id, const qz::gui::error_descriptor&, qint64 t) { recorder->add_error(id, t);
 * });
 * @endcode
 *
 * GUI thread only (the thread that made it).
 */
class QZGUI_EXPORT sample_recorder : public QObject {
    Q_OBJECT
public:
    /**
     * Creates (or replaces) the CSV file @p path and writes its header.
     * @param path the file
     * @param columns the parameters, in the order of the columns
     * @param parent the parent object
     * @throws std::runtime_error naming the file, when it cannot be created
     */
    sample_recorder(const QString& path, const QVector<parameter_description>& columns,
                    QObject* parent = nullptr);
    /// Writes the row in progress and what waits, and closes the file.
    ~sample_recorder() override;

    /// @return the rows written to the file so far
    int rows() const { return _rows; }

public Q_SLOTS:
    /// @p value of @p id, read at @p time_ms (ms since the epoch); ids without a column are ignored.
    void add(uint32_t id, const QVariant& value, qint64 time_ms);
    /// Reading @p id failed at @p time_ms: its cell stays empty.
    void add_error(uint32_t id, qint64 time_ms);

Q_SIGNALS:
    /// The file failed (@p text names it and the fault); reported once until it works again.
    void on_fault(const QString& text);

private:
    void _took(const QByteArray& ended_rows);
    void _write_out();
    bool _open(bool replace);

    QString _path;
    std::unique_ptr<internal::csv_table> _table;
    QElapsedTimer _since_sample; // since the open row last got a cell
    QByteArray _waiting;         // ended rows not yet in the file
    int _rows = 0;
    int _rows_settled = 0; // rows ended and written or lost
    bool _faulted = false;
    QFile _file;
    QTimer* _timer;
};

} // namespace qz::gui

#endif
