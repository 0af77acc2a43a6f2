// SPDX-License-Identifier: BSD-3-Clause
#include "device_server.h"

#include "device_store.h"

#include "qzgui/modbus/internal/device_address.h"
#include "qzgui/modbus/internal/modbus_frame.h"

#include <QSerialPort>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <utility>

namespace qz::tools {

namespace {

// The length of the RTU request frame at the start of @p bytes: 0 while it cannot be told yet,
// -1 for a function whose frame length the device does not know.
int rtu_frame_length(const QByteArray& bytes)
{
    if (bytes.size() < 2)
        return 0;
    const uint8_t function = uint8_t(bytes[1]);
    if (function >= 1 && function <= 6)
        return 8;
    if (function == 15 || function == 16)
        return bytes.size() < 7 ? 0 : 9 + uint8_t(bytes[6]);
    return -1;
}

// A gap this long on the line ends a frame whose length the device cannot tell.
constexpr int rtu_silence_ms = 20;

} // namespace

device_server::device_server(device_store* store, std::function<void(const QString&)> log, QObject* parent)
    : QObject(parent)
    , _store(store)
    , _log(std::move(log))
{}

device_server::~device_server() = default;

QString device_server::where() const
{
    return _where;
}

QString device_server::listen(const qz::modbus::address_t& address)
{
    _unit = address.unit;
    if (address.tcp) {
        _tcp = new QTcpServer(this);
        // "localhost" as clients take it; otherwise an IP address, never a name to look up.
        QHostAddress host;
        if (address.host == QLatin1String("localhost"))
            host = QHostAddress::LocalHost;
        else if (!host.setAddress(address.host))
            return QStringLiteral("%1 is neither localhost nor an IP address").arg(address.host);
        if (!_tcp->listen(host, quint16(address.port)))
            return _tcp->errorString();
        _where = QStringLiteral("tcp://%1:%2?unit=%3")
                     .arg(host.protocol() == QAbstractSocket::IPv6Protocol
                              ? QLatin1Char('[') + address.host + QLatin1Char(']')
                              : address.host)
                     .arg(_tcp->serverPort())
                     .arg(_unit);
        connect(_tcp, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = _tcp->nextPendingConnection()) {
                auto* buffer = new QByteArray;
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
                connect(socket, &QObject::destroyed, this, [buffer] { delete buffer; });
                connect(socket, &QTcpSocket::readyRead, this,
                        [this, socket, buffer] { _serve_tcp(socket, buffer); });
            }
        });
        return {};
    }
    _serial = new QSerialPort(address.device, this);
    _serial->setBaudRate(address.baud);
    _serial->setParity(address.parity);
    _serial->setDataBits(QSerialPort::DataBits(address.data));
    _serial->setStopBits(address.stop == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop);
    if (!_serial->open(QIODevice::ReadWrite))
        return QStringLiteral("%1: %2").arg(address.device, _serial->errorString());
    _where = QStringLiteral("rtu:%1?baud=%2&unit=%3").arg(address.device).arg(address.baud).arg(_unit);
    _silence = new QTimer(this);
    _silence->setSingleShot(true);
    _silence->setInterval(rtu_silence_ms);
    connect(_serial, &QSerialPort::readyRead, this, [this] {
        _rtu_buffer += _serial->readAll();
        _silence->start();
        _serve_rtu();
    });
    connect(_silence, &QTimer::timeout, this, [this] {
        const QByteArray rest = std::exchange(_rtu_buffer, QByteArray());
        // A function the device cannot frame by its length ends with the gap.
        if (rtu_frame_length(rest) < 0 && qz::modbus::frame::crc_fits(rest))
            _answer_rtu(rest);
        else if (!rest.isEmpty())
            _log(QStringLiteral("dropped %1 bytes that form no request").arg(rest.size()));
    });
    return {};
}

void device_server::_serve_tcp(QIODevice* socket, QByteArray* buffer)
{
    *buffer += socket->readAll();
    while (buffer->size() >= 7) {
        const int length = qz::modbus::frame::word_at(*buffer, 4);
        if (qz::modbus::frame::word_at(*buffer, 2) != 0 || length < 2 || length > 254) {
            _log(QStringLiteral("closed a connection that sent no Modbus TCP frame"));
            buffer->clear();
            static_cast<QTcpSocket*>(socket)->disconnectFromHost();
            return;
        }
        if (buffer->size() < 6 + length)
            return;
        const QByteArray header = buffer->left(4);
        const int unit = uint8_t((*buffer)[6]);
        const QByteArray pdu = buffer->mid(7, length - 1);
        buffer->remove(0, 6 + length);
        _answer(socket, unit, pdu, [header, unit](const QByteArray& reply) {
            QByteArray frame = header;
            frame.append(char((reply.size() + 1) >> 8));
            frame.append(char((reply.size() + 1) & 0xFF));
            frame.append(char(unit));
            return frame + reply;
        });
    }
}

void device_server::_serve_rtu()
{
    for (;;) {
        const int length = rtu_frame_length(_rtu_buffer);
        if (length <= 0 || _rtu_buffer.size() < length)
            return; // the silence timer deals with a function it cannot frame
        const QByteArray frame = _rtu_buffer.left(length);
        _rtu_buffer.remove(0, length);
        if (!qz::modbus::frame::crc_fits(frame)) {
            _log(QStringLiteral("dropped a frame with a wrong checksum"));
            _rtu_buffer.clear();
            return;
        }
        _answer_rtu(frame);
    }
}

void device_server::_answer_rtu(const QByteArray& frame)
{
    const int unit = uint8_t(frame[0]);
    _answer(_serial, unit, frame.mid(1, frame.size() - 3),
            [unit](const QByteArray& reply) { return qz::modbus::frame::with_crc(char(unit) + reply); });
}

void device_server::_answer(QIODevice* device, int unit, const QByteArray& pdu,
                            const std::function<QByteArray(const QByteArray&)>& frame)
{
    if (unit != _unit) {
        _log(QStringLiteral("unit %1: not this device's unit (%2): no answer").arg(unit).arg(_unit));
        return;
    }
    const device_store::answer_t answer = _store->answer(unit, pdu);
    _log(answer.log);
    if (answer.pdu.isEmpty())
        return;
    const QByteArray bytes = frame(answer.pdu);
    if (answer.delay_ms <= 0)
        device->write(bytes);
    else
        QTimer::singleShot(answer.delay_ms, device, [device, bytes] { device->write(bytes); });
}

} // namespace qz::tools
