// SPDX-License-Identifier: BSD-3-Clause
#include "panel_window.h"

#include "monitor_tab.h"

#include <qzgui/form_builder.h>
#include <qzgui/form_session.h>
#include <qzgui/log_controller.h>
#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>
#include <qzgui/parameter_file.h>
#include <qzgui/parameter_id.h>
#include <qzgui/poller.h>
#include <qzgui/printable_text.h>
#include <qzgui/ui_controller.h>
#include <qzgui/worker_log.h>
#include <qzgui/worker_report_log.h>
#include <qzgui/worker_thread.h>

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QStatusBar>
#include <QTabWidget>
#include <QTime>
#include <QVBoxLayout>

#include <stdexcept>
#include <utility>

namespace qz::panel {

using qz::gui::log_item;
using qz::gui::sat_worker;

panel_window::panel_window(const qz::modbus::register_map& map,
                           std::unique_ptr<qz::modbus::modbus_module> module, const QString& address,
                           QWidget* parent)
    : QMainWindow(parent)
    , _map(map)
    , _module(std::move(module))
{
    setWindowTitle(tr("qzpanel - %1").arg(address));
    // The catalogue's texts alone; each failure line adds what the device said (_log_error()).
    _texts.set_verbose_level(0);
    _log_list = new QListWidget;
    _log_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    _log = std::make_unique<qz::gui::log_controller>(this, QStringLiteral("qzpanel"), _log_list);

    // The whole form from the map, in a scroll area: a map of a thousand parameters stays usable.
    QWidget* form = qz::gui::build_form(_map.descriptions());
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setWidget(form);
    _bindings = qz::gui::scan_form(form);
    _form = std::make_unique<qz::gui::ui_controller>(&_bindings.widgets, &_bindings.hints);
    _session = std::make_unique<qz::gui::form_session>(_form.get(), &_bindings.widgets, &_bindings.hints);
    _session->set_value_formatter(
        [this](uint32_t id, const QVariant& value) { return _value_text(id, value); });
    connect(_session.get(), &qz::gui::form_session::on_pending_kept, this,
            [this](uint32_t id, const QVariant& shown, const QVariant& device) {
                _log->log(log_item::INFO,
                          QStringLiteral("%1: %2 is pending, the device holds %3")
                              .arg(_name(id), _value_text(id, shown), _value_text(id, device)));
            });
    connect(_session.get(), &qz::gui::form_session::on_value_not_shown, this,
            [this](uint32_t id, const QVariant&, const QString& text) {
                _log->log(log_item::WARN, _name(id) + QStringLiteral(": ") + text);
            });
    connect(_session.get(), &qz::gui::form_session::on_entry_refused, this,
            [this](uint32_t id, const QString&, const QString& text) {
                _log->log(log_item::WARN, _name(id) + QStringLiteral(": ") + qz::gui::printable_text(text));
            });
    // Nothing of the device's is shown before it is read: no made-up 0 or first choice.
    _session->show_no_values();
    for (auto it = _bindings.widgets.cbegin(); it != _bindings.widgets.cend(); ++it) {
        _unread.insert(it.key());
        static_cast<QWidget*>(it->second)->setEnabled(false);
    }

    _read = new QPushButton(tr("&Read"));
    _write = new QPushButton(tr("&Write"));
    _discard = new QPushButton(tr("&Discard"));
    _stop = new QPushButton(tr("&Stop"));
    _read->setToolTip(tr("Reads every parameter (F5, Ctrl+R)"));
    _write->setToolTip(tr("Writes the pending changes (Ctrl+W, Ctrl+Return)"));
    _stop->setEnabled(false);
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {_read, _write, _discard, _stop})
        buttons->addWidget(button);
    buttons->addStretch(1);
    connect(_read, &QPushButton::clicked, this, &panel_window::read_all);
    connect(_write, &QPushButton::clicked, this, &panel_window::write_changes);
    connect(_discard, &QPushButton::clicked, this, &panel_window::discard_changes);
    connect(_stop, &QPushButton::clicked, this, &panel_window::stop);

    auto* parameters = new QWidget;
    auto* parameters_layout = new QVBoxLayout(parameters);
    parameters_layout->addWidget(scroll, 1);
    parameters_layout->addLayout(buttons);
    _tabs = new QTabWidget;
    _tabs->addTab(parameters, tr("Parameters"));
    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->addWidget(_tabs, 3);
    layout->addWidget(_log_list, 1);
    setCentralWidget(central);
    _status = new QLabel;
    statusBar()->addWidget(_status, 1);

    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Save parameters..."), this, &panel_window::_ask_save);
    file->addAction(tr("&Load parameters..."), this, &panel_window::_ask_load);
    file->addSeparator();
    file->addAction(tr("&Quit"), this, &QWidget::close)->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    QMenu* device = menuBar()->addMenu(tr("&Device"));
    QAction* read = device->addAction(tr("&Read"), this, &panel_window::read_all);
    read->setShortcuts({QKeySequence(Qt::Key_F5), QKeySequence(Qt::CTRL | Qt::Key_R)});
    QAction* write = device->addAction(tr("&Write"), this, &panel_window::write_changes);
    write->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_W), QKeySequence(Qt::CTRL | Qt::Key_Return),
                         QKeySequence(Qt::CTRL | Qt::Key_Enter)});
    device->addAction(tr("&Discard changes"), this, &panel_window::discard_changes);
    device->addAction(tr("S&top"), this, &panel_window::stop);

    _thread = std::make_unique<qz::gui::worker_thread>(
        std::make_unique<qz::modbus::modbus_worker>(nullptr, _module.get(), _map));
    _worker = _thread->worker();
    _connect_worker();
    _monitor = new monitor_tab(_map.descriptions(), _worker);
    _tabs->addTab(_monitor, tr("Monitor"));
    // The poller shares the worker: it tells which ended request was the window's own.
    connect(_monitor->poller(), &qz::gui::poller::on_request_end, this, &panel_window::_request_ended);
    connect(_monitor, &monitor_tab::link_changed, this, &panel_window::_on_link);
    connect(_monitor, &monitor_tab::report, this, [this](bool warning, const QString& text) {
        _log->log(warning ? log_item::WARN : log_item::INFO, text);
    });
    // Sweep after sweep would bury everything else in the log: while monitoring, it keeps to the
    // device lost and back, per-parameter failures of writes, and the values written.
    // Sweeps read the polled fields again and again: an edit stays until it is written or
    // discarded, and a failure's hint until the field's value comes or the user asks again.
    connect(_monitor, &monitor_tab::activity_changed, this, [this](bool active) {
        _report_log->set_enabled(!active);
        if (active)
            _last_sweep.clear();
        // The sweep under way at a stop still brings values: they must not replace edits.
        _session->set_polling(active || _monitor->poller()->is_sweeping());
        if (!active)
            _link_down = false;
        _show_status();
    });
    _log->log(log_item::INFO, QStringLiteral("device: ") + qz::gui::printable_text(address));
    _show_status();
    // Fits a 1366 x 768 screen with its task bar.
    resize(900, 660);
}

panel_window::~panel_window()
{
    _end_worker();
}

QString panel_window::_name(uint32_t id) const
{
    const qz::modbus::register_entry_t* entry = _map.find(id);
    const QString text = qz::gui::short_parameter_id_text(id);
    return entry && !entry->name.isEmpty() ? text + QLatin1Char(' ') + qz::gui::printable_text(entry->name)
                                           : text;
}

QString panel_window::_value_text(uint32_t id, const QVariant& value) const
{
    const qz::modbus::register_entry_t* entry = _map.find(id);
    if (entry && entry->hexadecimal)
        return QStringLiteral("0x") + QString::number(value.toUInt(), 16).toUpper();
    if (entry)
        for (const auto& choice : entry->choices)
            if (choice.first == value)
                return QStringLiteral("%1 (%2)").arg(value.toString(),
                                                     qz::gui::printable_text(choice.second));
    return qz::gui::printable_value(value);
}

void panel_window::_connect_worker()
{
    _report_log = new qz::gui::worker_report_log(_worker, _log.get(), &_texts, this);
    // Whose operation failed to reach the device is known at its end (_request_ended()): the
    // reports of one operation come between its begin and its end.
    connect(_worker, &sat_worker::on_operation_control, this,
            [this](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                if (status == sat_worker::status_begin)
                    _unreached.clear();
            });
    connect(_worker, &sat_worker::on_connection_error, this, [this](const qz::gui::error_descriptor& err) {
        _unreached = qz::gui::failure_line(_texts, err);
    });
    // Marked read before the session shows the value, so the field is ready for it.
    connect(_worker, &sat_worker::on_get_param, this, [this](uint32_t id, const QVariant& value) {
        _mark_read(id);
        _mark_stale(id, false);
        if (!_monitor->is_active())
            _log->log(log_item::QZTTC, QStringLiteral("read %1 = %2").arg(_name(id), _value_text(id, value)));
    });
    connect(_worker, &sat_worker::on_set_param, this, [this](uint32_t id, const QVariant& value) {
        _log->log(log_item::QZTTC, QStringLiteral("written %1 = %2").arg(_name(id), _value_text(id, value)));
    });
    connect(_worker, &sat_worker::on_get_param_request_error, this,
            [this](uint32_t id, const qz::gui::error_descriptor& err) {
                if (_monitor->is_active())
                    _session->mark_failed(id, qz::gui::failure_line(_texts, err));
                else
                    _log_error(QStringLiteral("read"), id, err);
            });
    connect(_worker, &sat_worker::on_set_param_request_error, this,
            [this](uint32_t id, const qz::gui::error_descriptor& err) {
                _log_error(QStringLiteral("write"), id, err);
            });
    _session->connect_worker(_worker);
}

void panel_window::_log_error(const QString& what, uint32_t id, const qz::gui::error_descriptor& err)
{
    // The catalogue's text, with what the device said.
    const QString text = qz::gui::failure_line(_texts, err);
    _log->log(log_item::ERROR, QStringLiteral("%1 %2: %3").arg(what, _name(id), text));
    _session->mark_failed(id, text);
}

void panel_window::_request_ended(sat_worker::operation_type_e op, bool sweep)
{
    const QString unreached = std::exchange(_unreached, QString());
    const QString now = QTime::currentTime().toString(QStringLiteral("HH:mm:ss"));
    if (sweep) {
        _last_sweep = now;
        if (!_monitor->is_active())
            _session->set_polling(false);
        _show_status();
        return;
    }
    const bool writing = op == sat_worker::op_write;
    if (unreached.isEmpty()) {
        _outcome = (writing ? tr("last written at %1") : tr("last read at %1")).arg(now);
    } else {
        _outcome = tr("the device was not reached at %1: %2").arg(now, unreached);
        // While polling the worker's own lines are off: the window says it, as the user asked.
        if (_monitor->is_active())
            _log->log(log_item::ERROR,
                      writing
                          ? QStringLiteral("write: the device was not reached: %1; %2 change(s) stay pending")
                                .arg(unreached)
                                .arg(pending_ids().size())
                          : QStringLiteral("read: the device was not reached: %1").arg(unreached));
    }
    _set_busy(false);
    emit operation_finished();
}

void panel_window::_on_link(bool up, const QString& text)
{
    _link_down = !up;
    const QString now = QTime::currentTime().toString(QStringLiteral("HH:mm:ss"));
    if (up) {
        // Polled fields come back with their values; the others stay stale until read.
        for (const uint32_t id : std::as_const(_stale))
            field(id)->setToolTip(tr("Stale: read before the device was lost at %1; Read shows what it "
                                     "holds now.")
                                      .arg(_lost_since));
        _log->log(log_item::INFO, QStringLiteral("device back: polling goes on"));
    } else {
        _lost_since = now;
        _lost_text = text;
        // Every value read is now only the last one known, polled or not.
        for (auto it = _bindings.widgets.cbegin(); it != _bindings.widgets.cend(); ++it)
            if (!_unread.contains(it.key()))
                _mark_stale(it.key(), true);
        _log->log(log_item::WARN,
                  QStringLiteral("device lost: %1; the form keeps the last values").arg(text));
    }
    _show_status();
}

void panel_window::_show_status()
{
    QString text;
    if (_monitor && _monitor->is_active() && _link_down)
        text = tr("Device lost since %1: %2. The form shows the last values read; polling goes on.")
                   .arg(_lost_since, _lost_text);
    else if (_busy)
        text = _busy_text;
    else if (_monitor && _monitor->is_active() && _last_sweep.isEmpty())
        text = tr("Polling %n parameter(s) every %1 ms", nullptr, _monitor->polled().size())
                   .arg(_monitor->interval());
    else if (_monitor && _monitor->is_active())
        text = tr("Polling %n parameter(s) every %1 ms; last sweep at %2", nullptr, _monitor->polled().size())
                   .arg(_monitor->interval())
                   .arg(_last_sweep);
    else
        text = _outcome.isEmpty() ? tr("Idle") : tr("Idle; %1").arg(_outcome);
    _status->setText(text);
}

bool panel_window::_refused_while_lost(const QString& what, const QString& then)
{
    if (!_link_down || !_monitor->is_active())
        return false;
    const QString text = QStringLiteral("%1 not sent: the device is lost since %2 (%3); %4")
                             .arg(what, _lost_since, _lost_text, then);
    _log->log(log_item::WARN, text);
    statusBar()->showMessage(text, 10000);
    return true;
}

void panel_window::_mark_stale(uint32_t id, bool stale)
{
    QWidget* w = field(id);
    if (!w || stale == _stale.contains(id))
        return;
    QWidget* hint = _bindings.hints.value(id);
    // Italic, and a tool tip saying why: the value is the last one read, not what the device holds.
    for (QWidget* shown : {w, hint}) {
        if (!shown)
            continue;
        QFont font = shown->font();
        font.setItalic(stale);
        shown->setFont(font);
    }
    if (stale) {
        _stale.insert(id);
        _tool_tips.insert(id, w->toolTip());
        w->setToolTip(tr("Stale: the last value read; the device is lost since %1.").arg(_lost_since));
    } else {
        _stale.remove(id);
        w->setToolTip(_tool_tips.take(id));
    }
}

QString panel_window::status_text() const
{
    return _status->text();
}

void panel_window::_mark_read(uint32_t id)
{
    if (!_unread.remove(id))
        return;
    QWidget* w = field(id);
    if (!w)
        return;
    // A read-only check or combo box stays disabled, as the form made it.
    const qz::modbus::register_entry_t* entry = _map.find(id);
    const bool fixed =
        entry && entry->read_only && (qobject_cast<QCheckBox*>(w) || qobject_cast<QComboBox*>(w));
    w->setEnabled(!fixed);
}

void panel_window::_set_busy(bool busy, const QString& text)
{
    _busy = busy;
    _busy_text = text;
    _read->setEnabled(!busy);
    _write->setEnabled(!busy);
    _stop->setEnabled(busy);
    _show_status();
}

void panel_window::read_all()
{
    if (_busy || !_worker
        || _refused_while_lost(QStringLiteral("Read"),
                               QStringLiteral("the polled fields are read again once it is back")))
        return;
    _set_busy(true, tr("Reading..."));
    _session->begin_operation();
    emit _worker->get_params(_map.ids());
}

void panel_window::write_changes()
{
    if (_busy || !_worker)
        return;
    QVector<QPair<uint32_t, QVariant>> changes = _session->pending_changes();
    if (changes.isEmpty()) {
        _log->log(log_item::WARN, QStringLiteral("nothing to write: no field was changed"));
        return;
    }
    if (_refused_while_lost(QStringLiteral("Write"),
                            QStringLiteral("the %1 pending change(s) stay, to be written once it is back")
                                .arg(changes.size())))
        return;
    // A 32-bit hex field holds its bits as int; an unsigned parameter takes them as uint.
    for (auto& change : changes) {
        const qz::modbus::register_entry_t* entry = _map.find(change.first);
        if (entry && entry->hexadecimal && entry->type == qz::modbus::type_uint32)
            change.second = QVariant(change.second.toUInt());
    }
    _set_busy(true, tr("Writing..."));
    _session->begin_operation();
    emit _worker->set_params(changes);
}

void panel_window::discard_changes()
{
    _session->discard_changes();
    // A loaded value discarded from a field never read: the field is back to holding nothing.
    for (const uint32_t id : std::as_const(_unread))
        if (!_session->is_pending(id))
            field(id)->setEnabled(false);
}

void panel_window::stop()
{
    _log->log(log_item::WARN, QStringLiteral("stop requested"));
    if (_worker)
        _worker->stop();
}

QString panel_window::save_parameters(const QString& given)
{
    // A parameter file is JSON: a name typed without its ending gets it.
    const QString path = QFileInfo(given).suffix().isEmpty() ? given + QStringLiteral(".json") : given;
    // What the fields show, except fields that never held a value of the device's or the user's.
    const QMap<uint32_t, QVariant> values = _session->shown_values();
    try {
        qz::gui::save_parameters(path, values);
    } catch (const std::exception& e) {
        _log->log(log_item::ERROR, qz::gui::printable_text(QString::fromUtf8(e.what())));
        return QString::fromUtf8(e.what());
    }
    _log->log(log_item::INFO, QStringLiteral("saved %1 values to %2").arg(values.size()).arg(path));
    return QString();
}

QString panel_window::load_parameters(const QString& path)
{
    QMap<uint32_t, QVariant> values;
    try {
        values = qz::gui::load_parameters(path);
    } catch (const std::exception& e) {
        _log->log(log_item::ERROR, qz::gui::printable_text(QString::fromUtf8(e.what())));
        return QString::fromUtf8(e.what());
    }
    const QVector<uint32_t> unbound = _session->apply_values(values);
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        if (_session->is_read_only(it.key()))
            _log->log(log_item::INFO,
                      QStringLiteral("%1: read-only; the loaded value is left alone").arg(_name(it.key())));
    // A loaded value is the user's: its field takes edits from now on.
    for (const uint32_t id : pending_ids())
        if (_unread.contains(id))
            field(id)->setEnabled(true);
    _log->log(log_item::INFO,
              QStringLiteral("loaded %1 values from %2 as pending changes").arg(values.size()).arg(path));
    for (const uint32_t id : unbound)
        _log->log(log_item::WARN,
                  QStringLiteral("%1: not in the register map; left alone")
                      .arg(qz::gui::short_parameter_id_text(id)));
    return QString();
}

QWidget* panel_window::field(uint32_t id) const
{
    return static_cast<QWidget*>(_bindings.widgets.value(id).second);
}

QVector<uint32_t> panel_window::pending_ids() const
{
    return _session->pending_ids();
}

void panel_window::_ask_save()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("Save parameters"), QString(),
                                                      tr("Parameter files (*.json);;All files (*)"));
    if (path.isEmpty())
        return;
    if (const QString error = save_parameters(path); !error.isEmpty())
        QMessageBox::warning(this, tr("Save parameters"), error);
}

void panel_window::_ask_load()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Load parameters"), QString(),
                                                      tr("Parameter files (*.json);;All files (*)"));
    if (path.isEmpty())
        return;
    if (const QString error = load_parameters(path); !error.isEmpty())
        QMessageBox::warning(this, tr("Load parameters"), error);
}

void panel_window::closeEvent(QCloseEvent* event)
{
    const int pending = pending_ids().size();
    if (pending > 0) {
        QMessageBox ask(
            QMessageBox::Question, tr("qzpanel"),
            tr("%n field(s) hold changes that are not on the device. Close and lose them?", nullptr, pending),
            QMessageBox::NoButton, this);
        QPushButton* lose = ask.addButton(tr("&Close and lose them"), QMessageBox::DestructiveRole);
        ask.setDefaultButton(ask.addButton(tr("&Keep the window open"), QMessageBox::RejectRole));
        ask.exec();
        if (ask.clickedButton() != lose) {
            event->ignore();
            return;
        }
    }
    if (pending > 0)
        _log->log(log_item::INFO, QStringLiteral("closing: pending changes discarded"));
    _end_worker();
    QMainWindow::closeEvent(event);
}

void panel_window::_end_worker()
{
    if (!_worker)
        return;
    _monitor->stop();
    _thread->end();
    _worker = nullptr;
    // The worker's last reports are queued to this window and its log's receiver; they reach the
    // log now, in their order, before the window goes.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
}

} // namespace qz::panel
