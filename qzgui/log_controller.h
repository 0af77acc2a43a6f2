// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_LOG_CONTROLLER_H
#define QZGUI_LOG_CONTROLLER_H

#include "qzgui/qzgui_export.h"

#include "qzgui/log_item.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <QVector>

#include <memory>

class QListWidget;
class QListWidgetItem;
class QWidget;

namespace qz::gui {

class log_menu_controller;

/**
 * @class log_controller log_controller.h <qzgui/log_controller.h>
 *
 * The log of a host application: every log() call appends one line to the run's log file and,
 * with a list attached, adds a coloured entry to it.
 *
 * The log file is chosen once, at construction: the directory is the settings value
 * "common/log_location" (read through a default-constructed QSettings; the directory must exist),
 * the name is the prefix, "-", the start time as "yyyyMMdd-HHmmss" and ".log". Lines are UTF-8,
 * each ended by "\r\n"; the file is opened and closed for every line, so nothing is lost when the
 * application dies. The first two lines announce the file. A missing directory is reported by a
 * WARN entry in the list, and the controller then logs to the list only.
 *
 * List entries are shown in batches, 800 ms after the first entry of a burst, and the list keeps
 * the newest get_max_visible_lines() rows (200 by default), with the newest row current.
 * Entries are white, WARN yellow, ERROR white on red, QZTTC cyan; QZTTC entries are listed only
 * when the controller is verbose, but always written to the file.
 *
 * The list gets a log_menu_controller context menu. The controller owns neither the list nor its
 * entries once shown. GUI thread only.
 *
 * @code
 * QSettings().setValue("common/log_location", QDir::homePath() + "/.local/state/mytool");
 * auto* log = new qz::gui::log_controller(this, "mytool", ui->log_list);
 * log->log(qz::gui::log_item::INFO, "connected");
 * @endcode
 */
class QZGUI_EXPORT log_controller : public QObject {
public:
    /**
     * Chooses and announces the log file, then attaches @p list, if any.
     * @param parent the parent object
     * @param log_prefix the start of the log file's name
     * @param list the on-screen log; not owned; null for a file-only log
     */
    log_controller(QWidget* parent, const QString& log_prefix, QListWidget* list);

    /// Destroys the controller and the lines not shown yet; shown entries stay in the list.
    ~log_controller() override;

    /**
     * Logs one message: writes its line to the file and queues its list entry. A final carriage
     * return is dropped (only one, and not one followed by a line feed).
     * @param level the severity; QZTTC reaches the list only when verbose
     * @param message the text
     */
    void log(log_item::log_level_e level, const QString& message);

    /// Lists QZTTC entries logged from now on (true) or not (false, the default).
    void set_is_verbose(bool verbose);
    /// @return whether QZTTC entries are listed
    bool get_is_verbose() const;

    /// Sets how many rows the list keeps; applied at the next batch. Limits of 2^31 or more are
    /// not supported (a batch would never end).
    void set_max_visible_lines(const unsigned int& lines);
    /// @return how many rows the list keeps
    unsigned int get_max_visible_lines() const;

    /// Sends the lines that follow to @p file_name; empty means no file. Nothing is written now.
    void set_log_file_name(const QString& file_name);
    /// @return the log file's path, empty when lines go to no file
    const QString& get_log_file_name() const;

private:
    void _gen_log_file();
    void _write_log_line(QString line);
    // A line waiting for the next batch; its list entry is built only if the batch keeps it.
    struct pending_line_t {
        log_item::log_level_e level;
        QString line;
    };

    QListWidgetItem* _make_log_widget_item(const pending_line_t& pending) const;
    void _on_cache_timer_timeout();
    void _remove_front_rows(int rows);

    QString _log_prefix;
    QListWidget* _list_widget;
    QVector<pending_line_t> _cache;
    std::unique_ptr<log_menu_controller> _menu_controller;
    QTimer _cache_timer;
    QString _log_file_name;
    bool _is_verbose = false;
    unsigned int _max_visible_lines = 200;
};

} // namespace qz::gui

#endif
