// SPDX-License-Identifier: BSD-3-Clause
#ifndef DEVICE_CONSOLE_CONSOLE_WINDOW_H
#define DEVICE_CONSOLE_CONSOLE_WINDOW_H

#include <qzgui/resource_manager.h>
#include <qzgui/sample_history.h>
#include <qzgui/sat_worker.h>
#include <qzgui/ui_controller.h>
#include <qzgui/widget_profile_controller.h>

#include <QMainWindow>

#include <memory>

namespace qz::gui {
class worker_thread;
}

class QAction;
class QCheckBox;
class QCloseEvent;
class QString;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QTimer;

namespace qz::gui {
class form_session;
class log_controller;
class worker_report_log;
class poller;
class trend_view;
} // namespace qz::gui

namespace Ui {
class parameter_form;
} // namespace Ui

namespace qz::sim {
class simulated_module;
} // namespace qz::sim

namespace device_console {

class device_faults;

/**
 * The device console: a parameter form bound to a device worker in its own thread, with the log,
 * profiles, settings and fault injection of the simulated device.
 */
class console_window : public QMainWindow {
    Q_OBJECT

public:
    /// Runs against the simulated device, with the Device menu's fault injection.
    /// @param module the device; must outlive the window
    explicit console_window(qz::sim::simulated_module& module, QWidget* parent = nullptr);

    /**
     * Runs against any device through @p worker (not yet moved to a thread) and its @p module
     * (destroyed after the worker). Only the parameters in @p device_ids are read; the fields of
     * the others are disabled.
     */
    console_window(std::unique_ptr<qz::gui::sat_worker> worker,
                   std::unique_ptr<qz::api::proto::qz_module> module, const QVector<uint32_t>& device_ids,
                   QWidget* parent = nullptr);

    /// Stops the worker, ends its thread, then destroys it.
    ~console_window() override;

    /// Reads every parameter from the device; ignored while an operation runs.
    void read_all();
    /// Writes the parameters the user changed; ignored while an operation runs.
    void write_changes();
    /// Puts the changed fields back to the device's values; a field that the active profile
    /// cannot show the device's value in stays pending.
    void discard_changes();
    /// Cuts the running operation short.
    void stop();
    /// Activates profile @p index (0 standard, 1 extended).
    void select_profile(int index);

    /// Shows @p address, the device the console talks to, in the title, and logs it.
    void set_device_address(const QString& address);

    /// Saves what every field shows (pending changes included) to the parameter file @p path.
    /// @return false when it could not; the log says why
    bool save_parameters_to(const QString& path);
    /// Loads the parameter file @p path: each value that differs from its field becomes a pending
    /// change, for Write to send. Values of other devices' parameters, values the form cannot
    /// edit and values the active profile cannot show are logged.
    /// @return false when the file could not be loaded; nothing changed then and the log says why
    bool load_parameters_from(const QString& path);

    /// The Device menu's faults of the simulated device; null for a real device.
    device_faults* faults() const { return _faults.get(); }
    /// Whether a request was made and its operation has not ended yet.
    bool is_busy() const { return _busy; }
    /// The ids of the fields that hold a change not yet on the device, in the order of change.
    QVector<uint32_t> pending_ids() const;
    /// What the field of @p id shows, as a write would send it; invalid for fields without a value.
    QVariant field_value(uint32_t id) const;
    /// Whether the field of @p id has shown a value of the device's (read or written) yet.
    bool has_device_value(uint32_t id) const;

    qz::gui::log_controller& log() { return *_log; }
    QLineEdit* name_field() const;
    QSpinBox* gain_field() const;
    QCheckBox* output_field() const;
    QWidget* field(uint32_t id) const;
    QWidget* hint(uint32_t id) const { return _hints.value(id); }
    QPushButton* read_button() const { return _read; }
    QPushButton* write_button() const { return _write; }
    QPushButton* discard_button() const { return _discard; }
    QPushButton* stop_button() const { return _stop; }
    QComboBox* profile_box() const { return _profile; }
    /// The "Watch" box of the signal level: polls it into the small trend while ticked.
    QCheckBox* watch_level_box() const { return _watch_level; }
    /// The signal level's recent samples, as the trend draws them.
    const qz::gui::sample_history& level_history() const { return _level_history; }
    qz::gui::trend_view* level_trend() const { return _level_trend; }

Q_SIGNALS:
    /// An operation of the worker has ended.
    void operation_finished();

protected:
    /// With pending changes, asks whether to write them first, discard them or stay open; then
    /// stops the worker and lets its last reports reach the log before the window goes.
    void closeEvent(QCloseEvent* event) override;

private:
    console_window(std::unique_ptr<qz::gui::sat_worker> worker,
                   std::unique_ptr<qz::api::proto::qz_module> device, qz::sim::simulated_module* module,
                   const QVector<uint32_t>& device_ids, QWidget* parent);
    QWidget* _build_form();
    QWidget* _build_controls();
    void _build_menus();
    void _build_profiles();
    void _connect_worker();
    void _on_request_end(qz::gui::sat_worker::operation_type_e op, bool sweep);
    void _watch_level_changed(bool on);
    void _on_parameter_error(const char* what, uint32_t id, const qz::gui::error_descriptor& err);
    void _set_busy(bool busy);
    void _stop_worker();
    void _ask_save_parameters();
    void _ask_load_parameters();
    bool _may_close();
    void _continue_closing();

    // Destroyed in this order, last member first: the worker before the module it drives.
    std::unique_ptr<qz::api::proto::qz_module> _device; // a real device's module, else null
    std::unique_ptr<device_faults> _faults;             // the simulated device's, else null
    std::unique_ptr<qz::gui::worker_thread> _worker_thread;
    qz::gui::sat_worker* _worker = nullptr; // the thread's, until it ends
    QVector<uint32_t> _device_ids;          // what a read asks for
    qz::gui::resource_manager _texts;

    std::unique_ptr<Ui::parameter_form> _ui;
    QMap<uint32_t, QPair<qz::gui::widget_type_e, QObject*>> _widgets;
    QMap<uint32_t, QWidget*> _hints;
    std::unique_ptr<qz::gui::ui_controller> _form;
    std::unique_ptr<qz::gui::form_session> _session;
    qz::gui::widget_profile_controller _profiles;

    QComboBox* _profile = nullptr;
    QPushButton* _read = nullptr;
    QPushButton* _write = nullptr;
    QPushButton* _discard = nullptr;
    QPushButton* _stop = nullptr;
    QListWidget* _log_list = nullptr;
    std::unique_ptr<qz::gui::log_controller> _log;
    QLabel* _status = nullptr;
    bool _busy = false;
    // The signal level, polled into a small trend while "Watch" is ticked.
    std::unique_ptr<qz::gui::poller> _poller;
    qz::gui::sample_history _level_history{5 * 60 * 1000};
    qz::gui::trend_view* _level_trend = nullptr;
    QCheckBox* _watch_level = nullptr;
    QTimer* _level_redraw = nullptr;
    qz::gui::worker_report_log* _report_log = nullptr; // quiet while polling
    // Closing waits for the pending changes to be written: first for a running operation to end,
    // then for the write.
    enum class close_after_e { nothing, write, written } _close_after = close_after_e::nothing;
};

} // namespace device_console

#endif
