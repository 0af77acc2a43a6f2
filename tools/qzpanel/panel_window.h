// SPDX-License-Identifier: BSD-3-Clause
// qzpanel's window: a whole form built from a device's register map, kept in step with the device.
#ifndef QZPANEL_PANEL_WINDOW_H
#define QZPANEL_PANEL_WINDOW_H

#include <qzgui/form_scan.h>
#include <qzgui/modbus/register_map.h>
#include <qzgui/resource_manager.h>
#include <qzgui/sat_worker.h>

#include <QHash>
#include <QMainWindow>
#include <QSet>

#include <memory>

class QCloseEvent;
class QLabel;
class QListWidget;
class QPushButton;
class QTabWidget;

namespace qz::gui {
class form_session;
class log_controller;
class worker_report_log;
class ui_controller;
class worker_thread;
} // namespace qz::gui

namespace qz::modbus {
class modbus_module;
}

namespace qz::panel {

class monitor_tab;

/**
 * The form of every parameter of a register map, built by qz::gui::build_form() and bound by
 * qz::gui::scan_form(), with Read, Write, Discard and Stop, a log, and parameter files. A field
 * is what the device holds or a pending change (qz::gui::form_session); until its first read it
 * holds nothing of the device's, and shows so: disabled, with no value (a check box half-checked).
 *
 * The Monitor tab polls chosen parameters into a trend and a CSV file; their values reach the form
 * too. While the device is lost (it refuses the connection or answers nothing) the form keeps the
 * last values, every one marked stale until read again, the status bar says since when, and Read
 * and Write are refused at once with a line saying why; polling resumes by itself when the device
 * is back. The status bar says what the user needs: polling and the last sweep's time, lost since
 * when, a request running, or idle with how the last request ended.
 */
class panel_window : public QMainWindow {
    Q_OBJECT
public:
    /**
     * @param map the device's register map
     * @param module the device's Modbus module; the window drives it through a worker in a thread
     *        of its own
     * @param address the device's address, for the title and the log
     */
    panel_window(const qz::modbus::register_map& map, std::unique_ptr<qz::modbus::modbus_module> module,
                 const QString& address, QWidget* parent = nullptr);
    ~panel_window() override;

    /// Reads every parameter of the map.
    void read_all();
    /// Writes the pending changes.
    void write_changes();
    /// Gives every pending field the device's value back.
    void discard_changes();
    /// Stops the running operation.
    void stop();
    /// Saves what the fields show (pending changes included; fields never read are left out).
    /// @return an error's text, or empty
    QString save_parameters(const QString& path);
    /// Loads a parameter file as pending changes. @return an error's text, or empty
    QString load_parameters(const QString& path);

    /// @return the field of @p id, or null
    QWidget* field(uint32_t id) const;
    /// @return the ids whose fields hold a change not on the device
    QVector<uint32_t> pending_ids() const;
    /// @return whether the field of @p id has shown a value of the device's yet
    bool has_device_value(uint32_t id) const { return !_unread.contains(id); }
    /// @return whether an operation is running or asked for
    bool is_busy() const { return _busy; }
    QPushButton* read_button() const { return _read; }
    QPushButton* write_button() const { return _write; }
    QPushButton* discard_button() const { return _discard; }
    QPushButton* stop_button() const { return _stop; }
    QListWidget* log_list() const { return _log_list; }
    /// @return the Monitor tab
    monitor_tab* monitor() const { return _monitor; }
    /// @return the status bar's text
    QString status_text() const;
    /// @return whether the field of @p id shows a value read before the device was lost
    bool is_stale(uint32_t id) const { return _stale.contains(id); }

Q_SIGNALS:
    /// An operation of the worker has ended.
    void operation_finished();

protected:
    /// With pending changes, asks first; then ends the worker and its thread.
    void closeEvent(QCloseEvent* event) override;

private:
    QString _name(uint32_t id) const;
    QString _value_text(uint32_t id, const QVariant& value) const;
    void _connect_worker();
    void _mark_read(uint32_t id);
    void _set_busy(bool busy, const QString& text = QString());
    void _request_ended(qz::gui::sat_worker::operation_type_e op, bool sweep);
    void _show_status();
    bool _refused_while_lost(const QString& what, const QString& then);
    void _end_worker();
    void _ask_save();
    void _ask_load();
    void _log_error(const QString& what, uint32_t id, const qz::gui::error_descriptor& err);
    void _on_link(bool up, const QString& text);
    void _mark_stale(uint32_t id, bool stale);

    qz::modbus::register_map _map;
    std::unique_ptr<qz::modbus::modbus_module> _module;
    std::unique_ptr<qz::gui::worker_thread> _thread; // ends before the module goes
    qz::gui::sat_worker* _worker = nullptr;
    qz::gui::resource_manager _texts;
    qz::gui::form_bindings _bindings;
    std::unique_ptr<qz::gui::ui_controller> _form;
    std::unique_ptr<qz::gui::form_session> _session;
    std::unique_ptr<qz::gui::log_controller> _log;
    QSet<uint32_t> _unread;
    QSet<uint32_t> _stale;
    QHash<uint32_t, QString> _tool_tips;               // of the stale fields, as they were
    qz::gui::worker_report_log* _report_log = nullptr; // quiet while polling
    monitor_tab* _monitor = nullptr;
    QTabWidget* _tabs = nullptr;
    bool _link_down = false;
    QListWidget* _log_list = nullptr;
    QLabel* _status = nullptr;
    QPushButton* _read = nullptr;
    QPushButton* _write = nullptr;
    QPushButton* _discard = nullptr;
    QPushButton* _stop = nullptr;
    bool _busy = false;
    QString _busy_text;  // what the running request of the window's does
    QString _unreached;  // the connection failure of the running operation, if any
    QString _outcome;    // how the window's last request ended, for the idle status
    QString _last_sweep; // when the last sweep ended
    QString _lost_since; // when the device was last lost, and why
    QString _lost_text;
};

} // namespace qz::panel

#endif
