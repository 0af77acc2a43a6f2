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

namespace {

// What a field of the form means to a user, for the key it edits ("command/timeout_s").
QString label_for(const QString& key)
{
    const QString name = key.mid(key.indexOf(QLatin1Char('/')) + 1);
    const QString size = name.mid(name.lastIndexOf(QLatin1Char('_')) + 1).toUpper();
    if (name == QLatin1String("persistent_time"))
        return settings_dialog::tr("Keep the link open for (ms)");
    if (name == QLatin1String("timeout_pipe"))
        return settings_dialog::tr("Wait for a pipe-mode transport (ms)");
    if (name.startsWith(QLatin1String("timeout_")))
        return settings_dialog::tr("Time-out of %1 commands (ms)").arg(size);
    if (name.startsWith(QLatin1String("repeats_")))
        return settings_dialog::tr("Repeats of %1 commands").arg(size);
    return name;
}

} // namespace

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
        layout->addRow(label_for(key), field);
        field->setToolTip(key);
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
