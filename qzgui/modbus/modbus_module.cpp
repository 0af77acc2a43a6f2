// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/modbus_module.h"

#include "qzgui/modbus/device_address.h"
#include "qzgui/modbus/qt_modbus_names.h"

#include "qzgui/settings_keys.h"

#include <module_api/media_exception.h>
#include <module_api/proto_exception.h>

#include <QAbstractSocket>
#include <QDataStream>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QModbusReply>
#include <QModbusTcpClient>
#include <QTimer>

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

namespace qz::modbus {

using qz::api::proto::media_exception;
using qz::api::proto::proto_exception;

namespace {

QModbusDataUnit::RegisterType register_type(table_e table)
{
    switch (table) {
    case coil:
        return QModbusDataUnit::Coils;
    case discrete:
        return QModbusDataUnit::DiscreteInputs;
    case input:
        return QModbusDataUnit::InputRegisters;
    default:
        return QModbusDataUnit::HoldingRegisters;
    }
}

const char* table_name(table_e table)
{
    static const char* const names[] = {"coil", "discrete", "input", "holding"};
    return table >= coil && table <= holding ? names[table] : "unknown";
}

qz::api::proto::command_config default_config()
{
    namespace cs = qz::gui::command_settings;
    return {uint32_t(cs::persistent_time.default_value),
            cs::timeout_pipe.default_value,
            cs::timeout_xs.default_value,
            cs::timeout_s.default_value,
            cs::timeout_m.default_value,
            cs::timeout_l.default_value,
            cs::timeout_xl.default_value,
            cs::repeats_xs.default_value,
            cs::repeats_s.default_value,
            cs::repeats_m.default_value,
            cs::repeats_l.default_value,
            cs::repeats_xl.default_value};
}

// A reply as it came over the wire, function code byte first. Read through Qt's own serialisation:
// Qt 5 keeps an exception reply's code in an enumeration that cannot hold it, a load that
// UndefinedBehaviorSanitizer reports in Qt's inline accessors.
QByteArray raw_bytes(const QModbusPdu& pdu)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << pdu;
    return bytes;
}

[[noreturn]] void malformed(const QString& place, const QString& qt_text)
{
    throw proto_exception(proto_exception::invalid_result,
                          QStringLiteral("%1: malformed reply (%2)").arg(place, qt_text).toStdString());
}

QString exception_name(QModbusPdu::ExceptionCode code)
{
    switch (code) {
    case QModbusPdu::IllegalFunction:
        return QStringLiteral("illegal function");
    case QModbusPdu::IllegalDataAddress:
        return QStringLiteral("illegal data address");
    case QModbusPdu::IllegalDataValue:
        return QStringLiteral("illegal data value");
    case QModbusPdu::ServerDeviceFailure:
        return QStringLiteral("server device failure");
    case QModbusPdu::Acknowledge:
        return QStringLiteral("acknowledge");
    case QModbusPdu::ServerDeviceBusy:
        return QStringLiteral("server device busy");
    case QModbusPdu::MemoryParityError:
        return QStringLiteral("memory parity error");
    case QModbusPdu::GatewayPathUnavailable:
        return QStringLiteral("gateway path unavailable");
    case QModbusPdu::GatewayTargetDeviceFailedToRespond:
        return QStringLiteral("gateway target failed to respond");
    default:
        return QStringLiteral("unknown exception");
    }
}

} // namespace

struct modbus_module::private_t {
    QString text;
    address_t address;
    qz::api::proto::qz_media media;
    qz::api::proto::command_config config = default_config();
    std::unique_ptr<QModbusClient> client;
    // The TCP client's socket, where Qt makes it the client's child; a request sent ahead is
    // flushed through it at once.
    QPointer<QAbstractSocket> socket;

    // What abort() reaches from another thread. A standard mutex, which ThreadSanitizer sees.
    std::mutex lock;
    QEventLoop* loop = nullptr;
    bool aborted = false;

    // "tcp://127.0.0.1:1502 unit 1: holding 10 to 19"
    QString where(table_e table, uint16_t start, int count) const
    {
        return QStringLiteral("%1 unit %2: %3 %4 to %5")
            .arg(text)
            .arg(address.unit)
            .arg(QLatin1String(table_name(table)))
            .arg(start)
            .arg(int(start) + count - 1);
    }

    // Runs an event loop until @p done is emitted or abort() comes; throws stopped for the latter.
    template <typename Sender, typename Signal>
    void wait_for(Sender* sender, Signal done, int timeout_ms = -1, bool* timed_out = nullptr)
    {
        QEventLoop here;
        QObject::connect(sender, done, &here, &QEventLoop::quit);
        // Only a connect has a deadline of its own; a reply's is the client's time-out.
        std::optional<QTimer> deadline;
        if (timeout_ms >= 0) {
            deadline.emplace();
            deadline->setSingleShot(true);
            QObject::connect(&*deadline, &QTimer::timeout, &here, [&] {
                *timed_out = true;
                here.quit();
            });
            deadline->start(timeout_ms);
        }
        {
            std::lock_guard<std::mutex> guard(lock);
            if (aborted) {
                aborted = false;
                throw media_exception(media_exception::stopped, "stopped");
            }
            loop = &here;
        }
        here.exec();
        std::lock_guard<std::mutex> guard(lock);
        loop = nullptr;
        if (aborted) {
            aborted = false;
            throw media_exception(media_exception::stopped, "stopped");
        }
    }

    void set_request_class(int timeout_ms, int repeats)
    {
        client->setTimeout(std::max(timeout_ms, 10)); // Qt's smallest
        client->setNumberOfRetries(std::max(repeats, 0));
    }

    // Waits for @p reply (sent, or not with Qt's reason @p not_sent) and turns its failure into
    // the interface's exceptions.
    QModbusDataUnit finish(QModbusReply* reply, const QString& not_sent, bool reading, table_e table,
                           uint16_t start, int count)
    {
        // Named only for a failure: a reply that succeeds costs no text.
        const auto place = [&] { return where(table, start, count); };
        if (!reply)
            throw media_exception(media_exception::no_device,
                                  QStringLiteral("%1: not sent: %2").arg(place(), not_sent).toStdString());
        // Deleted here, out of its own signals: a deferred delete would wait for the thread's outer
        // event loop, which a sweep does not return to.
        const std::unique_ptr<QModbusReply> owned(reply);
        if (!reply->isFinished())
            wait_for(reply, &QModbusReply::finished);
        const QString qt_text = reply->errorString();
        if (reply->error() == invalid_response_error)
            malformed(place(), qt_text);
        switch (reply->error()) {
        case QModbusDevice::NoError:
            break;
        case QModbusDevice::TimeoutError:
            throw media_exception(reading ? media_exception::read_failed : media_exception::write_failed,
                                  QStringLiteral("%1: no answer (%2)").arg(place(), qt_text).toStdString());
        case QModbusDevice::ProtocolError: {
            const QByteArray pdu = raw_bytes(reply->rawResult());
            const bool is_exception = pdu.size() >= 2 && (uint8_t(pdu[0]) & QModbusPdu::ExceptionByte);
            const auto code = QModbusPdu::ExceptionCode(is_exception ? uint8_t(pdu[1]) : 0);
            if (!is_exception)
                malformed(place(), qt_text);
            proto_exception::exception_type_e kind = proto_exception::general_error;
            if (code == QModbusPdu::IllegalFunction)
                kind = proto_exception::response_error;
            else if (code == QModbusPdu::IllegalDataAddress || code == QModbusPdu::IllegalDataValue)
                kind = proto_exception::parameter_error;
            else if (code == QModbusPdu::ServerDeviceBusy)
                kind = proto_exception::busy;
            throw proto_exception(kind,
                                  QStringLiteral("%1: Modbus exception 0x%2 (%3)")
                                      .arg(place())
                                      .arg(int(code), 2, 16, QLatin1Char('0'))
                                      .arg(exception_name(code))
                                      .toStdString());
        }
        case QModbusDevice::ConnectionError:
        case QModbusDevice::ReplyAbortedError:
            throw media_exception(
                media_exception::no_device,
                QStringLiteral("%1: connection lost (%2)").arg(place(), qt_text).toStdString());
        default:
            throw proto_exception(proto_exception::general_error,
                                  QStringLiteral("%1: %2").arg(place(), qt_text).toStdString());
        }
        const QModbusDataUnit unit = reply->result();
        // Bits travel in whole bytes; Qt 6 hands the padding bits out as values too.
        const bool bits = table == coil || table == discrete;
        const int got = int(unit.valueCount());
        if (reading && (unit.startAddress() != start || got < count || (!bits && got != count)))
            throw proto_exception(proto_exception::invalid_result,
                                  QStringLiteral("%1: the reply holds %2 values from %3")
                                      .arg(place())
                                      .arg(unit.valueCount())
                                      .arg(unit.startAddress())
                                      .toStdString());
        return unit;
    }
};

modbus_module::modbus_module(const QString& address)
    : d(std::make_unique<private_t>())
{
    d->text = address;
    d->address = parse_address(address);
}

modbus_module::~modbus_module()
{
    disconnect();
}

QString modbus_module::address() const
{
    return d->text;
}

void modbus_module::connect()
{
    // A connect begins an operation: a stop that came after the last call ended is spent.
    {
        std::lock_guard<std::mutex> guard(d->lock);
        d->aborted = false;
    }
    if (d->client && d->client->state() == QModbusDevice::ConnectedState)
        return;
    disconnect();
    const address_t& a = d->address;
    if (a.tcp) {
        d->client = std::make_unique<QModbusTcpClient>();
        d->client->setConnectionParameter(QModbusDevice::NetworkAddressParameter, a.host);
        d->client->setConnectionParameter(QModbusDevice::NetworkPortParameter, a.port);
    } else {
        d->client = std::make_unique<rtu_client>();
        d->client->setConnectionParameter(QModbusDevice::SerialPortNameParameter, a.device);
        d->client->setConnectionParameter(QModbusDevice::SerialBaudRateParameter, a.baud);
        d->client->setConnectionParameter(QModbusDevice::SerialParityParameter, a.parity);
        d->client->setConnectionParameter(QModbusDevice::SerialDataBitsParameter, a.data);
        d->client->setConnectionParameter(QModbusDevice::SerialStopBitsParameter, a.stop);
    }
    QModbusClient* client = d->client.get();
    const auto fail = [&](const QString& why) {
        const QString text = QStringLiteral("%1: no connection (%2)").arg(d->text, why);
        d->client.reset();
        throw media_exception(media_exception::no_device, text.toStdString());
    };
    if (!client->connectDevice())
        fail(client->errorString());
    // Connected, or back to unconnected with an error: either is a change of state.
    QElapsedTimer clock;
    clock.start();
    bool timed_out = false;
    while (!timed_out && client->state() == QModbusDevice::ConnectingState)
        d->wait_for(client, &QModbusDevice::stateChanged,
                    int(std::max<qint64>(0, d->config.timeout_l - clock.elapsed())), &timed_out);
    if (timed_out)
        fail(QStringLiteral("no answer within %1 ms").arg(d->config.timeout_l));
    if (client->state() != QModbusDevice::ConnectedState)
        fail(client->errorString());
    if (a.tcp)
        d->socket = client->findChild<QAbstractSocket*>();
}

void modbus_module::disconnect()
{
    if (!d->client)
        return;
    d->client->disconnectDevice();
    d->client.reset();
}

void modbus_module::abort()
{
    std::lock_guard<std::mutex> guard(d->lock);
    d->aborted = true;
    if (d->loop)
        QMetaObject::invokeMethod(d->loop, "quit", Qt::QueuedConnection);
}

qz::api::proto::qz_media& modbus_module::media()
{
    return d->media;
}

void modbus_module::set_config(const qz::api::proto::command_config& config)
{
    d->config = config;
}

void modbus_module::set_persistent(bool) {}

modbus_module::pending_read::pending_read(table_e table, uint16_t start, int count)
    : _table(table)
    , _start(start)
    , _count(count)
{}

modbus_module::pending_read::pending_read(pending_read&& other) noexcept
    : _reply(std::move(other._reply))
    , _not_sent(std::move(other._not_sent))
    , _sent(other._sent)
    , _table(other._table)
    , _start(other._start)
    , _count(other._count)
{
    other._reply.clear();
}

modbus_module::pending_read& modbus_module::pending_read::operator=(pending_read&& other) noexcept
{
    if (this != &other) {
        _abandon();
        _reply = std::move(other._reply);
        other._reply.clear();
        _not_sent = std::move(other._not_sent);
        _sent = other._sent;
        _table = other._table;
        _start = other._start;
        _count = other._count;
    }
    return *this;
}

modbus_module::pending_read::~pending_read()
{
    _abandon();
}

void modbus_module::pending_read::_abandon()
{
    // Qt forgets the transaction of a reply that is destroyed.
    delete _reply.data();
    _reply.clear();
}

QVector<uint16_t> modbus_module::read(table_e table, uint16_t start, int count)
{
    pending_read request = send_read(table, start, count);
    return finish_read(request);
}

modbus_module::pending_read modbus_module::send_read(table_e table, uint16_t start, int count)
{
    if (!d->client)
        throw media_exception(media_exception::not_open,
                              (d->text + QStringLiteral(": not connected")).toStdString());
    d->set_request_class(d->config.timeout_s, d->config.repeats_s);
    pending_read request(table, start, count);
    request._reply = d->client->sendReadRequest(QModbusDataUnit(register_type(table), start, quint16(count)),
                                                d->address.unit);
    // Out now, not when this thread next waits: Qt's socket writes from its event loop.
    if (d->socket)
        d->socket->flush();
    request._sent = bool(request._reply);
    if (!request._sent)
        request._not_sent = d->client->errorString();
    return request;
}

QVector<uint16_t> modbus_module::finish_read(pending_read& request)
{
    QModbusReply* reply = request._reply.data();
    request._reply.clear();
    const QString not_sent = std::exchange(request._not_sent, QString());
    // Once finished, a request reads as one whose reply is gone.
    if (std::exchange(request._sent, true) && !reply)
        throw media_exception(
            media_exception::not_open,
            QStringLiteral("%1: nothing on its way (the connection was closed, or the reply was taken)")
                .arg(d->where(request._table, request._start, request._count))
                .toStdString());
    const QModbusDataUnit unit =
        d->finish(reply, not_sent, true, request._table, request._start, request._count);
    QVector<uint16_t> values;
    values.reserve(request._count);
    for (int i = 0; i < request._count; ++i)
        values.append(unit.value(i));
    return values;
}

void modbus_module::write(table_e table, uint16_t start, const QVector<uint16_t>& values)
{
    if (!d->client)
        throw media_exception(media_exception::not_open,
                              (d->text + QStringLiteral(": not connected")).toStdString());
    d->set_request_class(d->config.timeout_m, d->config.repeats_m);
    QModbusDataUnit request(register_type(table), start, quint16(values.size()));
    for (int i = 0; i < values.size(); ++i)
        request.setValue(i, values[i]);
    QModbusReply* reply = d->client->sendWriteRequest(request, d->address.unit);
    d->finish(reply, reply ? QString() : d->client->errorString(), false, table, start, int(values.size()));
}

} // namespace qz::modbus
