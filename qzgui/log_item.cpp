// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/log_item.h"

#include "qzgui/local_time_p.h"

#include <QDateTime>
#include <QStringBuilder>

namespace qz::gui {

namespace {

// The label table every record holds; built once and shared by copy, since each record's own
// table would have the same contents in the same order.
const QMap<log_item::log_level_e, QString>& level_labels()
{
    static const QMap<log_item::log_level_e, QString> labels = [] {
        QMap<log_item::log_level_e, QString> table;
        table.insert(log_item::QZTTC, QStringLiteral("QZTTC"));
        table.insert(log_item::INFO, QStringLiteral("INFO "));
        table.insert(log_item::WARN, QStringLiteral("WARN "));
        table.insert(log_item::ERROR, QStringLiteral("ERROR"));
        return table;
    }();
    return labels;
}

} // namespace

log_item::log_item()
    : log_item(INFO, QString(), local_now())
{}

log_item::log_item(log_level_e level, const QString& message, const QDateTime& date)
    : _log_level(level)
    , _message(new QString(message))
    , _date(new QDateTime(date))
    , _level_labels(new QMap<log_level_e, QString>(level_labels()))
{}

log_item::log_item(const log_item& other)
    : log_item(other._log_level, *other._message, *other._date)
{}

log_item::~log_item()
{
    delete _date;
    delete _message;
    delete _level_labels;
}

QDateTime log_item::get_date() const
{
    return *_date;
}

log_item::log_level_e log_item::get_log_level() const
{
    return _log_level;
}

QString log_item::get_message() const
{
    return *_message;
}

QString log_item::toString() const
{
    return format_log_time(*_date, _level_labels->value(_log_level) % QLatin1Char(' ') % *_message);
}

} // namespace qz::gui
