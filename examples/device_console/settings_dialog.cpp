// SPDX-License-Identifier: BSD-3-Clause
#include "settings_dialog.h"

#include <qzgui/settings_keys.h>

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QSpinBox>

#include <limits>

namespace device_console {

settings_dialog::settings_dialog(QWidget* parent)
    : QDialog(parent)
    , _log_location(new QLineEdit)
{
    setWindowTitle(tr("Settings"));
    const QSettings settings;
    auto* layout = new QFormLayout(this);
    for (const qz::gui::command_setting_t& setting : qz::gui::command_settings::all) {
        const QString key = QLatin1String(setting.key);
        auto* field = new QSpinBox;
        field->setRange(0, std::numeric_limits<int>::max());
        field->setValue(settings.value(key, setting.default_value).toInt());
        layout->addRow(key.mid(key.indexOf(QLatin1Char('/')) + 1), field);
        _command_fields.insert(key, field);
    }
    _log_location->setText(settings.value(QLatin1String(qz::gui::log_location_key)).toString());
    layout->addRow(tr("Log directory"), _log_location);
    layout->addRow(new QLabel(tr("Command settings apply from the next operation; "
                                 "the log directory from the next start.")));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addRow(buttons);
}

void settings_dialog::accept()
{
    QSettings settings;
    for (auto it = _command_fields.cbegin(); it != _command_fields.cend(); ++it)
        settings.setValue(it.key(), (*it)->value());
    settings.setValue(QLatin1String(qz::gui::log_location_key), _log_location->text());
    QDialog::accept();
}

} // namespace device_console
