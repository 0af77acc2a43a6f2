// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_WORKER_REPORT_LOG_H
#define QZGUI_WORKER_REPORT_LOG_H

#include "qzgui/qzgui_export.h"

#include <QObject>

namespace qz::gui {

class log_controller;
class resource_manager;
class sat_worker;

/**
 * @class worker_report_log worker_report_log.h <qzgui/worker_report_log.h>
 *
 * A worker's reports about whole operations in a log, as log_worker_reports() writes them, that
 * can be switched off and on again. An application that polls its device turns them off while it
 * polls, so that sweep after sweep does not bury the lines that matter.
 *
 * @code
 * _report_log = new qz::gui::worker_report_log(worker, _log.get(), &_texts, this);
 * connect(&monitor, &monitor::activity_changed, this, [this](bool polling) {
 *     _report_log->set_enabled(!polling);
 * });
 * @endcode
 *
 * GUI thread only (the thread of @p log and @p texts).
 */
class QZGUI_EXPORT worker_report_log : public QObject {
    Q_OBJECT
public:
    /// Logs @p worker's reports in @p log, in @p texts' words, from now on; @p worker, @p log and
    /// @p texts must outlive it.
    worker_report_log(const sat_worker* worker, log_controller* log, resource_manager* texts,
                      QObject* parent = nullptr);

    /// Starts (@p on) or stops logging the reports; stopped, those still on their way are dropped.
    void set_enabled(bool on);
    /// @return whether the reports are logged
    bool is_enabled() const { return _receiver != nullptr; }

private:
    const sat_worker* _worker;
    log_controller* _log;
    resource_manager* _texts;
    QObject* _receiver = nullptr; // the connections' receiver: they end as it goes
};

} // namespace qz::gui

#endif
