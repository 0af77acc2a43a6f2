// SPDX-License-Identifier: BSD-3-Clause
// Small helpers shared by the benchmarks.
#ifndef QZGUI_BENCH_UTIL_H
#define QZGUI_BENCH_UTIL_H

#include <QFile>

#include <algorithm>
#include <vector>

namespace qz::bench {

/// @return the median of @p values
inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

/// @return the process's resident memory in bytes, from /proc/self/statm
inline qint64 resident_bytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toLongLong() * 4096 : -1;
}

} // namespace qz::bench

#endif
