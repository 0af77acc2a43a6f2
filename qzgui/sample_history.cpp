// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/sample_history.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace qz::gui {

namespace {

constexpr double gap_value = std::numeric_limits<double>::quiet_NaN();
// The longest span whose samples' offsets always fit in 32 bits from the oldest one.
constexpr qint64 longest_span_ms = 24LL * 24 * 3600 * 1000;

} // namespace

sample_history::sample_history(qint64 span_ms)
    : _span(std::clamp<qint64>(span_ms, 0, longest_span_ms))
{}

void sample_history::add(uint32_t id, qint64 time_ms, double value)
{
    // A NaN value would read as a gap: it is one.
    _append(id, time_ms, value);
}

void sample_history::add_gap(uint32_t id, qint64 time_ms)
{
    _append(id, time_ms, gap_value);
}

void sample_history::_append(uint32_t id, qint64 time, double value)
{
    static_assert(sizeof(sample_t) == 12, "a sample is its time's offset and its value, and no more");
    auto it = _series_of.find(id);
    if (it == _series_of.end()) {
        it = _series_of.insert(id, series_t());
        _ids.append(id);
    }
    series_t& series = *it;
    std::deque<sample_t>& samples = series.samples;
    if (samples.empty())
        series.base = time;
    else if (time < series.time(samples.back()))
        return;
    // The span before the newest: what is older goes.
    const qint64 oldest = time - _span;
    while (!samples.empty() && series.time(samples.front()) < oldest)
        samples.pop_front();
    // Far past the base (every 24 days or so): the oldest sample left becomes the base.
    if (time - series.base > std::numeric_limits<qint32>::max()) {
        const qint64 base = samples.empty() ? time : series.time(samples.front());
        for (sample_t& s : samples)
            s.offset = qint32(series.base + s.offset - base);
        series.base = base;
    }
    samples.push_back({qint32(time - series.base), value});
}

const sample_history::series_t* sample_history::_series(uint32_t id) const
{
    const auto it = _series_of.constFind(id);
    return it == _series_of.constEnd() ? nullptr : &*it;
}

int sample_history::size(uint32_t id) const
{
    const series_t* series = _series(id);
    return series ? int(series->samples.size()) : 0;
}

qint64 sample_history::newest_time(uint32_t id) const
{
    const series_t* series = _series(id);
    return series && !series->samples.empty() ? series->time(series->samples.back())
                                              : std::numeric_limits<qint64>::min();
}

QVector<uint32_t> sample_history::ids() const
{
    return _ids;
}

namespace {

// The first sample of @p series at or after @p time, from @p from on.
template <typename Series, typename Iterator>
Iterator first_at(const Series& series, Iterator from, qint64 time)
{
    return std::lower_bound(from, series.samples.end(), time,
                            [&series](const auto& sample, qint64 t) { return series.time(sample) < t; });
}

} // namespace

QVector<QPointF> sample_history::samples(uint32_t id, qint64 from_ms, qint64 to_ms) const
{
    QVector<QPointF> points;
    const series_t* series = _series(id);
    if (!series || from_ms >= to_ms)
        return points;
    for (auto it = first_at(*series, series->samples.begin(), from_ms);
         it != series->samples.end() && series->time(*it) < to_ms; ++it)
        points.append(QPointF(double(series->time(*it)), it->value));
    return points;
}

QVector<QPointF> sample_history::decimated(uint32_t id, qint64 from_ms, qint64 to_ms, int columns) const
{
    QVector<QPointF> points;
    const series_t* series = _series(id);
    if (!series || from_ms >= to_ms || columns <= 0)
        return points;
    const auto begin = first_at(*series, series->samples.begin(), from_ms);
    const auto end = first_at(*series, begin, to_ms);
    const double width = double(to_ms - from_ms);
    const auto column_of = [&](qint64 time) {
        return std::min(columns - 1, int(std::floor(double(time - from_ms) * columns / width)));
    };
    // A time before which a sample surely lies in column @p c still: the column's arithmetic is
    // done once a column, not once a sample. A millisecond early, against rounding.
    const auto column_end = [&](int c) { return from_ms + qint64(double(c + 1) * width / columns) - 1; };

    // One stretch of samples in one column, between gaps: its first, lowest, highest and last
    // sample, each with its place in the series, written out in time order once the stretch ends.
    struct kept_t {
        std::size_t at;
        qint64 time;
        double value;
    };
    kept_t first{}, low{}, high{}, last{};
    bool open = false;
    const auto flush = [&] {
        if (!open)
            return;
        kept_t kept[] = {first, low, high, last};
        std::sort(std::begin(kept), std::end(kept),
                  [](const kept_t& a, const kept_t& b) { return a.at < b.at; });
        const kept_t* stop = std::unique(std::begin(kept), std::end(kept),
                                         [](const kept_t& a, const kept_t& b) { return a.at == b.at; });
        for (const kept_t* k = std::begin(kept); k != stop; ++k)
            points.append(QPointF(double(k->time), k->value));
        open = false;
    };
    int column = -1;
    qint64 boundary = std::numeric_limits<qint64>::min();
    std::size_t at = 0;
    for (auto it = begin; it != end; ++it, ++at) {
        const qint64 time = series->time(*it);
        if (time >= boundary) {
            const int c = column_of(time);
            if (c != column) {
                flush();
                column = c;
            }
            boundary = column_end(c);
        }
        const double value = it->value;
        if (std::isnan(value)) {
            flush();
            points.append(QPointF(double(time), value));
            continue;
        }
        if (!open) {
            first = low = high = last = {at, time, value};
            open = true;
            continue;
        }
        if (value < low.value)
            low = {at, time, value};
        if (value > high.value)
            high = {at, time, value};
        last = {at, time, value};
    }
    flush();
    return points;
}

} // namespace qz::gui
