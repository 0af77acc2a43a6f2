// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/local_time_p.h"

#include <QLocale>

#include <algorithm>
#include <limits>

namespace qz::gui {

namespace {

// Whether QDateTime::toString(format) writes the digits 0 to 9. Qt 5 renders with the system
// locale, whose digits may be others (Arabic-Indic on an Arabic desktop); Qt 6 always with C's.
bool log_time_digits_are_ascii()
{
#if QT_VERSION_MAJOR >= 6
    return true;
#else
    return QLocale::system().zeroDigit() == QLatin1Char('0');
#endif
}

} // namespace

QDateTime local_now()
{
    // One record per thread, found with one look-up: values are stamped by the thousand.
    struct stamp_t {
        qint64 msecs = std::numeric_limits<qint64>::min();
        QDateTime time;
    };
    thread_local stamp_t last;
    const qint64 msecs = QDateTime::currentMSecsSinceEpoch();
    if (msecs != last.msecs) {
        last.time = QDateTime::fromMSecsSinceEpoch(msecs, Qt::LocalTime);
        last.msecs = msecs;
    }
    return last.time;
}

QString format_log_time(const QDateTime& time, const QString& rest)
{
    // Qt's format parser costs more than the rest of a log line together; the fields are written
    // directly where the result is certain to be the same: four-digit years in ASCII digits.
    const QDate date = time.date();
    const QTime clock = time.time();
    if (!date.isValid() || !clock.isValid() || date.year() < 0 || date.year() > 9999
        || !log_time_digits_are_ascii())
        return time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss,zzz  ")) + rest;

    constexpr int stamp_size = 25;
    QString text(stamp_size + rest.size(), Qt::Uninitialized);
    QChar* out = text.data();
    const auto put = [&out](int value, int digits, char after) {
        for (int i = digits - 1; i >= 0; --i, value /= 10)
            out[i] = QLatin1Char(char('0' + value % 10));
        out[digits] = QLatin1Char(after);
        out += digits + 1;
    };
    put(date.year(), 4, '-');
    put(date.month(), 2, '-');
    put(date.day(), 2, ' ');
    put(clock.hour(), 2, ':');
    put(clock.minute(), 2, ':');
    put(clock.second(), 2, ',');
    put(clock.msec(), 3, ' ');
    *out = QLatin1Char(' ');
    std::copy(rest.cbegin(), rest.cend(), out + 1);
    return text;
}

} // namespace qz::gui
