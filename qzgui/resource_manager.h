// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_RESOURCE_MANAGER_H
#define QZGUI_RESOURCE_MANAGER_H

#include "qzgui/qzgui_export.h"
#include "qzgui/sat_worker.h"

#include <QString>

#include <map>

namespace qz::gui {

/**
 * @class resource_manager resource_manager.h <qzgui/resource_manager.h>
 *
 * The message catalogue: turns the device worker's connection states, operation kinds and phases,
 * and the kinds of media and protocol failures, into the texts a user reads.
 *
 * Every lookup of an unknown key gives the fallback text "<< operation string not configured >>>",
 * except the phase of get_operation_type_string(), which must be known.
 *
 * The operation and failure texts pass through QObject::tr() once, when the catalogue is built:
 * install the application's translator first. Connection state texts are not translated.
 *
 * @code
 * qz::gui::resource_manager texts;
 * connect(worker, &sat_worker::on_operation_control, this, [&](auto op, auto status) {
 *     log->log(qz::gui::log_item::INFO, texts.get_operation_type_string(op, status));
 * });
 * @endcode
 */
class QZGUI_EXPORT resource_manager {
public:
    /// Builds the catalogue, translating its texts with the translators installed now.
    resource_manager();

    /**
     * Sets the verbose level; descriptor messages are shown above level 4.
     * @param level any value
     * @see get_error_descriptor_string()
     */
    void set_verbose_level(int level);

    /// @return whether the verbose level is non-zero (not the level itself)
    bool get_verbose_level() const;

    /// @return the text of a transport failure kind, or the fallback text
    const QString& get_media_exception_string(api::proto::media_exception::exception_type_e type) const;

    /// @return the text of a protocol failure kind, or the fallback text
    const QString& get_proto_exception_string(api::proto::proto_exception::exception_type_e type) const;

    /// @return the text of a connection state ("error occured" for state_error), or the fallback text
    const QString& get_connection_state_string(sat_worker::connection_state_e state) const;

    /**
     * @return the phase line of an operation, such as "begin of READ operation"; an unknown
     *         operation kind shows the fallback text in place of its name
     * @throws std::out_of_range for a phase without a text (3 or more)
     */
    QString get_operation_type_string(sat_worker::operation_type_e type,
                                      sat_worker::operation_status_e status) const;

    /// @return the error line of an operation, such as "error while performing WRITE operation"
    QString get_operation_error_string(sat_worker::operation_type_e type) const;

    /**
     * @return the text of a failure: the text of its media kind, else of its protocol kind (empty
     *         when both are 0), followed by ": " and the failure's message when there is one and
     *         the verbose level is above 4
     */
    QString get_error_descriptor_string(const error_descriptor& error);

protected:
    /// @return the text of @p key in @p table, or the fallback text
    const QString& _get_string(const std::map<unsigned int, QString>& table, unsigned int key) const;

private:
    std::map<unsigned int, QString> _media_exception_strings;
    std::map<unsigned int, QString> _proto_exception_strings;
    std::map<unsigned int, QString> _connection_state_strings;
    std::map<unsigned int, QString> _operation_type_strings;
    std::map<unsigned int, QString> _operation_status_strings;
    QString _not_configured;
    int32_t _verbose_level;
};

} // namespace qz::gui

#endif
