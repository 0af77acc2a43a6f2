// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_LOG_ITEM_H
#define QZGUI_LOG_ITEM_H

#include "qzgui/qzgui_export.h"

#include <QMap>
#include <QString>

class QDateTime;

namespace qz::gui {

/**
 * @class log_item log_item.h <qzgui/log_item.h>
 *
 * One log entry: a severity, a message and the moment it was made, rendered as the line that
 * both the log file and the on-screen log show:
 *
 *     2024-03-02 14:03:07,045  WARN  link lost
 *
 * (local time with milliseconds, two blanks, a five-character level label, one blank, the message).
 * @see log_controller
 */
class QZGUI_EXPORT log_item {
public:
    /// The severity scale of the log.
    enum log_level_e : int {
        INFO = 0,  ///< ordinary progress; label "INFO "
        WARN = 1,  ///< warning; label "WARN "
        ERROR = 2, ///< failure; label "ERROR"
        QZTTC = 3  ///< verbose trace traffic; label "QZTTC"; listed only when verbose
    };

    /// Creates an INFO entry with an empty message, made now.
    log_item();

    /**
     * Creates an entry.
     * @param level the severity
     * @param message the text, kept as it is (line breaks included)
     * @param date the moment of the entry
     */
    log_item(log_level_e level, const QString& message, const QDateTime& date);

    /// Creates an independent copy of @p other.
    log_item(const log_item& other);

    log_item& operator=(const log_item&) = delete;

    /// Destroys the entry.
    ~log_item();

    /// @return the moment of the entry
    QDateTime get_date() const;

    /// @return the severity
    log_level_e get_log_level() const;

    /// @return the message
    QString get_message() const;

    /**
     * @return the entry's line, without a line ending: the date as "yyyy-MM-dd HH:mm:ss,zzz",
     *         two blanks, the level's label, one blank and the message. A level outside the
     *         four known ones has an empty label.
     */
    QString toString() const;

private:
    log_level_e _log_level;
    QString* _message;
    QDateTime* _date;
    QMap<log_level_e, QString>* _level_labels;
};

} // namespace qz::gui

#endif
