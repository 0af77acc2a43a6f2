// SPDX-License-Identifier: BSD-3-Clause
// qzpanel's connection dialog: where the device is, its register map, and the time-outs.
#ifndef QZPANEL_CONNECT_DIALOG_H
#define QZPANEL_CONNECT_DIALOG_H

#include <QDialog>

class QComboBox;
class QLineEdit;
class QRadioButton;
class QPushButton;
class QSpinBox;

namespace qz::panel {

/**
 * Asks for a Modbus device (TCP host and port, or a serial port with its baud rate and parity),
 * its unit id and register map, and the time-out and repeats of each request. Starts with the
 * choices of the last accepted dialog, and keeps the new ones in the settings when accepted.
 */
class connect_dialog : public QDialog {
    Q_OBJECT
public:
    /// A dialog filled with the last choices kept in the settings.
    explicit connect_dialog(QWidget* parent = nullptr);

    /// @return the device's address as the Modbus module reads it
    QString address() const;
    /// @return the register map's path
    QString map_path() const;

    /// Keeps the choices in the settings and closes the dialog.
    void accept() override;

    QRadioButton* tcp_button() const { return _tcp; }
    QRadioButton* serial_button() const { return _serial; }
    QLineEdit* host_field() const { return _host; }
    QSpinBox* port_field() const { return _port; }
    QComboBox* serial_port_field() const { return _serial_port; }
    QComboBox* baud_field() const { return _baud; }
    QComboBox* parity_field() const { return _parity; }
    QSpinBox* unit_field() const { return _unit; }
    QLineEdit* map_field() const { return _map; }
    QSpinBox* timeout_field() const { return _timeout; }
    QSpinBox* repeats_field() const { return _repeats; }
    /// @return the OK button, enabled once a map is chosen
    QPushButton* ok_button() const { return _ok; }

private:
    void _browse_map();
    void _follow_map();
    void _follow_kind();

    QRadioButton* _tcp;
    QRadioButton* _serial;
    QLineEdit* _host;
    QSpinBox* _port;
    QComboBox* _serial_port;
    QComboBox* _baud;
    QComboBox* _parity;
    QSpinBox* _unit;
    QLineEdit* _map;
    QSpinBox* _timeout;
    QSpinBox* _repeats;
    QPushButton* _ok = nullptr;
};

} // namespace qz::panel

#endif
