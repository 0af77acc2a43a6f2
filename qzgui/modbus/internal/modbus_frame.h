// SPDX-License-Identifier: BSD-3-Clause
// Internal: Modbus PDUs and RTU frames, built and checked byte by byte. Not installed.
#ifndef QZGUI_MODBUS_INTERNAL_MODBUS_FRAME_H
#define QZGUI_MODBUS_INTERNAL_MODBUS_FRAME_H

#include "qzgui/modbus/register_map.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <cstdint>

namespace qz::modbus::frame {

/// Modbus RTU's checksum: CRC-16 with the reflected polynomial 0xA001, sent low byte first.
uint16_t crc16(const QByteArray& bytes);

/// @return @p body with its checksum appended
QByteArray with_crc(const QByteArray& body);

/// @return whether the last two bytes of @p frame are the checksum of the others
bool crc_fits(const QByteArray& frame);

/// @return the big-endian word at @p at of @p bytes, which holds it
int word_at(const QByteArray& bytes, int at);

/// The request PDU (function code first) that reads @p count bits or registers of @p table.
QByteArray read_request(table_e table, uint16_t start, int count);

/**
 * The request PDU that writes @p values (a word per bit or register) into @p table: a single
 * write for one value, a multiple write for more.
 */
QByteArray write_request(table_e table, uint16_t start, const QVector<uint16_t>& values);

/// What a reply says about the request it answers.
struct reply_t {
    QVector<uint16_t> values; ///< a read's values, a word per bit or register
    int exception = 0;        ///< a Modbus exception code; 0: none
    QString unfit;            ///< why the reply does not fit the request; empty: it does
};

/**
 * Reads the reply PDU @p reply to the request PDU @p request, which asked for @p count values
 * when it is a read. The reply fits only with the request's function code (or its exception),
 * exactly the byte count the request needs, and, for a write, the echo the function defines.
 */
reply_t read_reply(const QByteArray& request, const QByteArray& reply, int count);

/**
 * The length of the RTU reply frame (unit first, checksum last) that begins @p bytes, from its
 * function code and byte count: 0 while too few bytes came to tell, -1 for a function code whose
 * replies have no length this library knows.
 */
int rtu_reply_length(const QByteArray& bytes);

/// @return "0x03" for 3: function codes and exception codes as people read them
QString code_text(int code);

} // namespace qz::modbus::frame

#endif
