// SPDX-License-Identifier: BSD-3-Clause
#include "watch.h"

#include "../common/quit_signal.h"
#include "../common/tool_output.h"

#include <qzgui/internal/csv_table.h>
#include <qzgui/poller.h>
#include <qzgui/printable_text.h>

#include <QCoreApplication>

#include <cstdio>

namespace qz::tools {

namespace {

enum exit_e : int { watched = 0, no_connection = 3 };

// Rows go out whole and at once, so that a reader of the pipe has each sweep as it ends.
void write_out(const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace

int watch(qz::gui::sat_worker* worker, const watch_request_t& request)
{
    using worker_t = qz::gui::sat_worker;
    qz::gui::internal::csv_table table(request.columns);
    QVector<uint32_t> ids;
    for (const qz::gui::parameter_description& column : request.columns)
        ids.append(column.id);

    qz::gui::poller poller(worker);
    int status = watched;
    bool connected = false;
    const auto finish = [&](int exit_status) {
        status = exit_status;
        poller.stop();
        QCoreApplication::quit();
    };
    const auto took = [&](const QByteArray& ended) {
        write_out(ended);
        if (request.count > 0 && table.rows_ended() >= request.count && poller.is_active())
            finish(watched);
    };
    QObject::connect(worker, &worker_t::on_connection_state, &poller,
                     [&](worker_t::connection_state_e state) {
                         connected = connected || state == worker_t::state_connected;
                     });
    QObject::connect(
        &poller, &qz::gui::poller::on_sample, &poller,
        [&](uint32_t id, const QVariant& value, qint64 time) { took(table.put(id, value, time)); });
    QObject::connect(&poller, &qz::gui::poller::on_sample_error, &poller,
                     [&](uint32_t id, const qz::gui::error_descriptor&, qint64 time) {
                         took(table.put_failure(id, time));
                     });
    QObject::connect(&poller, &qz::gui::poller::on_link, &poller, [&](bool up, const QString& text) {
        const QString device = qz::gui::printable_text(request.device);
        if (!up && !connected) {
            print(stderr, QStringLiteral("qzparam: %1: %2").arg(device, text));
            finish(no_connection);
            return;
        }
        // What the sweep cut short read before the link went is a row of its own.
        if (!up)
            took(table.end_row());
        print(stderr,
              up ? QStringLiteral("qzparam: %1: device back").arg(device)
                 : QStringLiteral("qzparam: %1: device lost: %2").arg(device, text));
    });
    on_quit_signal(&poller, [&] {
        took(table.end_row());
        finish(watched);
    });

    write_out(table.header());
    poller.start(ids, request.interval_ms);
    QCoreApplication::exec();
    // Cut the sweep in progress short: the rows asked for are out.
    worker->stop();
    return status;
}

} // namespace qz::tools
