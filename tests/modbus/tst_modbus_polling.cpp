// SPDX-License-Identifier: BSD-3-Clause
// Polling qz-modbus-device through the persistent module: a hundred sweeps over one TCP connection,
// counted by a relay between the two on 127.0.0.1, and a new connection once the device, killed
// and restarted on its port, is back.
#include "modbus_fixture.h"
#include "temporary_settings.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>
#include <qzgui/modbus/register_map.h>
#include <qzgui/poller.h>
#include <qzgui/worker_thread.h>

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

using qz::gui::sat_worker;
using qz::test::device_process;

namespace {

const QByteArray map_text = R"({"version": 1, "parameters": [
    {"id": 1, "table": "holding", "address": 0, "type": "uint16", "initial": 7},
    {"id": 2, "table": "holding", "address": 1, "type": "int32", "initial": -5},
    {"id": 3, "table": "coil", "address": 0, "type": "bool", "initial": true}
]})";

// Passes bytes between its clients and the device at a port, and counts the connections made to it.
// Closed while the device is away, as the device's own port is.
class counting_relay : public QObject {
public:
    explicit counting_relay(quint16 device_port)
        : _device_port(device_port)
    {
        connect(&_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* client = _server.nextPendingConnection()) {
                ++connections;
                auto* device = new QTcpSocket(client);
                connect(client, &QTcpSocket::readyRead, device,
                        [client, device] { device->write(client->readAll()); });
                connect(device, &QTcpSocket::readyRead, client,
                        [client, device] { client->write(device->readAll()); });
                // Either side gone: the other is closed, as a device's own socket would be.
                connect(device, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
                connect(device, &QAbstractSocket::errorOccurred, client, [client] { client->abort(); });
                connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
                device->connectToHost(QHostAddress::LocalHost, _device_port);
            }
        });
    }

    bool listen() { return _server.listen(QHostAddress::LocalHost, _port); }
    /// Stops listening, as the device's own port closes when it goes; listen() opens the same port again.
    void close()
    {
        _port = _server.serverPort();
        _server.close();
    }
    QString address() const { return QStringLiteral("tcp://127.0.0.1:%1").arg(_server.serverPort()); }

    int connections = 0;

private:
    QTcpServer _server;
    quint16 _device_port;
    quint16 _port = 0;
};

} // namespace

class tst_modbus_polling : public QObject {
    Q_OBJECT

    qz::test::temporary_settings _settings;
    QTemporaryDir _dir;

private slots:
    void initTestCase() { qz::gui::register_meta_types(); }

    void a_hundred_polls_take_one_connection_and_a_restart_another()
    {
        const QString map_path = _dir.filePath(QStringLiteral("map.json"));
        QVERIFY(qz::test::write_text(map_path, map_text));
        const auto map = qz::modbus::register_map::load(map_path);
        auto device = std::make_unique<device_process>();
        QVERIFY(device->start(map_path));
        const QString port = device->address().section(QLatin1Char(':'), 2).section(QLatin1Char('?'), 0, 0);
        counting_relay relay(port.toUShort());
        QVERIFY(relay.listen());

        qz::modbus::modbus_module module(relay.address());
        qz::gui::worker_thread thread(std::make_unique<qz::modbus::modbus_worker>(nullptr, &module, map));
        qz::gui::poller poller(thread.worker());
        int sweeps = 0;
        int values = 0;
        QStringList links;
        connect(&poller, &qz::gui::poller::on_request_end, this,
                [&](sat_worker::operation_type_e, bool sweep) { sweeps += sweep ? 1 : 0; });
        connect(&poller, &qz::gui::poller::on_sample, this, [&] { ++values; });
        connect(&poller, &qz::gui::poller::on_link, this, [&](bool up, const QString&) {
            links.append(up ? QStringLiteral("up") : QStringLiteral("down"));
        });

        poller.start(map.ids(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(sweeps >= 100, 60000);
        QCOMPARE(relay.connections, 1);
        QVERIFY(values >= 100 * 3);

        // The device goes: the link is lost, and polling goes on (every second) until it is back.
        device->kill();
        relay.close();
        QTRY_COMPARE_WITH_TIMEOUT(links, QStringList{"down"}, 30000);
        QTest::qWait(2500);
        device = std::make_unique<device_process>();
        QVERIFY(device->start(map_path, QStringLiteral("tcp://127.0.0.1:%1").arg(port)));
        QVERIFY(relay.listen());
        QTRY_COMPARE_WITH_TIMEOUT(links, (QStringList{"down", "up"}), 30000);
        const int sweeps_back = sweeps;
        QTRY_VERIFY_WITH_TIMEOUT(sweeps >= sweeps_back + 100, 60000);
        // One new connection for all the sweeps since it came back.
        QCOMPARE(relay.connections, 2);
        poller.stop();
    }
};

QTEST_GUILESS_MAIN(tst_modbus_polling)
#include "tst_modbus_polling.moc"
