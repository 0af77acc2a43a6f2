// SPDX-License-Identifier: BSD-3-Clause
// Internal: fast local time for the worker's value cache and the log. Not installed.
#ifndef QZGUI_LOCAL_TIME_P_H
#define QZGUI_LOCAL_TIME_P_H

#include <QDateTime>
#include <QString>

namespace qz::gui {

/**
 * The current local time, the same QDateTime that QDateTime::currentDateTime() gives. Qt 5
 * re-reads the time zone for every conversion to local time, which costs microseconds, so the
 * conversion is reused within one millisecond (per thread).
 */
QDateTime local_now();

/**
 * @return @p time as QDateTime::toString("yyyy-MM-dd HH:mm:ss,zzz  ") renders it (the two blanks
 *         included), followed by @p rest; built in one allocation
 */
QString format_log_time(const QDateTime& time, const QString& rest = QString());

} // namespace qz::gui

#endif
