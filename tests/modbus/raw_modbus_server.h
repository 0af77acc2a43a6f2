// SPDX-License-Identifier: BSD-3-Clause
// A Modbus TCP server that answers each request with whatever bytes the test makes of it: cut
// short, from another unit, late, or right. On 127.0.0.1, in a thread of its own, since a module
// call blocks the thread that makes it.
#ifndef QZGUI_TESTS_RAW_MODBUS_SERVER_H
#define QZGUI_TESTS_RAW_MODBUS_SERVER_H

#include "event_thread.h"

#include <QByteArray>
#include <QHash>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <functional>
#include <utility>

namespace qz::test {

/// @return the MBAP-framed reply to the request frame @p request: its transaction id, @p unit
/// (-1: the request's) and @p pdu, with @p length (-1: the right one) in the header
inline QByteArray mbap(const QByteArray& request, const QByteArray& pdu, int unit = -1, int length = -1)
{
    const int said = length < 0 ? int(pdu.size()) + 1 : length;
    QByteArray frame = request.left(4);
    frame.append(char(said >> 8)).append(char(said & 0xFF));
    frame.append(unit < 0 ? request[6] : char(unit));
    return frame + pdu;
}

/// @return the PDU of the request frame @p request, function code first
inline QByteArray pdu_of(const QByteArray& request)
{
    return request.mid(7);
}

/**
 * The server: for the n'th request frame (from 0, MBAP header included) the answer function
 * gives the bytes to send back and how long to wait first. Set before start_server(), and called
 * in the server's thread only.
 */
class raw_modbus_server : public event_thread {
public:
    struct answer_t {
        QByteArray bytes; ///< empty: no answer
        int delay_ms = 0;
        bool close = false; ///< close the connection instead of answering
    };
    using answer_fn = std::function<answer_t(int n, const QByteArray& request)>;

    explicit raw_modbus_server(answer_fn answer)
        : _answer(std::move(answer))
    {}
    ~raw_modbus_server() override { finish(); }

    /// Starts the server on @p port of 127.0.0.1 (0: any free one); @return the port, or 0 when
    /// it could not listen
    quint16 start_server(quint16 port = 0)
    {
        _wanted_port = port;
        begin();
        std::unique_lock<std::mutex> lock(_lock);
        _changed.wait(lock, [this] { return _ready; });
        return _port;
    }

    /// @return how many requests came so far
    int requests()
    {
        std::lock_guard<std::mutex> guard(_lock);
        return _requests;
    }

    /// @return how many connections were accepted so far
    int connections()
    {
        std::lock_guard<std::mutex> guard(_lock);
        return _connections;
    }

    /// @return how many connections are open now
    int open_connections()
    {
        std::lock_guard<std::mutex> guard(_lock);
        return _open;
    }

protected:
    void run() override
    {
        QTcpServer server;
        const bool listening = server.listen(QHostAddress::LocalHost, _wanted_port);
        QObject::connect(&server, &QTcpServer::newConnection, &server, [&server, this] {
            while (QTcpSocket* socket = server.nextPendingConnection()) {
                {
                    std::lock_guard<std::mutex> guard(_lock);
                    ++_connections;
                    ++_open;
                }
                QObject::connect(socket, &QTcpSocket::disconnected, socket, [this] {
                    std::lock_guard<std::mutex> guard(_lock);
                    --_open;
                });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
                QObject::connect(socket, &QObject::destroyed, &server,
                                 [this, socket] { _buffers.remove(socket); });
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { _serve(socket); });
            }
        });
        {
            std::lock_guard<std::mutex> guard(_lock);
            _port = listening ? server.serverPort() : 0;
            _ready = true;
            _changed.notify_all();
        }
        exec();
        _mark_ended();
    }

private:
    void _serve(QTcpSocket* socket)
    {
        QByteArray& buffer = _buffers[socket];
        buffer += socket->readAll();
        while (buffer.size() >= 7) {
            const int length = (int(uint8_t(buffer[4])) << 8) | uint8_t(buffer[5]);
            if (buffer.size() < 6 + length)
                return;
            const QByteArray request = buffer.left(6 + length);
            buffer.remove(0, 6 + length);
            int n = 0;
            {
                std::lock_guard<std::mutex> guard(_lock);
                n = _requests++;
            }
            const answer_t answer = _answer(n, request);
            if (answer.close) {
                socket->disconnectFromHost();
                return;
            }
            if (answer.bytes.isEmpty())
                continue;
            if (answer.delay_ms <= 0)
                socket->write(answer.bytes);
            else
                QTimer::singleShot(answer.delay_ms, socket,
                                   [socket, bytes = answer.bytes] { socket->write(bytes); });
        }
    }

    const answer_fn _answer;
    QHash<QTcpSocket*, QByteArray> _buffers; // the server's thread only
    bool _ready = false;                     // under _lock
    quint16 _port = 0;                       // under _lock
    int _requests = 0;                       // under _lock
    int _connections = 0;                    // under _lock
    int _open = 0;                           // under _lock
    quint16 _wanted_port = 0;                // set before the thread starts
};

} // namespace qz::test

#endif
