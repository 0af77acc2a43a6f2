// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_SAMPLE_HISTORY_H
#define QZGUI_SAMPLE_HISTORY_H

#include "qzgui/qzgui_export.h"

#include <QHash>
#include <QPointF>
#include <QVector>

#include <cstdint>
#include <deque>

namespace qz::gui {

/**
 * @class sample_history sample_history.h <qzgui/sample_history.h>
 *
 * The recent values of polled parameters, for a trend: per id, the samples of a time span before
 * its newest one, each a time (ms since the epoch) and a value in 12 bytes, with gaps where a
 * read failed. Older samples are dropped as newer ones come.
 *
 * decimated() gives what a plot @p columns pixels wide needs: per column the first, lowest,
 * highest and last sample (each once, in time order) and every gap, so that a line drawn from
 * them has the same pixels as one drawn from every sample, in time linear in the samples of the
 * range and without copying them.
 *
 * @code
 * qz::gui::sample_history history;                  // one hour
 * connect(poller, &qz::gui::poller::on_sample, this,
 *         [&](uint32_t id, const QVariant& v, qint64 t) { history.add(id, t, v.toDouble()); });
 * const QVector<QPointF> line = history.decimated(id, from, to, plot_width);
 * @endcode
 *
 * GUI thread only (or any one thread).
 */
class QZGUI_EXPORT sample_history {
public:
    /// Keeps, per id, the samples of @p span_ms before its newest one (at most 24 days).
    explicit sample_history(qint64 span_ms = 3600000);

    /// Adds @p value at @p time_ms for @p id; a time before the id's newest is dropped.
    void add(uint32_t id, qint64 time_ms, double value);
    /// Marks the value of @p id unknown from @p time_ms to its next sample (a failed read).
    void add_gap(uint32_t id, qint64 time_ms);

    /// @return the samples and gaps held for @p id
    int size(uint32_t id) const;
    /// @return the time of the newest sample or gap of @p id; INT64_MIN when none
    qint64 newest_time(uint32_t id) const;
    /// @return the ids, in the order of their first sample
    QVector<uint32_t> ids() const;

    /// @return the samples of @p id in [@p from_ms, @p to_ms): x the time, y the value (NaN for a gap)
    QVector<QPointF> samples(uint32_t id, qint64 from_ms, qint64 to_ms) const;
    /**
     * @return the samples of @p id in [@p from_ms, @p to_ms) for a plot @p columns pixels wide:
     * the range cut into @p columns equal slices, and of each slice the first, lowest, highest and
     * last sample of every stretch between gaps (each once, in time order), and every gap
     */
    QVector<QPointF> decimated(uint32_t id, qint64 from_ms, qint64 to_ms, int columns) const;

private:
    // A sample's time is kept as ms after its series' base, so that a sample takes 12 bytes: an
    // hour of 20 parameters at 10 Hz is 8.6 MB, not 11.5.
#pragma pack(push, 4)
    struct sample_t {
        qint32 offset; // ms after the series' base
        double value;  // NaN: a gap
    };
#pragma pack(pop)
    struct series_t {
        qint64 base = 0;
        std::deque<sample_t> samples;

        qint64 time(const sample_t& s) const { return base + s.offset; }
    };

    void _append(uint32_t id, qint64 time, double value);
    const series_t* _series(uint32_t id) const;

    qint64 _span;
    QHash<uint32_t, series_t> _series_of;
    QVector<uint32_t> _ids;
};

} // namespace qz::gui

#endif
