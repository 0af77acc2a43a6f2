// SPDX-License-Identifier: BSD-3-Clause
#include "settings_dialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QSpinBox>

#include <limits>

namespace device_console {

namespace {

// The worker's command settings with the defaults it uses for a missing key.
const QVector<QPair<const char*, int>> command_keys = {
    {"command/persistent_time", 9500}, {"command/timeout_pipe", 10000}, {"command/timeout_xs", 400},
    {"command/timeout_s", 800},        {"command/timeout_m", 1000},     {"command/timeout_l", 4000},
    {"command/timeout_xl", 9000},      {"command/repeats_xs", 10},      {"command/repeats_s", 4},
    {"command/repeats_m", 2},          {"command/repeats_l", 1},        {"command/repeats_xl", 0}};

} // namespace

settings_dialog::settings_dialog(QWidget* parent)
    : QDialog(parent)
    , _log_location(new QLineEdit)
{
    setWindowTitle(tr("Settings"));
    const QSettings settings;
    auto* layout = new QFormLayout(this);
    for (const auto& key : command_keys) {
        auto* field = new QSpinBox;
        field->setRange(0, std::numeric_limits<int>::max());
        field->setValue(settings.value(QLatin1String(key.first), key.second).toInt());
        layout->addRow(QString::fromLatin1(key.first).mid(8), field);
        _command_fields.insert(QLatin1String(key.first), field);
    }
    _log_location->setText(settings.value(QStringLiteral("common/log_location")).toString());
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
    settings.setValue(QStringLiteral("common/log_location"), _log_location->text());
    QDialog::accept();
}

} // namespace device_console
