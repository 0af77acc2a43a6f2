// SPDX-License-Identifier: BSD-3-Clause
// qzpanel: configures any Modbus device from its register map, with no code written. The form is
// built from the map; the device is read when the panel opens.
#include "connect_dialog.h"
#include "panel_window.h"

#include <qzgui/application_setup.h>
#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/register_map.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QLocale>
#include <QMessageBox>
#include <QTimer>
#include <QTranslator>

#include <cstdio>
#include <memory>

namespace {

enum exit_e : int { done = 0, cannot_save = 1, bad_argument = 2 };

void name_application()
{
    QCoreApplication::setOrganizationName(QStringLiteral("qzgui"));
    QCoreApplication::setApplicationName(QStringLiteral("qzpanel"));
}

// The command line; a core application answers --help, so that it needs no display.
struct options_t {
    QCommandLineParser parser;
    const QCommandLineOption device{
        QStringLiteral("device"),
        QStringLiteral("The device: tcp://HOST:PORT or rtu:DEVICE?baud=..&parity=.., "
                       "either with unit=N. Without it, or without --map, a dialog "
                       "asks, remembering the last choices."),
        QStringLiteral("address")};
    const QCommandLineOption map{QStringLiteral("map"), QStringLiteral("The device's register map."),
                                 QStringLiteral("file")};
    const QCommandLineOption screenshot{QStringLiteral("screenshot"),
                                        QStringLiteral("Save a picture of the window once the first read has "
                                                       "ended, then exit."),
                                        QStringLiteral("file")};

    options_t()
    {
        parser.setApplicationDescription(
            QStringLiteral("Configures a Modbus device: a form of every parameter of its register map."));
        parser.addHelpOption();
        parser.addOptions({device, map, screenshot});
    }
};

// The library's texts and qzpanel's own in the user's language, where translated: from beside
// the installed program, else from the build tree.
void install_translators(QCoreApplication& app)
{
    const QStringList dirs{QCoreApplication::applicationDirPath() + QStringLiteral("/" QZPANEL_QM_FROM_BIN),
                           QStringLiteral(QZPANEL_BUILD_QM_DIR)};
    for (const char* name : {"qzgui", "qzpanel"}) {
        auto* translator = new QTranslator(&app);
        for (const QString& dir : dirs)
            if (translator->load(QLocale(), QLatin1String(name), QStringLiteral("_"), dir)) {
                QCoreApplication::installTranslator(translator);
                break;
            }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (qz::gui::asks_for_help(argc, argv)) {
        QCoreApplication core(argc, argv);
        name_application();
        options_t().parser.process(core);
    }
    QApplication app(argc, argv);
    name_application();
    install_translators(app);
    options_t options;
    options.parser.process(app);
    qz::gui::ensure_log_location();
    qz::gui::register_meta_types();

    QString address = options.parser.value(options.device);
    QString map_path = options.parser.value(options.map);
    const bool interactive = !options.parser.isSet(options.screenshot);
    std::unique_ptr<qz::panel::panel_window> window;
    for (;;) {
        if (address.isEmpty() || map_path.isEmpty()) {
            if (!interactive) {
                std::fprintf(stderr, "qzpanel: --screenshot needs --device and --map\n");
                return bad_argument;
            }
            qz::panel::connect_dialog dialog;
            if (dialog.exec() != QDialog::Accepted)
                return done;
            address = dialog.address();
            map_path = dialog.map_path();
        }
        try {
            const qz::modbus::register_map map = qz::modbus::register_map::load(map_path);
            window = std::make_unique<qz::panel::panel_window>(
                map, std::make_unique<qz::modbus::modbus_module>(address), address);
            break;
        } catch (const std::exception& e) {
            std::fprintf(stderr, "qzpanel: %s\n", e.what());
            if (!interactive || (options.parser.isSet(options.device) && options.parser.isSet(options.map)))
                return bad_argument;
            QMessageBox::warning(nullptr, QStringLiteral("qzpanel"), QString::fromUtf8(e.what()));
            address.clear(); // asks again
        }
    }

    if (!interactive) {
        // Once the first read has ended, the picture, then the end.
        const QString picture = options.parser.value(options.screenshot);
        QObject::connect(window.get(), &qz::panel::panel_window::operation_finished, &app, [&] {
            // A second later, when the log list shows the read too.
            QTimer::singleShot(1000, window.get(), [&] {
                const bool saved = window->grab().save(picture, "PNG");
                if (!saved)
                    std::fprintf(stderr, "qzpanel: cannot save %s\n", qPrintable(picture));
                QCoreApplication::exit(saved ? done : cannot_save);
            });
        });
    }
    window->show();
    QTimer::singleShot(0, window.get(), &qz::panel::panel_window::read_all);
    return app.exec();
}
