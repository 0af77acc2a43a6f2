// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/log_controller.h"

#include "qzgui/local_time_p.h"
#include "qzgui/log_menu_controller.h"
#include "qzgui/settings_keys.h"

#include <QDir>
#include <QFile>
#include <QListWidget>
#include <QSettings>
#include <QWidget>

namespace qz::gui {

namespace {

constexpr int batch_interval_ms = 800;

} // namespace

log_controller::log_controller(QWidget* parent, const QString& log_prefix, QListWidget* list)
    : QObject(parent)
    , _log_prefix(log_prefix)
    , _list_widget(list)
{
    // Its lines are queued for the list like any others; with a list, the timer the first of them
    // started is restarted below with the batch interval.
    _gen_log_file();
    if (_list_widget) {
        _cache_timer.setInterval(batch_interval_ms);
        _cache_timer.setSingleShot(true);
        connect(&_cache_timer, &QTimer::timeout, this, &log_controller::_on_cache_timer_timeout);
        _menu_controller = std::make_unique<log_menu_controller>(_list_widget);
    }
}

log_controller::~log_controller()
{
    _cache_timer.stop();
}

void log_controller::log(log_item::log_level_e level, const QString& message)
{
    QString text = message;
    if (text.endsWith(QLatin1Char('\r')))
        text.chop(1);
    const log_item item(level, text, local_now());
    // Rendered once: the file and the list show the same line.
    const QString line = item.toString();
    _write_log_line(line);
    if (_list_widget && (level != log_item::QZTTC || _is_verbose)) {
        _cache.append({level, line});
        if (!_cache_timer.isActive())
            _cache_timer.start();
    }
}

void log_controller::set_is_verbose(bool verbose)
{
    _is_verbose = verbose;
}

bool log_controller::get_is_verbose() const
{
    return _is_verbose;
}

void log_controller::set_max_visible_lines(const unsigned int& lines)
{
    _max_visible_lines = lines;
}

unsigned int log_controller::get_max_visible_lines() const
{
    return _max_visible_lines;
}

void log_controller::set_log_file_name(const QString& file_name)
{
    _log_file_name = file_name;
}

const QString& log_controller::get_log_file_name() const
{
    return _log_file_name;
}

void log_controller::_gen_log_file()
{
    const QSettings settings;
    const QDir directory(settings.value(QLatin1String(log_location_key)).toString());
    // A missing directory is reported, not created: only an existing one reaches mkpath().
    if (!directory.exists() || !directory.mkpath(directory.path())) {
        log(log_item::WARN, QStringLiteral("Could not create log directory: ") + directory.path());
        return;
    }
    _log_prefix += QLatin1Char('-');
    _log_file_name = settings.value(QLatin1String(log_location_key)).toString() + QDir::separator()
        + _log_prefix + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"))
        + QStringLiteral(".log");
    const QString announcement = QStringLiteral("Starting log at: ") + _log_file_name;
    log(log_item::INFO, announcement);
    log(log_item::INFO, QString(announcement.size(), QLatin1Char('-')));
}

void log_controller::_write_log_line(QString line)
{
    if (_log_file_name.isEmpty())
        return;
    QFile file(_log_file_name);
    if (!file.open(QIODevice::Append))
        return;
    line += QStringLiteral("\r\n");
    // Written as a zero-terminated string: a message holding U+0000 ends there, line end and all.
    const QByteArray bytes = line.toUtf8();
    const qint64 length = qint64(qstrlen(bytes.constData()));
    const qint64 before = file.size();
    // A line is written whole or not at all: a part left by a full disk would run into the next.
    // The file is cut back once closed, when no buffered rest can follow the cut.
    const bool whole = file.write(bytes.constData(), length) == length && file.flush();
    file.close();
    if (!whole)
        QFile::resize(_log_file_name, before);
}

QListWidgetItem* log_controller::_make_log_widget_item(const pending_line_t& pending) const
{
    auto* entry = new QListWidgetItem(nullptr, QListWidgetItem::Type);
    // White unless the level says otherwise; only an error sets a text colour.
    QColor background = Qt::white;
    switch (pending.level) {
    case log_item::ERROR:
        background = Qt::red;
        entry->setForeground(QBrush(Qt::white, Qt::SolidPattern));
        break;
    case log_item::QZTTC:
        background = Qt::cyan;
        break;
    case log_item::WARN:
        background = Qt::yellow;
        break;
    case log_item::INFO:
        break;
    }
    entry->setBackground(background);
    entry->setText(pending.line);
    return entry;
}

void log_controller::_on_cache_timer_timeout()
{
    // The row count and the limit compare as signed numbers.
    const int limit = static_cast<int>(_max_visible_lines);
    int first_shown = 0;
    if (limit >= 0) {
        // The result is the newest `limit` rows of the list followed by the batch. Lines the trim
        // would delete right after inserting them are never made into entries, and the rows it
        // would take from the front go in one step, so a burst costs what it holds, not its square.
        first_shown = qMax(0, _cache.size() - limit);
        const int arriving = _cache.size() - first_shown;
        _remove_front_rows(qMin(_list_widget->count(), _list_widget->count() + arriving - limit));
    }
    for (int i = first_shown; i < _cache.size(); ++i)
        _list_widget->insertItem(_list_widget->count(), _make_log_widget_item(_cache[i]));
    _cache.clear();

    // Nothing is left to trim here for a limit below 2^31. A larger limit reads as negative: every
    // row goes and the test then never ends, as settled for such limits.
    while (_list_widget->count() > limit) {
        QListWidgetItem* oldest = _list_widget->item(0);
        _list_widget->setItemWidget(oldest, nullptr);
        if (oldest)
            delete oldest;
    }

    if (_list_widget->count() > 0) {
        _list_widget->clearSelection();
        _list_widget->setCurrentRow(_list_widget->count() - 1);
    }
}

void log_controller::_remove_front_rows(int rows)
{
    if (rows <= 0)
        return;
    for (int row = 0; row < rows; ++row) {
        QListWidgetItem* entry = _list_widget->item(row);
        if (_list_widget->itemWidget(entry))
            _list_widget->setItemWidget(entry, nullptr);
    }
    _list_widget->model()->removeRows(0, rows);
}

} // namespace qz::gui
