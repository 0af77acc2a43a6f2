// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/worker_report_log.h"

#include "qzgui/worker_log.h"

namespace qz::gui {

worker_report_log::worker_report_log(const sat_worker* worker, log_controller* log, resource_manager* texts,
                                     QObject* parent)
    : QObject(parent)
    , _worker(worker)
    , _log(log)
    , _texts(texts)
{
    set_enabled(true);
}

void worker_report_log::set_enabled(bool on)
{
    if (on == is_enabled())
        return;
    if (on) {
        _receiver = new QObject(this);
        log_worker_reports(_worker, _log, _texts, _receiver);
    } else {
        delete _receiver;
        _receiver = nullptr;
    }
}

} // namespace qz::gui
