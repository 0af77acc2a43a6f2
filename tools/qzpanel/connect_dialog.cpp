// SPDX-License-Identifier: BSD-3-Clause
#include "connect_dialog.h"

#include <qzgui/settings_keys.h>

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSerialPortInfo>
#include <QSettings>
#include <QSpinBox>

namespace qz::panel {

namespace {

// Where the dialog keeps its choices.
const char* const key_kind = "qzpanel/kind";
const char* const key_host = "qzpanel/host";
const char* const key_port = "qzpanel/port";
const char* const key_serial_port = "qzpanel/serial_port";
const char* const key_baud = "qzpanel/baud";
const char* const key_parity = "qzpanel/parity";
const char* const key_unit = "qzpanel/unit";
const char* const key_map = "qzpanel/map";

QVariant kept(const char* key, const QVariant& fallback)
{
    return QSettings().value(QLatin1String(key), fallback);
}

} // namespace

connect_dialog::connect_dialog(QWidget* parent)
    : QDialog(parent)
    , _tcp(new QRadioButton(tr("TCP")))
    , _serial(new QRadioButton(tr("Serial port (RTU)")))
    , _host(new QLineEdit(kept(key_host, QStringLiteral("127.0.0.1")).toString()))
    , _port(new QSpinBox)
    , _serial_port(new QComboBox)
    , _baud(new QComboBox)
    , _parity(new QComboBox)
    , _unit(new QSpinBox)
    , _map(new QLineEdit(kept(key_map, QString()).toString()))
    , _timeout(new QSpinBox)
    , _repeats(new QSpinBox)
{
    setWindowTitle(tr("Connect to a device"));
    namespace cs = qz::gui::command_settings;
    const QSettings settings;

    auto* kinds = new QHBoxLayout;
    kinds->addWidget(_tcp);
    kinds->addWidget(_serial);
    (kept(key_kind, QStringLiteral("tcp")).toString() == QLatin1String("rtu") ? _serial : _tcp)
        ->setChecked(true);
    _port->setRange(1, 65535);
    _port->setValue(kept(key_port, 502).toInt());
    _serial_port->setEditable(true);
    for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts())
        _serial_port->addItem(info.systemLocation());
    _serial_port->setCurrentText(kept(key_serial_port, QStringLiteral("/dev/ttyUSB0")).toString());
    _baud->setEditable(true);
    _baud->addItems({QStringLiteral("9600"), QStringLiteral("19200"), QStringLiteral("38400"),
                     QStringLiteral("57600"), QStringLiteral("115200")});
    _baud->setCurrentText(kept(key_baud, QStringLiteral("19200")).toString());
    _parity->addItem(tr("none"), QStringLiteral("none"));
    _parity->addItem(tr("even"), QStringLiteral("even"));
    _parity->addItem(tr("odd"), QStringLiteral("odd"));
    _parity->setCurrentIndex(std::max(0, _parity->findData(kept(key_parity, QStringLiteral("none")))));
    _unit->setRange(0, 247);
    _unit->setValue(kept(key_unit, 1).toInt());
    _timeout->setRange(10, 3600000);
    _timeout->setSuffix(tr(" ms"));
    _timeout->setValue(settings.value(QLatin1String(cs::timeout_s.key), cs::timeout_s.default_value).toInt());
    _repeats->setRange(0, 100);
    _repeats->setValue(settings.value(QLatin1String(cs::repeats_s.key), cs::repeats_s.default_value).toInt());

    auto* map_row = new QHBoxLayout;
    map_row->addWidget(_map, 1);
    auto* browse = new QPushButton(tr("Browse..."));
    map_row->addWidget(browse);
    connect(browse, &QPushButton::clicked, this, &connect_dialog::_browse_map);

    auto* layout = new QFormLayout(this);
    layout->addRow(tr("Connection"), kinds);
    layout->addRow(tr("Host"), _host);
    layout->addRow(tr("TCP port"), _port);
    layout->addRow(tr("Serial port"), _serial_port);
    layout->addRow(tr("Baud rate"), _baud);
    layout->addRow(tr("Parity"), _parity);
    layout->addRow(tr("Unit id"), _unit);
    layout->addRow(tr("Register map"), map_row);
    layout->addRow(tr("Time-out of a request"), _timeout);
    layout->addRow(tr("Repeats of a request"), _repeats);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addRow(buttons);
    // Without a map there is no form to build: OK waits for one.
    _ok = buttons->button(QDialogButtonBox::Ok);
    connect(_map, &QLineEdit::textChanged, this, &connect_dialog::_follow_map);
    _follow_map();

    connect(_tcp, &QRadioButton::toggled, this, &connect_dialog::_follow_kind);
    _follow_kind();
}

QString connect_dialog::address() const
{
    if (_tcp->isChecked())
        return QStringLiteral("tcp://%1:%2?unit=%3")
            .arg(_host->text().trimmed())
            .arg(_port->value())
            .arg(_unit->value());
    return QStringLiteral("rtu:%1?baud=%2&parity=%3&unit=%4")
        .arg(_serial_port->currentText().trimmed(), _baud->currentText().trimmed(),
             _parity->currentData().toString())
        .arg(_unit->value());
}

QString connect_dialog::map_path() const
{
    return _map->text().trimmed();
}

void connect_dialog::accept()
{
    namespace cs = qz::gui::command_settings;
    QSettings settings;
    settings.setValue(QLatin1String(key_kind),
                      _tcp->isChecked() ? QStringLiteral("tcp") : QStringLiteral("rtu"));
    settings.setValue(QLatin1String(key_host), _host->text().trimmed());
    settings.setValue(QLatin1String(key_port), _port->value());
    settings.setValue(QLatin1String(key_serial_port), _serial_port->currentText().trimmed());
    settings.setValue(QLatin1String(key_baud), _baud->currentText().trimmed());
    settings.setValue(QLatin1String(key_parity), _parity->currentData());
    settings.setValue(QLatin1String(key_unit), _unit->value());
    settings.setValue(QLatin1String(key_map), map_path());
    // One time-out and one repeat count for every request a panel makes: connecting, reading, writing.
    for (const auto& setting : {cs::timeout_s, cs::timeout_m, cs::timeout_l})
        settings.setValue(QLatin1String(setting.key), _timeout->value());
    for (const auto& setting : {cs::repeats_s, cs::repeats_m})
        settings.setValue(QLatin1String(setting.key), _repeats->value());
    QDialog::accept();
}

void connect_dialog::_follow_map()
{
    const bool chosen = !map_path().isEmpty();
    _ok->setEnabled(chosen);
    _ok->setToolTip(chosen ? QString() : tr("Choose the device's register map first."));
}

void connect_dialog::_browse_map()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Register map"), map_path(),
                                                      tr("Register maps (*.json);;All files (*)"));
    if (!path.isEmpty())
        _map->setText(path);
}

void connect_dialog::_follow_kind()
{
    const bool tcp = _tcp->isChecked();
    _host->setEnabled(tcp);
    _port->setEnabled(tcp);
    for (QWidget* serial :
         {static_cast<QWidget*>(_serial_port), static_cast<QWidget*>(_baud), static_cast<QWidget*>(_parity)})
        serial->setEnabled(!tcp);
}

} // namespace qz::panel
