// SPDX-License-Identifier: BSD-3-Clause
#ifndef DEVICE_CONSOLE_SETTINGS_DIALOG_H
#define DEVICE_CONSOLE_SETTINGS_DIALOG_H

#include <QDialog>
#include <QMap>

class QLineEdit;
class QSpinBox;

namespace device_console {

/// Edits the command time-outs and repeat counts (used from the worker's next operation) and the
/// log directory (used from the next start) in the application's settings.
class settings_dialog : public QDialog {
    Q_OBJECT

public:
    explicit settings_dialog(QWidget* parent = nullptr);

    /// Writes the edited values to the settings.
    void accept() override;

private:
    QMap<QString, QSpinBox*> _command_fields;
    QLineEdit* _log_location;
};

} // namespace device_console

#endif
