// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/resource_manager.h"

#include <QObject>

namespace qz::gui {

resource_manager::resource_manager()
    : _media_exception_strings{{0, QObject::tr("no error")},
                               {1, QObject::tr("please check com port and device address")},
                               {2, QObject::tr("media not open")},
                               {3, QObject::tr("error while opening media")},
                               {4, QObject::tr("error while reading data")},
                               {5, QObject::tr("error while writing data")},
                               {6, QObject::tr("stopped")},
                               {7, QObject::tr("general error")}}
    , _proto_exception_strings{{0, QObject::tr("no error")},
                               {1, QObject::tr("general error")},
                               {2, QObject::tr("please check com port and device address")},
                               {3, QObject::tr("command response error")},
                               {4, QObject::tr("invalid result value in response")},
                               {5, QObject::tr("parameter error")},
                               {6, QObject::tr("CRC error")},
                               {7, QObject::tr("PIPE error")},
                               {8, QObject::tr("AX25 error")},
                               {9, QObject::tr("another command is in progress")}}
    // Connection states are shown as they stand, untranslated.
    , _connection_state_strings{{0, QStringLiteral("connecting")},
                                {1, QStringLiteral("connected")},
                                {2, QStringLiteral("disconnected")},
                                {3, QStringLiteral("pipe drain")},
                                {4, QStringLiteral("error occured")}} // Key 6 has no name on purpose.
    , _operation_type_strings{{0, QObject::tr("READ")},   {1, QObject::tr("WRITE")},
                              {2, QObject::tr("RESET")},  {3, QObject::tr("FLASH")},
                              {4, QObject::tr("UPLOAD")}, {5, QObject::tr("DOWNLOAD")},
                              {7, QObject::tr("ERASE")},  {8, QObject::tr("DIR")}}
    , _operation_status_strings{{0, QObject::tr("begin of %1 operation")},
                                {1, QObject::tr("end of %1 operation")},
                                {2, QObject::tr("error while performing %1 operation")}}
    , _not_configured(QStringLiteral("<< operation string not configured >>>"))
    , _verbose_level(10)
{}

void resource_manager::set_verbose_level(int level)
{
    _verbose_level = level;
}

bool resource_manager::get_verbose_level() const
{
    return _verbose_level != 0;
}

const QString& resource_manager::_get_string(const std::map<unsigned int, QString>& table,
                                             unsigned int key) const
{
    const auto it = table.lower_bound(key);
    if (it == table.end() || it->first > key)
        return _not_configured;
    return it->second;
}

const QString&
resource_manager::get_media_exception_string(api::proto::media_exception::exception_type_e type) const
{
    return _get_string(_media_exception_strings, static_cast<unsigned int>(type));
}

const QString&
resource_manager::get_proto_exception_string(api::proto::proto_exception::exception_type_e type) const
{
    return _get_string(_proto_exception_strings, static_cast<unsigned int>(type));
}

const QString& resource_manager::get_connection_state_string(sat_worker::connection_state_e state) const
{
    return _get_string(_connection_state_strings, static_cast<unsigned int>(state));
}

QString resource_manager::get_operation_type_string(sat_worker::operation_type_e type,
                                                    sat_worker::operation_status_e status) const
{
    // The phase must be known: std::map::at() throws std::out_of_range for any other.
    const QString& phase = _operation_status_strings.at(static_cast<unsigned int>(status));
    return phase.arg(_get_string(_operation_type_strings, static_cast<unsigned int>(type)), 0,
                     QLatin1Char(' '));
}

QString resource_manager::get_operation_error_string(sat_worker::operation_type_e type) const
{
    return get_operation_type_string(type, sat_worker::status_error);
}

QString resource_manager::get_error_descriptor_string(const error_descriptor& error)
{
    QString text;
    if (error.media_type != 0)
        text = get_media_exception_string(error.media_type);
    else if (error.proto_type != 0)
        text = get_proto_exception_string(error.proto_type);
    if (!error.message.isEmpty() && _verbose_level > 4)
        text += QStringLiteral(": ") + error.message;
    return text;
}

} // namespace qz::gui
