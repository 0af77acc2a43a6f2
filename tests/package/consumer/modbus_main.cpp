// SPDX-License-Identifier: BSD-3-Clause
// A host program of the Modbus companion library: a map from a file, an address checked, a worker
// made over them.
#include <qzgui/modbus/modbus_module.h>
#include <qzgui/modbus/modbus_worker.h>
#include <qzgui/modbus/register_map.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <stdexcept>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("map.json")));
    if (!file.open(QIODevice::WriteOnly)
        || file.write(
               R"({"version": 1, "parameters": [{"id": "0x0010", "table": "holding", "address": 0, "type": "uint16"}]})")
            < 0)
        return 1;
    file.close();
    const auto map = qz::modbus::register_map::load(file.fileName());
    try {
        qz::modbus::modbus_module bad(QStringLiteral("tcp://127.0.0.1"));
        return 1;
    } catch (const std::invalid_argument&) {}
    qz::modbus::modbus_module module(QStringLiteral("tcp://127.0.0.1:1502"));
    qz::modbus::modbus_worker worker(nullptr, &module, map);
    std::printf("modbus consumer: %d parameter(s), first 0x%04X\n", int(map.ids().size()),
                unsigned(map.ids().first()));
    return map.ids().size() == 1 && worker.map().find(0x10) ? 0 : 1;
}
