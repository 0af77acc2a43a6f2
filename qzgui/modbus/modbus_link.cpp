// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/modbus/modbus_link_p.h"

#include "qzgui/modbus/internal/device_address.h"
#include "qzgui/modbus/internal/modbus_frame.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QSerialPort>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <list>
#include <utility>

namespace qz::modbus {

namespace {

using outcome_t = modbus_link::outcome_t;

// A request on its way, with the tries it has left.
struct request_t {
    int handle = 0;
    QByteArray pdu;
    int timeout_ms = 0;
    int tries_left = 0;
    bool bad_crc = false; // a reply with a wrong checksum came for it
    modbus_link::done_fn done;
    uint16_t transaction = 0;      // TCP: the try's transaction id
    std::unique_ptr<QTimer> timer; // TCP: its own time-out
    qint64 sent_us = -1;           // RTU: when its last try went out
};

// Adds a request, with its first try to come, at the end of @p requests.
request_t& add_request(std::list<request_t>& requests, int handle, const QByteArray& pdu, int timeout_ms,
                       int repeats, modbus_link::done_fn done)
{
    request_t& r = requests.emplace_back();
    r.handle = handle;
    r.pdu = pdu;
    r.timeout_ms = timeout_ms;
    r.tries_left = repeats;
    r.done = std::move(done);
    return r;
}

outcome_t outcome(outcome_t::kind_e kind, QString detail = {}, QByteArray pdu = {})
{
    return outcome_t{kind, std::move(pdu), std::move(detail)};
}

// Ends every request of @p requests as lost, @p why. Taken out first: a callback may send again,
// and finds the link failed.
void end_as_lost(std::list<request_t>& requests, const QString& why)
{
    std::list<request_t> ended = std::exchange(requests, {});
    for (request_t& r : ended)
        r.done(outcome(outcome_t::lost, why));
}

QString other_unit(int answered, int asked)
{
    return QStringLiteral("unit %1 answered a request to unit %2").arg(answered).arg(asked);
}

// Modbus TCP: an MBAP header before each PDU, and a transaction id to match replies by, so that
// several requests may be on their way at once.
class tcp_link final : public modbus_link {
public:
    explicit tcp_link(const address_t& address)
        : _address(address)
    {
        QObject::connect(&_socket, &QTcpSocket::connected, this, [this] {
            _failure.clear();
            if (auto done = std::exchange(_opening, nullptr))
                done({});
        });
        QObject::connect(&_socket, &QAbstractSocket::errorOccurred, this,
                         [this](QAbstractSocket::SocketError e) {
                             // An open connection times out only in check_open(): requests keep
                             // their own time.
                             if (e == QAbstractSocket::SocketTimeoutError
                                 && _socket.state() == QAbstractSocket::ConnectedState)
                                 return;
                             _fail(_socket.errorString());
                         });
        QObject::connect(&_socket, &QTcpSocket::disconnected, this,
                         [this] { _fail(QStringLiteral("the device closed the connection")); });
        QObject::connect(&_socket, &QTcpSocket::readyRead, this, [this] { _take_bytes(); });
    }

    ~tcp_link() override
    {
        // Closing the socket reports it: nothing here may hear that any more.
        QObject::disconnect(&_socket, nullptr, this, nullptr);
        _socket.abort();
    }

    void open(std::function<void(const QString&)> done) override
    {
        _opening = std::move(done);
        // An IP address goes to the socket as one: "::1" is no host name to look up.
        if (const QHostAddress host(_address.host); !host.isNull())
            _socket.connectToHost(host, quint16(_address.port));
        else
            _socket.connectToHost(_address.host, quint16(_address.port));
    }

    int send(const QByteArray& pdu, int timeout_ms, int repeats, done_fn done) override
    {
        request_t& r = add_request(_requests, _next_handle(), pdu, timeout_ms, repeats, std::move(done));
        r.timer = std::make_unique<QTimer>();
        r.timer->setSingleShot(true);
        request_t* const request = &r;
        QObject::connect(r.timer.get(), &QTimer::timeout, this, [this, request] { _time_out(*request); });
        _write(r);
        return r.handle;
    }

    void cancel(int handle) override
    {
        _requests.remove_if([&](const request_t& r) { return r.handle == handle; });
    }

    void check_open() override
    {
        // Reads what already came, a close by the device included, which then reports itself.
        if (_socket.state() == QAbstractSocket::ConnectedState)
            _socket.waitForReadyRead(0);
    }

private:
    void _write(request_t& r)
    {
        r.transaction = ++_last_transaction;
        QByteArray adu;
        adu.append(char(r.transaction >> 8)).append(char(r.transaction & 0xFF)).append(2, '\0');
        adu.append(char((r.pdu.size() + 1) >> 8)).append(char((r.pdu.size() + 1) & 0xFF));
        adu.append(char(_address.unit)).append(r.pdu);
        _socket.write(adu);
        _socket.flush(); // now, not when the thread next waits
        r.timer->start(r.timeout_ms);
    }

    void _time_out(request_t& r)
    {
        // A frame still cut short after a whole time-out never ends: what follows would be
        // read as its rest.
        _buffer.clear();
        if (r.tries_left-- > 0)
            _write(r);
        else
            _finish(r, outcome(outcome_t::no_answer));
    }

    void _take_bytes()
    {
        _buffer += _socket.readAll();
        while (_buffer.size() >= 7) {
            const uint16_t transaction = uint16_t(frame::word_at(_buffer, 0));
            const int protocol = frame::word_at(_buffer, 2);
            const int length = frame::word_at(_buffer, 4);
            request_t* const r = _find(transaction);
            if (protocol != 0 || length < 2 || length > 254) {
                // Nothing after a broken header can be framed.
                _buffer.clear();
                if (r)
                    _finish(*r,
                            outcome(outcome_t::unfit,
                                    QStringLiteral("a header of protocol %1 and length %2")
                                        .arg(protocol)
                                        .arg(length)));
                return;
            }
            if (_buffer.size() < 6 + length)
                return;
            const int unit = uint8_t(_buffer[6]);
            const QByteArray pdu = _buffer.mid(7, length - 1);
            _buffer.remove(0, 6 + length);
            // A reply to a try given up, or to nothing, is dropped.
            if (!r)
                continue;
            if (unit != _address.unit)
                _finish(*r, outcome(outcome_t::unfit, other_unit(unit, _address.unit)));
            else
                _finish(*r, outcome(outcome_t::answered, {}, pdu));
        }
    }

    request_t* _find(uint16_t transaction)
    {
        const auto it = std::find_if(_requests.begin(), _requests.end(),
                                     [&](const request_t& r) { return r.transaction == transaction; });
        return it == _requests.end() ? nullptr : &*it;
    }

    void _finish(request_t& r, const outcome_t& result)
    {
        const auto it =
            std::find_if(_requests.begin(), _requests.end(), [&](const request_t& x) { return &x == &r; });
        const done_fn done = std::move(it->done);
        // Its timer may be the one that called: deleted once that call is over.
        it->timer.release()->deleteLater();
        _requests.erase(it);
        done(result);
    }

    void _fail(const QString& why)
    {
        if (!_failure.isEmpty() && !_opening)
            return;
        _failure = why;
        if (auto done = std::exchange(_opening, nullptr))
            done(why);
        _socket.abort();
        end_as_lost(_requests, why);
    }

    address_t _address;
    QTcpSocket _socket{this};
    QByteArray _buffer;
    std::list<request_t> _requests;
    uint16_t _last_transaction = 0;
    std::function<void(const QString&)> _opening;
};

// Modbus RTU: one request on the line at a time, each frame ended by its checksum, and a quiet
// line between frames. After a try that got no answer the line must stay quiet for another
// time-out: a late reply is dropped then rather than taken as the next request's, which RTU has
// no other way to tell apart.
class rtu_link final : public modbus_link {
public:
    explicit rtu_link(const address_t& address)
        : _address(address)
    {
        // Three and a half characters of eleven bits; 1.75 ms above 19200 baud.
        _gap_us = address.baud > 19200 ? 1750 : qint64(std::ceil(3.5 * 11 * 1e6 / address.baud));
        _clock.start();
        for (QTimer* timer : {&_reply_timer, &_quiet_timer, &_silence_timer}) {
            timer->setSingleShot(true);
            timer->setTimerType(Qt::PreciseTimer);
        }
        QObject::connect(&_reply_timer, &QTimer::timeout, this, [this] { _time_out(); });
        QObject::connect(&_quiet_timer, &QTimer::timeout, this, [this] { _pump(); });
        QObject::connect(&_silence_timer, &QTimer::timeout, this, [this] { _frame_ended_by_silence(); });
        QObject::connect(&_port, &QSerialPort::readyRead, this, [this] { _take_bytes(); });
        QObject::connect(&_port, &QSerialPort::errorOccurred, this, [this](QSerialPort::SerialPortError e) {
            if (e != QSerialPort::NoError && e != QSerialPort::TimeoutError)
                _fail(_port.errorString());
        });
    }

    ~rtu_link() override
    {
        QObject::disconnect(&_port, nullptr, this, nullptr);
        _port.close();
    }

    void open(std::function<void(const QString&)> done) override
    {
        _port.setPortName(_address.device);
        _port.setBaudRate(_address.baud);
        _port.setParity(_address.parity);
        _port.setDataBits(QSerialPort::DataBits(_address.data));
        _port.setStopBits(_address.stop == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop);
        _port.setFlowControl(QSerialPort::NoFlowControl);
        if (!_port.open(QIODevice::ReadWrite)) {
            _failure = _port.errorString();
            _port.close();
            done(_failure);
            return;
        }
        _failure.clear();
        _quiet_until = _now() + _gap_us;
        done({});
    }

    int send(const QByteArray& pdu, int timeout_ms, int repeats, done_fn done) override
    {
        const int handle =
            add_request(_queue, _next_handle(), pdu, timeout_ms, repeats, std::move(done)).handle;
        _pump();
        return handle;
    }

    void cancel(int handle) override
    {
        if (_on_line && _queue.front().handle == handle) {
            const request_t& r = _queue.front();
            _quiet_until = std::max(_quiet_until, r.sent_us + qint64(r.timeout_ms) * 1000);
            _reply_timer.stop();
            _silence_timer.stop();
            _on_line = false;
            _queue.pop_front();
            _pump();
            return;
        }
        _queue.remove_if([&](const request_t& r) { return r.handle == handle; });
    }

private:
    qint64 _now() const { return _clock.nsecsElapsed() / 1000; }

    // Sends the next request once the line has been quiet long enough.
    void _pump()
    {
        if (_on_line || _queue.empty() || !is_open())
            return;
        if (const qint64 wait = _quiet_until - _now(); wait > 0) {
            _quiet_timer.start(int((wait + 999) / 1000));
            return;
        }
        request_t& r = _queue.front();
        _on_line = true;
        _buffer.clear();
        _port.write(frame::with_crc(char(_address.unit) + r.pdu));
        _port.flush();
        r.sent_us = _now();
        _reply_timer.start(r.timeout_ms);
    }

    void _take_bytes()
    {
        const QByteArray bytes = _port.readAll();
        if (bytes.isEmpty())
            return;
        _quiet_until = std::max(_quiet_until, _now() + _gap_us);
        if (!_on_line)
            return; // no request waits for them
        _buffer += bytes;
        const int length = frame::rtu_reply_length(_buffer);
        if (length < 0)
            _silence_timer.start(int((_gap_us + 999) / 1000));
        if (length <= 0 || _buffer.size() < length)
            return;
        _take_frame(_buffer.left(length));
    }

    // A function code whose reply length is unknown: the frame ends where the line falls quiet.
    void _frame_ended_by_silence()
    {
        if (_on_line && frame::rtu_reply_length(_buffer) < 0)
            _take_frame(_buffer);
    }

    void _take_frame(const QByteArray& bytes)
    {
        _buffer.clear();
        request_t& r = _queue.front();
        if (!frame::crc_fits(bytes)) {
            r.bad_crc = true; // noise, or half a frame: wait on for a good one
            return;
        }
        const int unit = uint8_t(bytes[0]);
        if (unit != _address.unit)
            _finish(outcome(outcome_t::unfit, other_unit(unit, _address.unit)));
        else
            _finish(outcome(outcome_t::answered, {}, bytes.mid(1, bytes.size() - 3)));
    }

    void _time_out()
    {
        request_t& r = _queue.front();
        _on_line = false;
        _buffer.clear();
        if (r.tries_left-- > 0) {
            _pump();
            return;
        }
        _quiet_until = std::max(_quiet_until, _now() + qint64(r.timeout_ms) * 1000);
        _finish(outcome(r.bad_crc ? outcome_t::bad_crc : outcome_t::no_answer));
    }

    void _finish(const outcome_t& result)
    {
        _reply_timer.stop();
        _silence_timer.stop();
        _on_line = false;
        const done_fn done = std::move(_queue.front().done);
        _queue.pop_front();
        done(result);
        _pump();
    }

    void _fail(const QString& why)
    {
        if (!is_open())
            return;
        _failure = why;
        // Closed at once: a port that is gone would report its error again for every event.
        _port.close();
        _reply_timer.stop();
        _silence_timer.stop();
        _on_line = false;
        end_as_lost(_queue, why);
    }

    address_t _address;
    QSerialPort _port{this};
    QByteArray _buffer;
    std::list<request_t> _queue; // the first is on the line when _on_line
    bool _on_line = false;
    QElapsedTimer _clock;
    qint64 _gap_us = 0;
    qint64 _quiet_until = 0; // microseconds on _clock
    QTimer _reply_timer{this};
    QTimer _quiet_timer{this};
    QTimer _silence_timer{this};
};

} // namespace

modbus_link::~modbus_link() = default;

std::unique_ptr<modbus_link> modbus_link::make(const address_t& address)
{
    if (address.tcp)
        return std::make_unique<tcp_link>(address);
    return std::make_unique<rtu_link>(address);
}

} // namespace qz::modbus
