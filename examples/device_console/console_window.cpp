// SPDX-License-Identifier: BSD-3-Clause
#include "console_window.h"

#include "device_faults.h"
#include "device_parameters.h"
#include "settings_dialog.h"

#include "simulator/simulated_worker.h"

#include "ui_parameter_form.h"

#include <qzgui/HexSpinBox16.h>
#include <qzgui/HexSpinBox32.h>
#include <qzgui/form_scan.h>
#include <qzgui/form_session.h>
#include <qzgui/log_controller.h>
#include <qzgui/parameter_description.h>
#include <qzgui/parameter_file.h>
#include <qzgui/poller.h>
#include <qzgui/trend/trend_view.h>
#include <qzgui/worker_log.h>
#include <qzgui/worker_report_log.h>
#include <qzgui/worker_thread.h>

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTimer>

#include <chrono>
#include <stdexcept>

namespace device_console {

using qz::gui::log_item;
using qz::gui::sat_worker;
using namespace std::chrono_literals;

console_window::console_window(qz::sim::simulated_module& module, QWidget* parent)
    : console_window(std::make_unique<qz::sim::simulated_worker>(nullptr, &module), nullptr, &module, {},
                     parent)
{}

console_window::console_window(std::unique_ptr<qz::gui::sat_worker> worker,
                               std::unique_ptr<qz::api::proto::qz_module> module,
                               const QVector<uint32_t>& device_ids, QWidget* parent)
    : console_window(std::move(worker), std::move(module), nullptr, device_ids, parent)
{}

console_window::console_window(std::unique_ptr<qz::gui::sat_worker> worker,
                               std::unique_ptr<qz::api::proto::qz_module> device,
                               qz::sim::simulated_module* module, const QVector<uint32_t>& device_ids,
                               QWidget* parent)
    : QMainWindow(parent)
    , _device(std::move(device))
    , _faults(module ? std::make_unique<device_faults>(*module) : nullptr)
    , _ui(std::make_unique<Ui::parameter_form>())
{
    setWindowTitle(tr("Device console"));
    // The log comes first, so that everything from here on can be logged. It reads its directory
    // from the settings now, once.
    _log_list = new QListWidget;
    _log_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    _log = std::make_unique<qz::gui::log_controller>(this, QStringLiteral("device_console"), _log_list);

    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    auto* top = new QHBoxLayout;
    top->addWidget(_build_form(), 3);
    top->addWidget(_build_controls(), 1);
    layout->addLayout(top);
    layout->addWidget(_level_trend, 1);
    layout->addWidget(_log_list, 1);
    setCentralWidget(central);
    _status = new QLabel;
    statusBar()->addWidget(_status);
    _status->setText(
        tr("Device: %1").arg(_texts.get_connection_state_string(sat_worker::state_disconnected)));

    _form = std::make_unique<qz::gui::ui_controller>(&_widgets, &_hints);
    // Keeps the form and the device in step: every field shows the device's value or is pending.
    _session = std::make_unique<qz::gui::form_session>(_form.get(), &_widgets, &_hints);
    _session->set_value_formatter(&format_value);
    connect(_session.get(), &qz::gui::form_session::on_pending_kept, this,
            [this](uint32_t id, const QVariant& shown, const QVariant& device) {
                _log->log(log_item::INFO,
                          QStringLiteral("%1: %2 is pending, the device holds %3")
                              .arg(parameter_name(id), format_value(id, shown), format_value(id, device)));
            });
    connect(_session.get(), &qz::gui::form_session::on_value_not_shown, this,
            [this](uint32_t id, const QVariant&, const QString& text) {
                _log->log(log_item::WARN, parameter_name(id) + QStringLiteral(": ") + text);
            });
    _build_profiles();
    _build_menus();

    // A real device may not hold every parameter of the form: its fields stay disabled, through
    // every profile switch too (see select_profile()).
    for (const parameter_t& p : parameters()) {
        if (_faults || device_ids.contains(p.id))
            _device_ids.append(p.id);
        else if (field(p.id))
            _log->log(log_item::WARN,
                      QStringLiteral("%1: the device has no such parameter; the field is disabled")
                          .arg(parameter_name(p.id)));
    }

    // From here on the worker's thread owns it, and deletes it as the thread ends.
    _worker_thread = std::make_unique<qz::gui::worker_thread>(std::move(worker));
    _worker = _worker_thread->worker();
    _connect_worker();
    select_profile(0);
    resize(960, 720);
}

console_window::~console_window()
{
    // The worker has gone with its thread before the module it drives (a member) goes.
    _stop_worker();
}

void console_window::closeEvent(QCloseEvent* event)
{
    if (!_may_close()) {
        event->ignore();
        return;
    }
    _stop_worker();
    QMainWindow::closeEvent(event);
}

bool console_window::_may_close()
{
    if (_close_after != close_after_e::nothing)
        return false; // still waiting for the write; closes by itself afterwards
    if (pending_ids().isEmpty())
        return true;
    QMessageBox ask(QMessageBox::Question, tr("Device console"),
                    tr("%n field(s) hold changes that are not on the device.", nullptr, pending_ids().size()),
                    QMessageBox::Discard | QMessageBox::Cancel, this);
    QPushButton* write = ask.addButton(tr("Write"), QMessageBox::AcceptRole);
    ask.setDefaultButton(write);
    ask.setInformativeText(tr("Write them to the device before closing?"));
    ask.exec();
    if (ask.clickedButton() == write) {
        // The window closes once the write has ended and left nothing pending.
        _log->log(log_item::INFO, QStringLiteral("closing after the pending changes are written"));
        _close_after = close_after_e::write;
        if (!_busy) {
            _close_after = close_after_e::written;
            write_changes();
        }
        return false;
    }
    if (ask.standardButton(ask.clickedButton()) == QMessageBox::Discard) {
        _log->log(log_item::INFO, QStringLiteral("closing: pending changes discarded"));
        return true;
    }
    return false; // Cancel, or the dialog closed
}

void console_window::_stop_worker()
{
    if (!_worker)
        return;
    _watch_level->setChecked(false);
    _worker_thread->end();
    _worker = nullptr;
    // The worker's last reports (the stop, the disconnect, the end of the operation) are queued to
    // this window and its log's receiver; they reach the log now, in their order, before the
    // window goes.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
}

QLineEdit* console_window::name_field() const
{
    return _ui->name;
}

QSpinBox* console_window::gain_field() const
{
    return _ui->gain;
}

QCheckBox* console_window::output_field() const
{
    return _ui->output;
}

QWidget* console_window::field(uint32_t id) const
{
    return static_cast<QWidget*>(_widgets.value(id).second);
}

QVector<uint32_t> console_window::pending_ids() const
{
    return _session->pending_ids();
}

QVariant console_window::field_value(uint32_t id) const
{
    return _session->field_value(id);
}

bool console_window::has_device_value(uint32_t id) const
{
    return _session->device_values().contains(id);
}

QWidget* console_window::_build_form()
{
    // Drawn in Designer; each field names its parameter in the dynamic property qz_param_id, and
    // each row's label, the field's buddy, carries the hints.
    auto* box = new QGroupBox;
    _ui->setupUi(box);
    const qz::gui::form_bindings bindings = qz::gui::scan_form(box);
    _widgets = bindings.widgets;
    _hints = bindings.hints;
    return box;
}

QWidget* console_window::_build_controls()
{
    auto* box = new QGroupBox(tr("Device"));
    auto* layout = new QVBoxLayout(box);
    _read = new QPushButton(tr("Read"));
    _write = new QPushButton(tr("Write"));
    _discard = new QPushButton(tr("Discard"));
    _stop = new QPushButton(tr("Stop"));
    _stop->setEnabled(false);
    for (QPushButton* button : {_read, _write, _discard, _stop})
        layout->addWidget(button);
    connect(_read, &QPushButton::clicked, this, &console_window::read_all);
    connect(_write, &QPushButton::clicked, this, &console_window::write_changes);
    connect(_discard, &QPushButton::clicked, this, &console_window::discard_changes);
    connect(_stop, &QPushButton::clicked, this, &console_window::stop);

    layout->addSpacing(12);
    layout->addWidget(new QLabel(tr("Profile")));
    _profile = new QComboBox;
    _profile->addItems({tr("Standard"), tr("Extended band")});
    connect(_profile, qOverload<int>(&QComboBox::activated), this, &console_window::select_profile);
    layout->addWidget(_profile);

    auto* verbose = new QCheckBox(tr("Verbose log"));
    connect(verbose, &QCheckBox::toggled, this, [this](bool on) {
        _log->set_is_verbose(on);
        _texts.set_verbose_level(on ? 10 : 0);
    });
    verbose->setChecked(true);
    layout->addWidget(verbose);

    // The signal level over the last minute: a poller reads it into a history, which a trend draws.
    layout->addSpacing(12);
    _watch_level = new QCheckBox(tr("Watch the signal level"));
    _watch_level->setToolTip(tr("Reads the signal level twice a second into the trend below"));
    layout->addWidget(_watch_level);
    qz::gui::parameter_description level;
    level.id = id_level;
    level.name = tr("Signal level");
    level.unit = QStringLiteral("%");
    _level_trend = new qz::gui::trend_view(&_level_history);
    _level_trend->add_parameter(level);
    _level_trend->set_span(60 * 1000);
    // Under the form, across the window (see the constructor): a trend needs width more than height.
    _level_trend->setMinimumHeight(230);
    layout->addStretch(1);
    _level_redraw = new QTimer(this);
    _level_redraw->setInterval(250);
    connect(_level_redraw, &QTimer::timeout, _level_trend, &qz::gui::trend_view::refresh);
    return box;
}

void console_window::_build_menus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Save parameters..."), this, &console_window::_ask_save_parameters);
    file->addAction(tr("&Load parameters..."), this, &console_window::_ask_load_parameters);
    file->addSeparator();
    file->addAction(tr("&Settings..."), this, [this] { settings_dialog(this).exec(); });
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close);

    // Faults are injected into the simulated device only; a real one shows its own.
    if (!_faults)
        return;
    QMenu* device = menuBar()->addMenu(tr("&Device"));
    const auto toggle = [&](const QString& text, void (device_faults::*set)(bool)) {
        QAction* action = device->addAction(text);
        action->setCheckable(true);
        connect(action, &QAction::toggled, this, [this, set](bool on) { (_faults.get()->*set)(on); });
    };
    toggle(tr("Unplugged (no device at the port)"), &device_faults::set_unplugged);
    toggle(tr("Pipe-mode transport"), &device_faults::set_pipe_mode);
    toggle(tr("CRC error on gain"), &device_faults::set_crc_error_on_gain);
    toggle(tr("Slow device"), &device_faults::set_slow_device);
}

void console_window::_build_profiles()
{
    using namespace qz::gui;
    QWidget* gain = _ui->gain;
    QWidget* frequency = _ui->frequency;
    QWidget* mode = _ui->mode;
    QWidget* unit = _ui->frequency_unit;
    QWidget* address = _ui->address;
    _profiles.register_profile(
        0,
        {{gain, std::make_shared<widget_profile_spinbox_t>(true, 0, 30, 1)},
         {frequency,
          std::make_shared<widget_profile_doublespinbox_t>(true, 430.0, 440.0, 0.01, 2, keep_value)},
         {mode, std::make_shared<widget_profile_combobox_t>(true, mode_choices(false))},
         {unit, std::make_shared<widget_profile_label_t>(true, QStringLiteral("MHz"))},
         {address, std::make_shared<widget_profile_spinbox_t>(false, 0, 0xFF, 1)}});
    _profiles.register_profile(
        1,
        {{gain, std::make_shared<widget_profile_spinbox_t>(true, 0, 60, 2)},
         {frequency,
          std::make_shared<widget_profile_doublespinbox_t>(true, 400.0, 470.0, 0.001, 3, keep_value)},
         {mode, std::make_shared<widget_profile_combobox_t>(true, mode_choices(true))},
         {unit, std::make_shared<widget_profile_label_t>(true, QStringLiteral("MHz (extended)"))},
         {address, std::make_shared<widget_profile_spinbox_t>(true, 0, 0xFFFF, 1)}});
}

void console_window::_connect_worker()
{
    // Report signals come from the worker's thread and arrive here queued.
    _report_log = new qz::gui::worker_report_log(_worker, _log.get(), &_texts, this);
    // The poller shares the worker with the console's own requests; it tells whose request ended.
    _poller = std::make_unique<qz::gui::poller>(_worker);
    connect(_poller.get(), &qz::gui::poller::on_request_end, this, &console_window::_on_request_end);
    connect(_poller.get(), &qz::gui::poller::on_sample, this,
            [this](uint32_t id, const QVariant& value, qint64 time) {
                _level_history.add(id, time, value.toDouble());
            });
    connect(_poller.get(), &qz::gui::poller::on_sample_error, this,
            [this](uint32_t id, const qz::gui::error_descriptor&, qint64 time) {
                _level_history.add_gap(id, time);
            });
    connect(_poller.get(), &qz::gui::poller::on_link, this, [this](bool up, const QString& text) {
        if (up) {
            _log->log(log_item::INFO, QStringLiteral("signal level: the device is back"));
            return;
        }
        _level_history.add_gap(id_level, QDateTime::currentMSecsSinceEpoch());
        _log->log(log_item::WARN, QStringLiteral("signal level: the device is lost: %1").arg(text));
    });
    connect(_watch_level, &QCheckBox::toggled, this, &console_window::_watch_level_changed);
    // A device without the signal level has nothing to watch.
    _watch_level->setEnabled(_device_ids.contains(id_level));
    connect(_worker, &sat_worker::on_connection_state, this, [this](sat_worker::connection_state_e cs) {
        _status->setText(tr("Device: %1").arg(_texts.get_connection_state_string(cs)));
    });
    // Values are logged first, then shown by the session's rules. The watched level would bury
    // the rest: its trend shows it instead.
    connect(_worker, &sat_worker::on_get_param, this, [this](uint32_t id, const QVariant& value) {
        if (id == id_level && _poller->is_active())
            return;
        _log->log(log_item::QZTTC,
                  QStringLiteral("read %1 = %2").arg(parameter_name(id), format_value(id, value)));
    });
    connect(_worker, &sat_worker::on_set_param, this, [this](uint32_t id, const QVariant& value) {
        _log->log(log_item::QZTTC,
                  QStringLiteral("written %1 = %2").arg(parameter_name(id), format_value(id, value)));
    });
    connect(
        _worker, &sat_worker::on_get_param_request_error, this,
        [this](uint32_t id, const qz::gui::error_descriptor& err) { _on_parameter_error("read", id, err); });
    connect(
        _worker, &sat_worker::on_set_param_request_error, this,
        [this](uint32_t id, const qz::gui::error_descriptor& err) { _on_parameter_error("write", id, err); });
    _session->connect_worker(_worker);
}

void console_window::_watch_level_changed(bool on)
{
    if (!_worker)
        return;
    // Sweep after sweep would bury everything else in the log: while watching, the worker's
    // routine reports stay out of it.
    _report_log->set_enabled(!on);
    if (on) {
        _poller->start({id_level}, 500);
        _level_redraw->start();
        _log->log(log_item::INFO, QStringLiteral("watching the signal level every 500 ms"));
    } else {
        _poller->stop();
        _level_redraw->stop();
        _level_trend->refresh();
        _log->log(log_item::INFO, QStringLiteral("signal level: no longer watched"));
    }
}

void console_window::_on_request_end(sat_worker::operation_type_e op, bool sweep)
{
    Q_UNUSED(op)
    if (sweep) // the poller's, not a request of the console's
        return;
    _set_busy(false);
    emit operation_finished();
    _continue_closing();
}

void console_window::_continue_closing()
{
    switch (_close_after) {
    case close_after_e::nothing:
        return;
    case close_after_e::write:
        // The operation that was running when the user closed has ended: now the write.
        _close_after = close_after_e::written;
        if (!pending_ids().isEmpty()) {
            write_changes();
            return;
        }
        break;
    case close_after_e::written:
        break;
    }
    _close_after = close_after_e::nothing;
    if (!pending_ids().isEmpty()) {
        _log->log(log_item::WARN, QStringLiteral("not closing: changes are still pending after the write"));
        return;
    }
    close();
}

void console_window::_on_parameter_error(const char* what, uint32_t id, const qz::gui::error_descriptor& err)
{
    // The catalogue's text, and what the device said: the whole message in the verbose log, its
    // detail otherwise ("Modbus exception 0x02 (illegal data address)", "read-only").
    const QString text = qz::gui::failure_line(_texts, err);
    _log->log(log_item::ERROR,
              QStringLiteral("%1 %2: %3").arg(QLatin1String(what), parameter_name(id), text));
    _session->mark_failed(id, text);
}

void console_window::_set_busy(bool busy)
{
    // One request at a time: Read and Write are disabled as soon as a request is made, not when
    // the worker begins it, so a quick second click cannot queue another. Discard stays: it only
    // touches the form.
    _busy = busy;
    _read->setEnabled(!busy);
    _write->setEnabled(!busy);
    _stop->setEnabled(busy);
}

void console_window::read_all()
{
    if (_busy || !_worker) // busy, or closed: the worker has gone with its thread
        return;
    if (_faults)
        _faults->apply();
    _set_busy(true);
    emit _worker->get_params(_device_ids);
}

void console_window::write_changes()
{
    if (_busy || !_worker)
        return;
    const QVector<QPair<uint32_t, QVariant>> changes = _session->pending_changes();
    if (changes.isEmpty()) {
        _log->log(log_item::WARN, QStringLiteral("nothing to write: no field was changed"));
        return;
    }
    if (_faults)
        _faults->apply();
    _set_busy(true);
    emit _worker->set_params(changes);
}

void console_window::discard_changes()
{
    _session->discard_changes();
}

void console_window::stop()
{
    _log->log(log_item::WARN, QStringLiteral("stop requested"));
    if (_worker)
        _worker->stop();
}

void console_window::select_profile(int index)
{
    _profile->setCurrentIndex(index);
    _log->log(log_item::INFO, QStringLiteral("profile: ") + _profile->itemText(index));
    // A field the profile changed to a value the device does not hold (a clamped gain, a rounded
    // frequency, a mode the profile lacks) becomes a pending change that the next Write sends.
    _session->reconfigure([&] { _profiles.set_active_profile(uint32_t(index)); });
    // A profile enables the fields it knows; one the device lacks stays disabled all the same.
    for (const parameter_t& p : parameters())
        if (QWidget* widget = field(p.id); widget && !_device_ids.contains(p.id))
            widget->setEnabled(false);
}

void console_window::set_device_address(const QString& address)
{
    setWindowTitle(tr("Device console - %1").arg(qz::gui::printable_text(address)));
    _log->log(log_item::INFO, QStringLiteral("device: ") + qz::gui::printable_text(address));
}

bool console_window::save_parameters_to(const QString& path)
{
    // Fields that hold no value (never read) are left out, not saved as a made-up one.
    const QMap<uint32_t, QVariant> values = _session->shown_values();
    try {
        qz::gui::save_parameters(path, values);
    } catch (const std::runtime_error& e) {
        _log->log(log_item::ERROR,
                  QStringLiteral("parameters not saved: ")
                      + qz::gui::printable_text(QString::fromUtf8(e.what())));
        return false;
    }
    _log->log(
        log_item::INFO,
        QStringLiteral("saved %1 parameters to %2").arg(values.size()).arg(qz::gui::printable_text(path)));
    return true;
}

bool console_window::load_parameters_from(const QString& path)
{
    QMap<uint32_t, QVariant> values;
    try {
        values = qz::gui::load_parameters(path);
    } catch (const std::runtime_error& e) {
        _log->log(log_item::ERROR,
                  QStringLiteral("parameters not loaded: ")
                      + qz::gui::printable_text(QString::fromUtf8(e.what())));
        return false;
    }
    const QVector<uint32_t> unbound = _session->apply_values(values);
    const QMap<uint32_t, QVariant> shown = qz::gui::read_form_values(_widgets);
    QStringList not_editable;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const uint32_t id = it.key();
        if (unbound.contains(id))
            continue;
        if (!shown.contains(id)) {
            not_editable.append(parameter_name(id));
            continue;
        }
        // A field the active profile could not give the file's value keeps the nearest it can.
        if (shown.value(id) != *it)
            _log->log(log_item::WARN,
                      QStringLiteral("%1: the file holds %2, which the active profile cannot show")
                          .arg(parameter_name(id), format_value(id, *it)));
    }
    QStringList names;
    for (const uint32_t id : pending_ids())
        names.append(parameter_name(id));
    _log->log(
        log_item::INFO,
        QStringLiteral("loaded %1 parameters from %2; pending: %3")
            .arg(values.size())
            .arg(qz::gui::printable_text(path), names.isEmpty() ? QStringLiteral("none") : names.join(", ")));
    if (!not_editable.isEmpty())
        _log->log(log_item::WARN,
                  QStringLiteral("not editable here, left alone: ") + not_editable.join(", "));
    if (!unbound.isEmpty()) {
        QStringList ids;
        for (const uint32_t id : unbound)
            ids.append(parameter_name(id));
        _log->log(log_item::WARN,
                  QStringLiteral("not parameters of this device, left alone: ") + ids.join(", "));
    }
    return true;
}

void console_window::_ask_save_parameters()
{
    const QString path =
        QFileDialog::getSaveFileName(this, tr("Save parameters"), QString(), tr("Parameter files (*.json)"));
    if (!path.isEmpty() && !save_parameters_to(path))
        QMessageBox::warning(this, tr("Save parameters"),
                             tr("The parameters were not saved; the log says why."));
}

void console_window::_ask_load_parameters()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Load parameters"), QString(), tr("Parameter files (*.json)"));
    if (!path.isEmpty() && !load_parameters_from(path))
        QMessageBox::warning(this, tr("Load parameters"),
                             tr("The parameters were not loaded; the log says why."));
}

} // namespace device_console
