// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/sample_history.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qz::gui {

namespace {

constexpr double gap_value = std::numeric_limits<double>::quiet_NaN();

} // namespace

sample_history::sample_history(qint64 span_ms)
    : _span(std::max<qint64>(span_ms, 0))
{}

void sample_history::add(uint32_t id, qint64 time_ms, double value)
{
    // A NaN value would read as a gap: it is one.
    _append(id, {time_ms, value});
}

void sample_history::add_gap(uint32_t id, qint64 time_ms)
{
    _append(id, {time_ms, gap_value});
}

void sample_history::_append(uint32_t id, sample_t sample)
{
    static_assert(sizeof(sample_t) == 16, "a sample is its time and its value, and no more");
    auto it = _series_of.find(id);
    if (it == _series_of.end()) {
        it = _series_of.insert(id, series_t());
        _ids.append(id);
    }
    series_t& series = *it;
    if (!series.empty() && sample.time < series.back().time)
        return;
    series.push_back(sample);
    // The span before the newest: what is older goes.
    const qint64 oldest = sample.time - _span;
    while (series.front().time < oldest)
        series.pop_front();
}

const sample_history::series_t* sample_history::_series(uint32_t id) const
{
    const auto it = _series_of.constFind(id);
    return it == _series_of.constEnd() ? nullptr : &*it;
}

int sample_history::size(uint32_t id) const
{
    const series_t* series = _series(id);
    return series ? int(series->size()) : 0;
}

qint64 sample_history::newest_time(uint32_t id) const
{
    const series_t* series = _series(id);
    return series && !series->empty() ? series->back().time : std::numeric_limits<qint64>::min();
}

QVector<uint32_t> sample_history::ids() const
{
    return _ids;
}

namespace {

template <typename Series>
auto first_at(const Series& series, qint64 time)
{
    return std::lower_bound(series.begin(), series.end(), time,
                            [](const auto& sample, qint64 t) { return sample.time < t; });
}

} // namespace

QVector<QPointF> sample_history::samples(uint32_t id, qint64 from_ms, qint64 to_ms) const
{
    QVector<QPointF> points;
    const series_t* series = _series(id);
    if (!series || from_ms >= to_ms)
        return points;
    for (auto it = first_at(*series, from_ms); it != series->end() && it->time < to_ms; ++it)
        points.append(QPointF(double(it->time), it->value));
    return points;
}

QVector<QPointF> sample_history::decimated(uint32_t id, qint64 from_ms, qint64 to_ms, int columns) const
{
    QVector<QPointF> points;
    const series_t* series = _series(id);
    if (!series || from_ms >= to_ms || columns <= 0)
        return points;
    const auto begin = first_at(*series, from_ms);
    const auto end = std::lower_bound(begin, series->end(), to_ms,
                                      [](const sample_t& sample, qint64 t) { return sample.time < t; });
    const double width = double(to_ms - from_ms);
    const auto column_of = [&](qint64 time) {
        return std::min(columns - 1, int(std::floor(double(time - from_ms) * columns / width)));
    };

    // One stretch of samples in one column, between gaps: the positions of its first, lowest,
    // highest and last sample, written out in time order once the stretch ends.
    using iterator = series_t::const_iterator;
    iterator first = end, low = end, high = end, last = end;
    const auto flush = [&] {
        if (first == end)
            return;
        iterator kept[] = {first, low, high, last};
        std::sort(std::begin(kept), std::end(kept));
        const iterator* stop = std::unique(std::begin(kept), std::end(kept));
        for (const iterator* k = std::begin(kept); k != stop; ++k)
            points.append(QPointF(double((*k)->time), (*k)->value));
        first = low = high = last = end;
    };
    int column = -1;
    for (iterator it = begin; it != end; ++it) {
        const int c = column_of(it->time);
        if (c != column) {
            flush();
            column = c;
        }
        if (std::isnan(it->value)) {
            flush();
            points.append(QPointF(double(it->time), it->value));
            continue;
        }
        if (first == end) {
            first = low = high = last = it;
            continue;
        }
        if (it->value < low->value)
            low = it;
        if (it->value > high->value)
            high = it;
        last = it;
    }
    flush();
    return points;
}

} // namespace qz::gui
