// SPDX-License-Identifier: BSD-3-Clause
// qzparam: reads and writes the parameters of a Modbus device from the command line, through the
// same worker a qzgui application uses.
#include "../common/quit_signal.h"
#include "../common/tool_output.h"
#include "watch.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>
#include <qzgui/modbus/register_map.h>
#include <qzgui/parameter_id.h>
#include <qzgui/printable_text.h>
#include <qzgui/resource_manager.h>
#include <qzgui/settings_keys.h>
#include <qzgui/worker_log.h>
#include <qzgui/worker_thread.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>
#include <optional>

namespace {

using qz::gui::short_parameter_id_text;
using qz::tools::bad_argument;
using qz::tools::print;

// bad_argument() exits with 2, a bad argument, map or value.
enum exit_e : int { all_done = 0, some_failed = 1, no_connection = 3 };

// The worker with the settings this run was given on the command line laid over the stored ones.
class run_worker : public qz::modbus::modbus_worker {
public:
    using modbus_worker::modbus_worker;
    std::optional<int> timeout_ms;
    std::optional<int> repeats;

protected:
    void _set_module_config() override
    {
        modbus_worker::_set_module_config();
        if (timeout_ms)
            command_config.timeout_s = command_config.timeout_m = command_config.timeout_l = *timeout_ms;
        if (repeats)
            command_config.repeats_s = command_config.repeats_m = *repeats;
        module->set_config(command_config);
    }
};

int whole_number(const QString& option, const QString& text, int low, int high)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < low || value > high)
        bad_argument(
            QStringLiteral("--%1 takes a whole number from %2 to %3").arg(option).arg(low).arg(high));
    return value;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("qzgui"));
    QCoreApplication::setApplicationName(QStringLiteral("qzparam"));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reads or writes parameters of a Modbus device.\n"
                       "  qzparam --device ADDRESS --map MAP.json read [ID...]\n"
                       "  qzparam --device ADDRESS --map MAP.json write ID=VALUE...\n"
                       "  qzparam --device ADDRESS --map MAP.json watch [--interval MS] [--count N] [ID...]\n"
                       "watch polls the ids (every id of the map unless named) and writes CSV to standard "
                       "output, one row per sweep, until N rows or SIGINT/SIGTERM.\n"
                       "Exit status: 0 all succeeded, 1 an id failed, 2 a bad argument, map or value, "
                       "3 no connection."));
    parser.addHelpOption();
    const QCommandLineOption device(
        QStringLiteral("device"),
        QStringLiteral("tcp://HOST:PORT or rtu:DEVICE?baud=..&parity=..&data=..&stop=.."
                       ", either with unit=N."),
        QStringLiteral("address"));
    const QCommandLineOption map_option(QStringLiteral("map"), QStringLiteral("The register map."),
                                        QStringLiteral("file"));
    namespace cs = qz::gui::command_settings;
    const QCommandLineOption timeout(
        QStringLiteral("timeout"),
        QStringLiteral("Time-out of connecting, reads and writes, for this run (default: the settings; "
                       "unchanged, %1 ms to connect, %2 ms per read, %3 ms per write).")
            .arg(cs::timeout_l.default_value)
            .arg(cs::timeout_s.default_value)
            .arg(cs::timeout_m.default_value),
        QStringLiteral("ms"));
    const QCommandLineOption repeats(
        QStringLiteral("repeats"),
        QStringLiteral("Repeats of reads and writes, for this run (default: the settings; unchanged, %1 for "
                       "reads, %2 for writes).")
            .arg(cs::repeats_s.default_value)
            .arg(cs::repeats_m.default_value),
        QStringLiteral("n"));
    const QCommandLineOption verbose(QStringLiteral("verbose"),
                                     QStringLiteral("Add the details to each failure."));
    const QCommandLineOption interval(
        QStringLiteral("interval"),
        QStringLiteral("watch: from the start of one sweep to the start of the next (default 1000; "
                       "0: back to back)."),
        QStringLiteral("ms"));
    const QCommandLineOption count(QStringLiteral("count"),
                                   QStringLiteral("watch: stop after this many rows (default: no end)."),
                                   QStringLiteral("n"));
    parser.addOptions({device, map_option, timeout, repeats, verbose, interval, count});
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("read, write or watch"));
    parser.process(app);

    QStringList words = parser.positionalArguments();
    const QString command = words.isEmpty() ? QString() : words.takeFirst();
    const bool watching = command == QLatin1String("watch");
    if (command != QLatin1String("read") && command != QLatin1String("write") && !watching)
        bad_argument(QStringLiteral("the command is read, write or watch"));
    if (!watching && (parser.isSet(interval) || parser.isSet(count)))
        bad_argument(QStringLiteral("--interval and --count are for watch"));
    if (!parser.isSet(device) || !parser.isSet(map_option))
        bad_argument(QStringLiteral("--device and --map are needed"));
    if (command == QLatin1String("write") && words.isEmpty())
        bad_argument(QStringLiteral("write needs ID=VALUE"));

    qz::modbus::register_map map;
    std::unique_ptr<qz::modbus::modbus_module> module;
    try {
        map = qz::modbus::register_map::load(parser.value(map_option));
        module = std::make_unique<qz::modbus::modbus_module>(parser.value(device));
    } catch (const std::exception& e) {
        bad_argument(QString::fromUtf8(e.what()));
    }
    const auto known_id = [&](const QString& text) {
        const std::optional<uint32_t> id = qz::gui::parse_parameter_id_text(text);
        if (!id || !map.find(*id))
            bad_argument(QStringLiteral("%1 is not an id of %2").arg(text, parser.value(map_option)));
        return *id;
    };
    QVector<uint32_t> reads;
    QVector<QPair<uint32_t, QVariant>> writes;
    for (const QString& word : words) {
        if (command != QLatin1String("write")) {
            reads.append(known_id(word));
            continue;
        }
        const int equals = word.indexOf(QLatin1Char('='));
        if (equals < 0)
            bad_argument(QStringLiteral("\"%1\" is not ID=VALUE").arg(word));
        const uint32_t id = known_id(word.left(equals));
        QString why;
        const std::optional<QVariant> value = map.find(id)->parse(word.mid(equals + 1), &why);
        if (!value)
            bad_argument(
                QStringLiteral("\"%1\" is not a value of %2: %3")
                    .arg(qz::gui::printable_text(word.mid(equals + 1)), short_parameter_id_text(id), why));
        writes.append({id, *value});
    }
    if (reads.isEmpty())
        reads = map.ids();
    qz::tools::watch_request_t watch_request;
    if (watching) {
        if (parser.isSet(interval))
            watch_request.interval_ms =
                whole_number(interval.names().first(), parser.value(interval), 0, 86400000);
        if (parser.isSet(count))
            watch_request.count = whole_number(count.names().first(), parser.value(count), 1, INT_MAX);
        const QVector<qz::gui::parameter_description> descriptions = map.descriptions();
        for (const uint32_t id : reads) {
            watch_request.columns.append(*std::find_if(descriptions.begin(), descriptions.end(),
                                                       [id](const auto& d) { return d.id == id; }));
        }
        watch_request.device = parser.value(device);
    }

    qz::gui::register_meta_types();
    qz::gui::resource_manager texts;
    texts.set_verbose_level(parser.isSet(verbose) ? 5 : 0);
    using worker_t = qz::gui::sat_worker;
    auto made = std::make_unique<run_worker>(nullptr, module.get(), map);
    if (parser.isSet(timeout))
        made->timeout_ms = whole_number(timeout.names().first(), parser.value(timeout), 10, 3600000);
    if (parser.isSet(repeats))
        made->repeats = whole_number(repeats.names().first(), parser.value(repeats), 0, 100);
    run_worker* worker = made.get();
    qz::gui::worker_thread thread(std::move(made));
    if (watching) {
        const int watch_status = qz::tools::watch(worker, watch_request);
        thread.end();
        return watch_status;
    }

    int status = all_done;
    bool connected = false;
    bool stopped = false;
    // The catalogue's text, and what the device or the worker said: a Modbus exception's code and
    // name, "read-only". --verbose shows the whole message instead.
    const auto failure_text = [&](const qz::gui::error_descriptor& err) {
        return qz::gui::failure_line(texts, err);
    };
    const auto failed = [&](uint32_t id, const qz::gui::error_descriptor& err) {
        print(stderr, QStringLiteral("%1: %2").arg(short_parameter_id_text(id), failure_text(err)));
        status = some_failed;
    };
    const auto value = [&](uint32_t id, const QVariant& v) {
        print(stdout, short_parameter_id_text(id) + QLatin1String(" = ") + qz::gui::printable_value(v));
    };
    QObject::connect(worker, &worker_t::on_get_param, &app, value);
    QObject::connect(worker, &worker_t::on_set_param, &app, value);
    QObject::connect(worker, &worker_t::on_get_param_request_error, &app, failed);
    QObject::connect(worker, &worker_t::on_set_param_request_error, &app, failed);
    QObject::connect(worker, &worker_t::on_connection_state, &app, [&](worker_t::connection_state_e state) {
        connected = connected || state == worker_t::state_connected;
        // A stop that came before the operation was running did nothing (a worker stops only a
        // running operation), and the operation would run whole: it is repeated once it runs.
        if (state == worker_t::state_connecting && stopped)
            worker->stop();
    });
    QObject::connect(worker, &worker_t::on_connection_error, &app, [&](const qz::gui::error_descriptor& err) {
        print(stderr,
              QStringLiteral("qzparam: %1: %2")
                  .arg(qz::gui::printable_text(parser.value(device)), failure_text(err)));
        status = connected ? some_failed : no_connection;
    });
    QObject::connect(worker, &worker_t::on_operation_error, &app,
                     [&](worker_t::operation_type_e, const qz::gui::error_descriptor& err) {
                         print(stderr, QStringLiteral("qzparam: %1").arg(failure_text(err)));
                         status = some_failed;
                     });
    QObject::connect(worker, &worker_t::on_operation_control, &app,
                     [&](worker_t::operation_type_e, worker_t::operation_status_e phase) {
                         if (phase == worker_t::status_end)
                             QCoreApplication::quit();
                     });
    qz::tools::on_quit_signal(&app, [&] {
        stopped = true;
        worker->stop();
    });

    if (command == QLatin1String("read"))
        emit worker->get_params(reads);
    else
        emit worker->set_params(writes);
    app.exec();
    thread.end();
    module.reset();
    if (stopped) {
        print(stderr, QStringLiteral("qzparam: stopped"));
        return some_failed;
    }
    return status;
}
