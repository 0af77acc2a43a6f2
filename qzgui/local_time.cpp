// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/local_time.h"

#include <limits>

namespace qz::gui {

QDateTime local_now()
{
    thread_local qint64 last_msecs = std::numeric_limits<qint64>::min();
    thread_local QDateTime last;
    const qint64 msecs = QDateTime::currentMSecsSinceEpoch();
    if (msecs != last_msecs) {
        last = QDateTime::fromMSecsSinceEpoch(msecs, Qt::LocalTime);
        last_msecs = msecs;
    }
    return last;
}

QString format_log_time(const QDateTime& time)
{
    return time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss,zzz  "));
}

} // namespace qz::gui
