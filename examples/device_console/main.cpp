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

#include <qzgui/application_setup.h>
#include <qzgui/sat_worker.h>

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>
#include <memory>

namespace {

void name_application()
{
    QCoreApplication::setOrganizationName(QStringLiteral("qzgui"));
    QCoreApplication::setApplicationName(QStringLiteral("device_console"));
}

// The command line; made once an application object exists (the map's default lies beside it).
struct options_t {
    QCommandLineParser parser;
    const QCommandLineOption script{QStringLiteral("script"),
                                    QStringLiteral("Run a scripted session, print the log and exit.")};
    const QCommandLineOption screenshot{QStringLiteral("screenshot"),
                                        QStringLiteral("Where --script saves the window's picture."),
                                        QStringLiteral("file"), QStringLiteral("device_console.png")};
    const QCommandLineOption device{
        QStringLiteral("device"),
        QStringLiteral("Drive a Modbus device (tcp://HOST:PORT or rtu:DEVICE?...) "
                       "instead of the simulated one."),
        QStringLiteral("address")};
    const QCommandLineOption map{
        QStringLiteral("map"),
        QStringLiteral("The device's register map (with --device); by default the one beside the program."),
        QStringLiteral("file"),
        QCoreApplication::applicationDirPath() + QStringLiteral("/device_console_map.json")};

    options_t()
    {
        parser.setApplicationDescription(
            QStringLiteral("Configure and monitor a device module: the simulated one, or a Modbus device."));
        parser.addHelpOption();
        parser.addOptions({script, screenshot, device, map});
    }
};

// The console for the Modbus device @p address, or null when the build has no Modbus.
// @throws std::exception for a bad address or map
std::unique_ptr<device_console::console_window> modbus_console(const QString& address,
                                                               const QString& map_path)
{
#ifdef DEVICE_CONSOLE_MODBUS
    const auto map = qz::modbus::register_map::load(map_path);
    auto module = std::make_unique<qz::modbus::modbus_module>(address);
    auto worker = std::make_unique<qz::modbus::modbus_worker>(nullptr, module.get(), map);
    return std::make_unique<device_console::console_window>(std::move(worker), std::move(module), map.ids());
#else
    Q_UNUSED(address)
    Q_UNUSED(map_path)
    return nullptr;
#endif
}

} // namespace

int main(int argc, char** argv)
{
    // Help needs no display: a core application answers it, and ends the program, before the
    // widget application would open one.
    if (qz::gui::asks_for_help(argc, argv)) {
        QCoreApplication core(argc, argv);
        name_application();
        options_t().parser.process(core);
    }
    QApplication app(argc, argv);
    name_application();
    options_t options;
    options.parser.process(app);

    // On the first start the log goes to a per-user directory, never to the file system's root.
    qz::gui::ensure_log_location();
    // Before the first request from this thread reaches the worker's thread.
    qz::gui::register_meta_types();

    qz::sim::simulated_module module;
    for (const device_console::parameter_t& p : device_console::parameters())
        module.store(p.id, p.initial);

    std::unique_ptr<device_console::console_window> made;
    if (options.parser.isSet(options.device)) {
        try {
            made = modbus_console(options.parser.value(options.device), options.parser.value(options.map));
        } catch (const std::exception& e) {
            std::fprintf(stderr, "device_console: %s\n", e.what());
            return 2;
        }
        if (!made) {
            std::fprintf(stderr, "device_console: built without Modbus; --device is not available\n");
            return 2;
        }
    } else {
        made = std::make_unique<device_console::console_window>(module);
    }
    device_console::console_window& window = *made;
    window.set_device_address(options.parser.isSet(options.device) ? options.parser.value(options.device)
                                                                   : QObject::tr("simulated device"));
    if (options.parser.isSet(options.script))
        return device_console::run_script(window, options.parser.value(options.screenshot));
    window.show();
    return app.exec();
}
