// SPDX-License-Identifier: BSD-3-Clause
// The simulated Modbus device's transports: Modbus TCP on a listening socket, RTU on a serial line.
#ifndef QZGUI_TOOLS_DEVICE_SERVER_H
#define QZGUI_TOOLS_DEVICE_SERVER_H

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>

class QIODevice;
class QSerialPort;
class QTcpServer;
class QTimer;

namespace qz::modbus {
struct address_t;
}

namespace qz::tools {

class device_store;

/**
 * Serves a device_store over Modbus TCP or RTU. Requests for another unit are not answered, as a
 * device on a shared line would not answer them; each request is logged through the log function.
 */
class device_server : public QObject {
    Q_OBJECT

public:
    /// @param store not owned; @param log receives one line per request
    device_server(device_store* store, std::function<void(const QString&)> log, QObject* parent = nullptr);
    ~device_server() override;

    /**
     * Starts serving at @p address; a TCP port of 0 picks a free one.
     * @return an empty string, or why it could not start
     */
    QString listen(const qz::modbus::address_t& address);

    /// @return where the server listens, as a device address a client can use
    QString where() const;

private:
    void _serve_tcp(QIODevice* socket, QByteArray* buffer);
    void _serve_rtu();
    void _answer_rtu(const QByteArray& frame);
    void _answer(QIODevice* device, int unit, const QByteArray& pdu,
                 const std::function<QByteArray(const QByteArray&)>& frame);

    device_store* _store;
    std::function<void(const QString&)> _log;
    int _unit = 1;
    QString _where;
    QTcpServer* _tcp = nullptr;
    QSerialPort* _serial = nullptr;
    QTimer* _silence = nullptr;
    QByteArray _rtu_buffer;
};

} // namespace qz::tools

#endif
