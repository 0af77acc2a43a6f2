// SPDX-License-Identifier: BSD-3-Clause
// The device console: a configuration and monitoring tool for a (simulated) device module, built
// from the qzgui classes. Run it with --script to have it exercise itself without a user.
#include "console_script.h"
#include "console_window.h"
#include "device_parameters.h"

#include "simulator/simulated_module.h"

// Without Qt SerialBus the console drives only its simulated device.
#ifdef DEVICE_CONSOLE_MODBUS
#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>
#include <qzgui/modbus/register_map.h>
#endif

#include <qzgui/sat_worker.h>
#include <qzgui/settings_keys.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QSettings>
#include <QStandardPaths>

#include <cstdio>
#include <memory>

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
    options.setApplicationDescription(
        QStringLiteral("Configure and monitor a device module: the simulated one, or a Modbus device."));
    options.addHelpOption();
    const QCommandLineOption script(QStringLiteral("script"),
                                    QStringLiteral("Run a scripted session, print the log and exit."));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Where --script saves the window's picture."),
                                        QStringLiteral("file"), QStringLiteral("device_console.png"));
    const QCommandLineOption device(
        QStringLiteral("device"),
        QStringLiteral("Drive a Modbus device (tcp://HOST:PORT or rtu:DEVICE?...) instead of "
                       "the simulated one."),
        QStringLiteral("address"));
    const QCommandLineOption map(
        QStringLiteral("map"),
        QStringLiteral("The device's register map (with --device); by default the one "
                       "beside the program."),
        QStringLiteral("file"),
        QCoreApplication::applicationDirPath() + QStringLiteral("/device_console_map.json"));
    options.addOptions({script, screenshot, device, map});
    options.process(app);

    ensure_log_location();
    // Before the first request from this thread reaches the worker's thread.
    qz::gui::register_meta_types();

    qz::sim::simulated_module module;
    for (const device_console::parameter_t& p : device_console::parameters())
        module.store(p.id, p.initial);

    std::unique_ptr<device_console::console_window> made;
#ifdef DEVICE_CONSOLE_MODBUS
    if (options.isSet(device)) {
        try {
            const auto modbus_map = qz::modbus::register_map::load(options.value(map));
            auto modbus = std::make_unique<qz::modbus::modbus_module>(options.value(device));
            auto* worker = new qz::modbus::modbus_worker(nullptr, modbus.get(), modbus_map);
            made =
                std::make_unique<device_console::console_window>(worker, std::move(modbus), modbus_map.ids());
        } catch (const std::exception& e) {
            std::fprintf(stderr, "device_console: %s\n", e.what());
            return 2;
        }
    }
#endif
    if (options.isSet(device) && !made) {
        std::fprintf(stderr, "device_console: built without Modbus; --device is not available\n");
        return 2;
    }
    if (!made)
        made = std::make_unique<device_console::console_window>(module);
    device_console::console_window& window = *made;
    if (options.isSet(script))
        return device_console::run_script(window, options.value(screenshot));
    window.show();
    return app.exec();
}
