// SPDX-License-Identifier: BSD-3-Clause
// The Modbus device of the benchmarks: qz-modbus-device on 127.0.0.1 serving 1,000 holding-register
// parameters, uint16 and int32 by turns, contiguous (1,500 registers).
#ifndef QZGUI_BENCH_DEVICE_H
#define QZGUI_BENCH_DEVICE_H

#include <qzgui/modbus/register_map.h>
#include <qzgui/sat_worker.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QModbusTcpClient>
#include <QPair>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QUrl>
#include <QVector>

#include <cstdio>
#include <memory>

namespace qz::bench {

constexpr int device_parameters = 1000;

/// @return the register map of the device's parameters
inline QByteArray device_map_text()
{
    QByteArray text = "{\"version\": 1, \"parameters\": [\n";
    int address = 0;
    for (int i = 0; i < device_parameters; ++i) {
        const bool wide = i % 2;
        text += QStringLiteral("{\"id\": %1, \"table\": \"holding\", \"address\": %2, \"type\": \"%3\", "
                               "\"initial\": %4}%5\n")
                    .arg(i + 1)
                    .arg(address)
                    .arg(wide ? QStringLiteral("int32") : QStringLiteral("uint16"))
                    .arg(wide ? -i * 1000 : i)
                    .arg(i + 1 < device_parameters ? QStringLiteral(",") : QString())
                    .toUtf8();
        address += wide ? 2 : 1;
    }
    return text + "]}\n";
}

/// @return the blocks a grouped sweep of @p map sends: as many whole parameters as fit in 125 registers
inline QVector<QPair<int, int>> read_blocks(const qz::modbus::register_map& map)
{
    QVector<QPair<int, int>> blocks;
    for (const auto& e : map.entries()) {
        if (blocks.isEmpty() || blocks.last().second + e.size > 125)
            blocks.append({e.address, 0});
        blocks.last().second += e.size;
    }
    return blocks;
}

/// Connects @p client, a bare Qt client, to the device at @p url. @return whether it connected
inline bool connect_bare(QModbusTcpClient& client, const QUrl& url)
{
    client.setConnectionParameter(QModbusDevice::NetworkAddressParameter, url.host());
    client.setConnectionParameter(QModbusDevice::NetworkPortParameter, url.port());
    client.setTimeout(5000);
    QEventLoop loop;
    QObject::connect(&client, &QModbusDevice::stateChanged, &loop, &QEventLoop::quit);
    if (!client.connectDevice())
        return false;
    while (client.state() == QModbusDevice::ConnectingState)
        loop.exec();
    return client.state() == QModbusDevice::ConnectedState;
}

/// Reads @p blocks one after another with @p client, decoding nothing. @return whether all came
inline bool read_bare(QModbusTcpClient& client, const QVector<QPair<int, int>>& blocks)
{
    QEventLoop loop;
    for (const auto& block : blocks) {
        const std::unique_ptr<QModbusReply> reply(client.sendReadRequest(
            {QModbusDataUnit::HoldingRegisters, block.first, quint16(block.second)}, 1));
        if (!reply)
            return false;
        if (!reply->isFinished()) {
            QObject::connect(reply.get(), &QModbusReply::finished, &loop, &QEventLoop::quit);
            loop.exec();
        }
        if (reply->error() != QModbusDevice::NoError)
            return false;
    }
    return true;
}

/// qz-modbus-device of the build, serving a map file; ended when the object goes.
class bench_device {
public:
    /// Writes the map to @p map_path and starts the device on it. @return its address, or empty
    QString start(const QString& map_path)
    {
        QFile map_file(map_path);
        if (!map_file.open(QIODevice::WriteOnly) || map_file.write(device_map_text()) < 0)
            return QString();
        map_file.close();
        _process.setProgram(QCoreApplication::applicationDirPath()
                            + QStringLiteral("/../tools/qz-modbus-device"));
        _process.setArguments({QStringLiteral("--listen"), QStringLiteral("tcp://127.0.0.1:0"),
                               QStringLiteral("--map"), map_path});
        _process.start();
        QString address;
        while (address.isEmpty() && _process.waitForReadyRead(30000)) {
            const QString line = QString::fromUtf8(_process.readLine()).trimmed();
            if (line.startsWith(QLatin1String("listening on ")))
                address = line.mid(13);
        }
        if (address.isEmpty()) {
            std::fprintf(stderr, "the device did not start (%s)\n", qPrintable(_process.program()));
            return QString();
        }
        // Its log is read and dropped as it comes, so that its pipe never fills.
        QObject::connect(&_process, &QProcess::readyReadStandardOutput, &_process,
                         [this] { _process.readAllStandardOutput(); });
        return address;
    }

    ~bench_device()
    {
        _process.terminate();
        _process.waitForFinished(10000);
    }

private:
    QProcess _process;
};

/// What a Modbus benchmark starts from: settings of its own in a temporary directory, and the
/// device with its map.
struct device_setup {
    QTemporaryDir dir;
    bench_device device;
    QString address;
    qz::modbus::register_map map;
    QVector<QPair<int, int>> blocks; // what a grouped sweep of the map sends

    /// @return whether the device started
    bool start()
    {
        QCoreApplication::setOrganizationName(QStringLiteral("qzgui-bench"));
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path());
        qz::gui::register_meta_types();
        const QString map_path = dir.filePath(QStringLiteral("map.json"));
        address = device.start(map_path);
        if (address.isEmpty())
            return false;
        map = qz::modbus::register_map::load(map_path);
        blocks = read_blocks(map);
        return true;
    }
};

} // namespace qz::bench

#endif
