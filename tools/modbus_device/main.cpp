// SPDX-License-Identifier: BSD-3-Clause
// qz-modbus-device: a headless Modbus server that serves a register map's parameters, with faults
// on chosen addresses, for trying clients against something that answers like a device.
#include "device_server.h"
#include "device_store.h"

#include "../common/quit_signal.h"
#include "../common/tool_output.h"

#include "qzgui/modbus/internal/device_address.h"

#include <qzgui/modbus/register_map.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHash>

#include <cstdio>
#include <memory>
#include <stdexcept>

using qz::tools::bad_argument;
using qz::tools::print;

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qz-modbus-device"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Serves the parameters of a register map, with their initial values, as a Modbus device.\n"
        "Logs each request on standard output; stops on SIGINT or SIGTERM.\n"
        "Fault rules combine: a request they touch waits for every delay, and then gets the first\n"
        "exception or silence in command-line order, else its reply, garbled where a rule says so."));
    parser.addHelpOption();
    const QCommandLineOption listen(
        QStringLiteral("listen"),
        QStringLiteral("tcp://HOST:PORT (port 0 picks one) or rtu:DEVICE?baud=..; "
                       "unit=N sets the unit served (1)."),
        QStringLiteral("address"));
    const QCommandLineOption map(QStringLiteral("map"), QStringLiteral("The register map."),
                                 QStringLiteral("file"));
    const QCommandLineOption exception(
        QStringLiteral("exception"), QStringLiteral("Answer requests touching ADDRESS with exception CODE."),
        QStringLiteral("table:address=code"));
    const QCommandLineOption delay(QStringLiteral("delay"),
                                   QStringLiteral("Answer requests touching ADDRESS after MS."),
                                   QStringLiteral("table:address=ms"));
    const QCommandLineOption silent(QStringLiteral("silent"),
                                    QStringLiteral("Never answer requests touching ADDRESS."),
                                    QStringLiteral("table:address"));
    const QCommandLineOption garble(
        QStringLiteral("garble"),
        QStringLiteral("Answer reads touching ADDRESS one register or one byte of bits short."),
        QStringLiteral("table:address"));
    parser.addOptions({listen, map, exception, delay, silent, garble});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty())
        bad_argument(QStringLiteral("unexpected argument %1").arg(parser.positionalArguments().first()));
    if (!parser.isSet(listen) || !parser.isSet(map))
        bad_argument(QStringLiteral("--listen and --map are needed"));

    qz::modbus::address_t address;
    std::unique_ptr<qz::tools::device_store> store;
    try {
        address = qz::modbus::parse_address(parser.value(listen), 0);
        store = std::make_unique<qz::tools::device_store>(qz::modbus::register_map::load(parser.value(map)));
    } catch (const std::exception& e) {
        bad_argument(QString::fromUtf8(e.what()));
    }
    // The fault rules in command-line order, which decides between rules that touch one request:
    // the parser keeps only each option's own order.
    using store_t = qz::tools::device_store;
    const std::pair<const QCommandLineOption*, store_t::fault_e> faults[] = {
        {&exception, store_t::fault_exception},
        {&delay, store_t::fault_delay},
        {&silent, store_t::fault_silent},
        {&garble, store_t::fault_garble}};
    QHash<QString, int> taken; // values of each option used so far
    const QStringList arguments = QCoreApplication::arguments();
    for (const QString& argument : arguments)
        for (const auto& [option, kind] : faults) {
            const QString name = QStringLiteral("--") + option->names().first();
            if (argument != name && !argument.startsWith(name + QLatin1Char('=')))
                continue;
            const QStringList values = parser.values(*option);
            const int index = taken[name]++;
            if (index >= values.size())
                continue;
            if (const QString fault = store->add_fault(kind, values[index]); !fault.isEmpty())
                bad_argument(QStringLiteral("%1: %2").arg(name, fault));
        }

    qz::tools::device_server server(store.get(), [](const QString& line) { print(stdout, line); });
    if (const QString fault = server.listen(address); !fault.isEmpty()) {
        print(stderr,
              QStringLiteral("qz-modbus-device: cannot serve %1: %2").arg(parser.value(listen), fault));
        return 1;
    }
    qz::tools::on_quit_signal(&app, [] {
        print(stdout, QStringLiteral("stopped"));
        QCoreApplication::quit();
    });
    print(stdout, QStringLiteral("listening on %1").arg(server.where()));
    return app.exec();
}
