// SPDX-License-Identifier: BSD-3-Clause
// The device console: a configuration and monitoring tool for a (simulated) device module, built
// from the qzgui classes. Run it with --script to have it exercise itself without a user.
#include "console_script.h"
#include "console_window.h"
#include "device_parameters.h"

#include "simulator/simulated_module.h"

#include <qzgui/sat_worker.h>
#include <qzgui/settings_keys.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QSettings>
#include <QStandardPaths>

namespace {

// On the first start the log goes to a per-user directory, never to the file system's root.
void ensure_log_location()
{
    QSettings settings;
    const QString key = QLatin1String(qz::gui::log_location_key);
    if (!settings.value(key).toString().isEmpty())
        return;
    const QString logs =
        QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/logs");
    QDir().mkpath(logs);
    settings.setValue(key, logs);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("qzgui"));
    QCoreApplication::setApplicationName(QStringLiteral("device_console"));

    QCommandLineParser options;
    options.setApplicationDescription(QStringLiteral("Configure and monitor a simulated device module."));
    options.addHelpOption();
    const QCommandLineOption script(QStringLiteral("script"),
                                    QStringLiteral("Run a scripted session, print the log and exit."));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Where --script saves the window's picture."),
                                        QStringLiteral("file"), QStringLiteral("device_console.png"));
    options.addOption(script);
    options.addOption(screenshot);
    options.process(app);

    ensure_log_location();
    // Before the first request from this thread reaches the worker's thread.
    qz::gui::register_meta_types();

    qz::sim::simulated_module module;
    for (const device_console::parameter_t& p : device_console::parameters())
        module.store(p.id, p.initial);

    device_console::console_window window(module);
    if (options.isSet(script))
        return device_console::run_script(window, options.value(screenshot));
    window.show();
    return app.exec();
}
