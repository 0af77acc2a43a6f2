// SPDX-License-Identifier: BSD-3-Clause
// The device console driving a Modbus device: the project's device simulator on 127.0.0.1, serving
// the console's own register map, and the console's scripted session pointed at it.
#include "device_parameters.h"
#include "modbus_fixture.h"

#include <qzgui/modbus/register_map.h>

#include <QProcess>
#include <QtTest>

class tst_console_modbus : public QObject {
    Q_OBJECT

    QTemporaryDir _home;

    QProcess* _console(const QStringList& arguments)
    {
        auto* console = new QProcess(this);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // Settings and the log directory go to the test's own directory.
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), _home.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), _home.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        console->setProcessEnvironment(env);
        console->setWorkingDirectory(_home.path());
        console->start(QStringLiteral(DEVICE_CONSOLE), arguments);
        return console;
    }

private slots:
    void the_map_says_what_the_console_says()
    {
        namespace dc = device_console;
        const auto map = qz::modbus::register_map::load(QStringLiteral(DEVICE_CONSOLE_MAP));
        QVector<uint32_t> ids;
        for (const dc::parameter_t& p : dc::parameters()) {
            const qz::modbus::register_entry_t* entry = map.find(p.id);
            if (p.id == dc::id_clock) { // a Modbus device of this kind has no clock to set
                QVERIFY(!entry);
                continue;
            }
            QVERIFY2(entry, qPrintable(dc::parameter_name(p.id)));
            QCOMPARE(entry->name, p.name);
            // The map's numbers are JSON's: compare them as the device holds them.
            QCOMPARE(entry->initial.toString(), p.initial.toString());
            ids.append(p.id);
        }
        std::sort(ids.begin(), ids.end());
        QVector<uint32_t> map_ids = map.ids();
        std::sort(map_ids.begin(), map_ids.end());
        QCOMPARE(map_ids, ids);
    }

    void the_scripted_session_runs_against_the_device()
    {
        qz::test::device_process device;
        QVERIFY(device.start(QStringLiteral(DEVICE_CONSOLE_MAP)));
        QProcess* console = _console({"--device", device.address(), "--script", "--screenshot",
                                      _home.filePath(QStringLiteral("console.png"))});
        QVERIFY(console->waitForStarted(60000));
        if (!console->waitForFinished(180000)) {
            console->kill();
            QFAIL("the console did not finish");
        }
        QCOMPARE(console->exitCode(), 0);
        const QStringList lines =
            QString::fromUtf8(console->readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        // Each expected message, in this order, somewhere after the one before.
        const QStringList expected = {
            "WARN  0x0008 Device clock: the device has no such parameter; the field is disabled",
            "INFO  device: " + device.address(),
            "INFO  begin of READ operation",
            "QZTTC read 0x0001 Output enabled = true",
            "QZTTC read 0x0002 Device name = QZ-1000 north mast",
            "QZTTC read 0x0004 Frequency = 433.92",
            "QZTTC read 0x000a Interrupt mask = 0xFFFF0000",
            "INFO  end of READ operation",
            "QZTTC written 0x0001 Output enabled = false",
            "QZTTC written 0x0002 Device name = QZ-1000 north mast (service)",
            "QZTTC written 0x0003 Gain (dB) = 14",
            "QZTTC written 0x0002 Device name = QZ-1000 bench copy",
            "QZTTC written 0x0002 Device name = QZ-1000 north mast (service)",
            "INFO  begin of READ operation",
            "QZTTC read 0x0002 Device name = QZ-1000 north mast (service)",
            "QZTTC read 0x0003 Gain (dB) = 14",
            "INFO  end of READ operation"};
        int at = 0;
        for (const QString& message : expected) {
            while (at < lines.size() && !lines[at].contains(message))
                ++at;
            QVERIFY2(at < lines.size(),
                     qPrintable("missing or out of order: " + message + "\n" + lines.join('\n')));
            ++at;
        }
        QVERIFY(lines.filter(QStringLiteral("ERROR")).isEmpty());
        // The clock was never asked for; the device saw grouped reads and the writes.
        const QStringList requests = device.requests();
        QCOMPARE(requests.filter(QStringLiteral("read holding 0 to 22: ok")).size(), 2);
        QCOMPARE(requests.filter(QStringLiteral("write holding 16 to 16: ok")).size(), 1);
        QVERIFY(requests.filter(QStringLiteral(": exception")).isEmpty());
    }

    void a_bad_map_or_address_ends_before_a_window()
    {
        QProcess* console = _console({"--device", "tcp://127.0.0.1", "--script"});
        QVERIFY(console->waitForFinished(60000));
        QCOMPARE(console->exitCode(), 2);
        QVERIFY(console->readAllStandardError().contains("bad device address \"tcp://127.0.0.1\""));
        console =
            _console({"--device", "tcp://127.0.0.1:502", "--map", _home.filePath("none.json"), "--script"});
        QVERIFY(console->waitForFinished(60000));
        QCOMPARE(console->exitCode(), 2);
        QVERIFY(console->readAllStandardError().contains("none.json"));
    }
};

QTEST_GUILESS_MAIN(tst_console_modbus)
#include "tst_console_modbus.moc"
