// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/internal/modbus_frame.h"

namespace qz::modbus::frame {

namespace {

enum function_e : uint8_t {
    read_coils = 0x01,
    read_discrete = 0x02,
    read_holding = 0x03,
    read_input = 0x04,
    write_coil = 0x05,
    write_register = 0x06,
    write_coils = 0x0F,
    write_registers = 0x10,
    exception_bit = 0x80
};

void append_word(QByteArray& bytes, int word)
{
    bytes.append(char((word >> 8) & 0xFF));
    bytes.append(char(word & 0xFF));
}

bool is_read(uint8_t function)
{
    return function >= read_coils && function <= read_input;
}

bool reads_bits(uint8_t function)
{
    return function == read_coils || function == read_discrete;
}

} // namespace

uint16_t crc16(const QByteArray& bytes)
{
    uint16_t crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= uint8_t(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? uint16_t((crc >> 1) ^ 0xA001) : uint16_t(crc >> 1);
    }
    return crc;
}

QByteArray with_crc(const QByteArray& body)
{
    const uint16_t sum = crc16(body);
    return body + char(sum & 0xFF) + char(sum >> 8);
}

bool crc_fits(const QByteArray& frame)
{
    if (frame.size() < 4)
        return false;
    const uint16_t sum = crc16(frame.left(frame.size() - 2));
    return uint8_t(frame[frame.size() - 2]) == (sum & 0xFF) && uint8_t(frame[frame.size() - 1]) == (sum >> 8);
}

int word_at(const QByteArray& bytes, int at)
{
    return (int(uint8_t(bytes[at])) << 8) | uint8_t(bytes[at + 1]);
}

QByteArray read_request(table_e table, uint16_t start, int count)
{
    static const uint8_t functions[] = {read_coils, read_discrete, read_input, read_holding};
    QByteArray pdu(1, char(functions[table >= coil && table <= holding ? table : holding]));
    append_word(pdu, start);
    append_word(pdu, count);
    return pdu;
}

QByteArray write_request(table_e table, uint16_t start, const QVector<uint16_t>& values)
{
    QByteArray pdu;
    const int count = int(values.size());
    if (table == coil && count == 1) {
        pdu.append(char(write_coil));
        append_word(pdu, start);
        append_word(pdu, values[0] ? 0xFF00 : 0x0000);
    } else if (table == coil) {
        pdu.append(char(write_coils));
        append_word(pdu, start);
        append_word(pdu, count);
        pdu.append(char((count + 7) / 8));
        QByteArray bits((count + 7) / 8, '\0');
        for (int i = 0; i < count; ++i)
            if (values[i])
                bits[i / 8] = char(uint8_t(bits[i / 8]) | (1 << (i % 8)));
        pdu += bits;
    } else if (table == holding && count == 1) {
        pdu.append(char(write_register));
        append_word(pdu, start);
        append_word(pdu, values[0]);
    } else if (table == holding) {
        pdu.append(char(write_registers));
        append_word(pdu, start);
        append_word(pdu, count);
        pdu.append(char(2 * count));
        for (const uint16_t value : values)
            append_word(pdu, value);
    }
    return pdu;
}

reply_t read_reply(const QByteArray& request, const QByteArray& reply, int count)
{
    reply_t out;
    const uint8_t function = uint8_t(request.at(0));
    if (reply.isEmpty()) {
        out.unfit = QStringLiteral("an empty reply");
        return out;
    }
    const uint8_t answered = uint8_t(reply[0]);
    if (answered == (function | exception_bit)) {
        if (reply.size() != 2 || reply[1] == 0)
            out.unfit = QStringLiteral("an exception reply of %1 bytes").arg(reply.size());
        else
            out.exception = uint8_t(reply[1]);
        return out;
    }
    if (answered != function) {
        out.unfit = QStringLiteral("function %1 answers a request of function %2")
                        .arg(code_text(answered), code_text(function));
        return out;
    }
    if (is_read(function)) {
        const bool bits = reads_bits(function);
        const int needed = bits ? (count + 7) / 8 : 2 * count;
        const int said = reply.size() >= 2 ? uint8_t(reply[1]) : -1;
        if (said != needed || reply.size() != 2 + needed) {
            out.unfit = QStringLiteral("%1 bytes of values where %2 values take %3")
                            .arg(reply.size() >= 2 ? QString::number(said) : QStringLiteral("no"))
                            .arg(count)
                            .arg(needed);
            if (said >= 0 && reply.size() != 2 + said)
                out.unfit += QStringLiteral(", and %1 came").arg(reply.size() - 2);
            return out;
        }
        out.values.reserve(count);
        for (int i = 0; i < count; ++i)
            out.values.append(bits ? uint16_t((uint8_t(reply[2 + i / 8]) >> (i % 8)) & 1)
                                   : uint16_t(word_at(reply, 2 + 2 * i)));
        return out;
    }
    // A single write echoes the request; a multiple one its address and count.
    const bool single = function == write_coil || function == write_register;
    if (reply != (single ? request : request.left(5)))
        out.unfit = QStringLiteral("the write's echo differs from the request");
    return out;
}

int rtu_reply_length(const QByteArray& bytes)
{
    if (bytes.size() < 2)
        return 0;
    const uint8_t function = uint8_t(bytes[1]);
    if (function & exception_bit)
        return 5;
    if (is_read(function))
        return bytes.size() < 3 ? 0 : 5 + uint8_t(bytes[2]);
    if (function == write_coil || function == write_register || function == write_coils
        || function == write_registers)
        return 8;
    return -1;
}

QString code_text(int code)
{
    return QStringLiteral("0x%1").arg(code, 2, 16, QLatin1Char('0'));
}

} // namespace qz::modbus::frame
