// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/worker_log.h"

#include "qzgui/log_controller.h"
#include "qzgui/printable_text.h"
#include "qzgui/resource_manager.h"
#include "qzgui/sat_worker.h"

namespace qz::gui {

QString failure_line(resource_manager& texts, const error_descriptor& error)
{
    QString text = texts.get_error_descriptor_string(error);
    // Above verbose level 4 the catalogue's text ends with the whole message already.
    const bool whole = !error.message.isEmpty() && text.endsWith(QStringLiteral(": ") + error.message);
    if (const QString detail = failure_detail(error.message); !whole && !detail.isEmpty())
        text += QStringLiteral(": ") + detail;
    return printable_text(text);
}

void log_worker_reports(const sat_worker* worker, log_controller* log, resource_manager* texts,
                        QObject* context)
{
    // The reports come from the worker's thread, queued to the context's.
    QObject::connect(worker, &sat_worker::on_operation_control, context,
                     [log, texts](sat_worker::operation_type_e op, sat_worker::operation_status_e status) {
                         log->log(log_item::INFO, texts->get_operation_type_string(op, status));
                     });
    QObject::connect(worker, &sat_worker::on_connection_state, context,
                     [log, texts](sat_worker::connection_state_e state) {
                         log->log(log_item::INFO,
                                  QStringLiteral("connection: ") + texts->get_connection_state_string(state));
                     });
    // Failure texts carry the device's own message: logged printable, as one line.
    QObject::connect(
        worker, &sat_worker::on_connection_error, context, [log, texts](const error_descriptor& err) {
            log->log(log_item::ERROR, QStringLiteral("connection error: ") + failure_line(*texts, err));
        });
    QObject::connect(worker, &sat_worker::on_operation_error, context,
                     [log, texts](sat_worker::operation_type_e op, const error_descriptor& err) {
                         log->log(log_item::ERROR,
                                  texts->get_operation_error_string(op) + QStringLiteral(": ")
                                      + failure_line(*texts, err));
                     });
}

} // namespace qz::gui
