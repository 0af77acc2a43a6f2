// SPDX-License-Identifier: BSD-3-Clause
#ifndef DEVICE_CONSOLE_CONSOLE_WINDOW_H
#define DEVICE_CONSOLE_CONSOLE_WINDOW_H

#include <qzgui/resource_manager.h>
#include <qzgui/sat_worker.h>
#include <qzgui/ui_controller.h>
#include <qzgui/widget_profile_controller.h>

#include <QMainWindow>
#include <QThread>

#include <memory>

class QAction;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;

namespace qz::gui {
class HexSpinBox;
class log_controller;
} // namespace qz::gui

namespace qz::sim {
class simulated_module;
class simulated_worker;
} // namespace qz::sim

namespace device_console {

/**
 * The device console: a parameter form bound to a device worker in its own thread, with the log,
 * profiles, settings and fault injection of the simulated device.
 */
class console_window : public QMainWindow {
    Q_OBJECT

public:
    /// @param module the device; must outlive the window
    explicit console_window(qz::sim::simulated_module& module, QWidget* parent = nullptr);

    /// Stops the worker, ends its thread, then destroys it.
    ~console_window() override;

    /// Reads every parameter from the device.
    void read_all();
    /// Writes the parameters the user changed.
    void write_changes();
    /// Puts the changed fields back to the values last read.
    void discard_changes();
    /// Cuts the running operation short.
    void stop();
    /// Activates profile @p index (0 standard, 1 extended).
    void select_profile(int index);

    /// Fault injection of the Device menu.
    void set_unplugged(bool on);
    void set_pipe_mode(bool on);
    void set_crc_error_on_gain(bool on);
    void set_slow_device(bool on);

    qz::gui::log_controller& log() { return *_log; }
    QLineEdit* name_field() const { return _name; }
    QSpinBox* gain_field() const { return _gain; }
    QCheckBox* output_field() const { return _output; }

Q_SIGNALS:
    /// An operation of the worker has ended.
    void operation_finished();

private:
    QWidget* _build_form();
    QWidget* _build_controls();
    void _build_menus();
    void _build_profiles();
    void _connect_worker();
    void _on_operation(qz::gui::sat_worker::operation_type_e op,
                       qz::gui::sat_worker::operation_status_e status);
    void _on_value(uint32_t id, const QVariant& value);
    void _on_parameter_error(const char* what, uint32_t id, const qz::gui::error_descriptor& err);
    void _apply_faults();
    void _set_busy(bool busy);

    qz::sim::simulated_module& _module;
    QThread _worker_thread;
    qz::sim::simulated_worker* _worker;
    qz::gui::resource_manager _texts;

    QMap<uint32_t, QPair<qz::gui::widget_type_e, QObject*>> _widgets;
    QMap<uint32_t, QWidget*> _hints;
    QMap<uint32_t, QVariant> _last_read;
    std::unique_ptr<qz::gui::ui_controller> _form;
    qz::gui::widget_profile_controller _profiles;

    QCheckBox* _output = nullptr;
    QLineEdit* _name = nullptr;
    QSpinBox* _gain = nullptr;
    QLabel* _frequency_unit = nullptr;
    qz::gui::HexSpinBox* _address = nullptr;
    qz::gui::HexSpinBox* _mask = nullptr;
    QComboBox* _profile = nullptr;
    QPushButton* _read = nullptr;
    QPushButton* _write = nullptr;
    QPushButton* _discard = nullptr;
    QPushButton* _stop = nullptr;
    QListWidget* _log_list = nullptr;
    std::unique_ptr<qz::gui::log_controller> _log;
    QLabel* _status = nullptr;
    bool _unplugged = false;
    bool _crc_on_gain = false;
};

} // namespace device_console

#endif
