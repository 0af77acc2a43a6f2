// SPDX-License-Identifier: BSD-3-Clause
// qzpanel against the project's device simulator: its window driven in-process with clicks and
// key presses, its connection dialog, and the program itself run as a process.
#include "connect_dialog.h"
#include "form_fixture.h"
#include "modbus_fixture.h"
#include "panel_window.h"
#include "temporary_settings.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/settings_keys.h>

#include <QComboBox>
#include <QImage>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QTranslator>
#include <QtTest>

#include <memory>

using qz::test::device_process;
using qz::test::retype;

namespace {

const QByteArray map_text = R"({"version": 1, "parameters": [
    {"id": "0x0001", "name": "Output enabled", "table": "coil", "address": 0, "type": "bool", "initial": true},
    {"id": "0x0002", "name": "Device name", "table": "holding", "address": 0, "type": "string", "registers": 8,
     "initial": "north mast", "group": "Identity"},
    {"id": "0x0003", "name": "Gain", "table": "holding", "address": 8, "type": "int16", "initial": 12, "unit": "dB",
     "minimum": 0, "maximum": 60, "group": "Radio"},
    {"id": "0x0004", "name": "Frequency", "table": "holding", "address": 9, "type": "uint32", "scale": 0.001,
     "initial": 433.92, "unit": "MHz", "minimum": 430, "maximum": 440, "group": "Radio"},
    {"id": "0x0005", "name": "Mode", "table": "holding", "address": 11, "type": "uint16", "initial": 1, "group": "Radio",
     "choices": [{"value": 0, "text": "Idle"}, {"value": 1, "text": "Receive"}, {"value": 2, "text": "Transmit"}]},
    {"id": "0x000A", "name": "Interrupt mask", "table": "holding", "address": 12, "type": "uint32",
     "initial": 4294901760, "format": "hex"},
    {"id": "0x0007", "name": "Signal level", "table": "input", "address": 0, "type": "int16", "initial": 63}
]})";

QStringList log_lines(const qz::panel::panel_window& window)
{
    QStringList lines;
    for (int i = 0; i < window.log_list()->count(); ++i)
        lines.append(window.log_list()->item(i)->text());
    return lines;
}

} // namespace

class tst_qzpanel : public QObject {
    Q_OBJECT

    qz::test::temporary_settings _settings;
    QTemporaryDir _dir;
    QString _map;

    std::unique_ptr<qz::panel::panel_window> _open(const device_process& device)
    {
        auto window = std::make_unique<qz::panel::panel_window>(
            qz::modbus::register_map::load(_map),
            std::make_unique<qz::modbus::modbus_module>(device.address()), device.address());
        window->show();
        return window;
    }

    static bool run(qz::panel::panel_window& window, void (qz::panel::panel_window::*operation)())
    {
        QSignalSpy finished(&window, &qz::panel::panel_window::operation_finished);
        (window.*operation)();
        return finished.wait(60000);
    }

    // The value qzparam reads from the device now.
    QString device_holds(const device_process& device, const char* id)
    {
        QProcess qzparam;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), _dir.filePath(QStringLiteral("config")));
        qzparam.setProcessEnvironment(environment);
        qzparam.start(QStringLiteral(QZGUI_QZPARAM),
                      {"--device", device.address(), "--map", _map, "read", id});
        if (!qzparam.waitForFinished(60000))
            return QStringLiteral("qzparam did not finish");
        return QString::fromUtf8(qzparam.readAllStandardOutput()).trimmed();
    }

private slots:
    void initTestCase()
    {
        qz::gui::register_meta_types();
        _settings.set(QLatin1String(qz::gui::log_location_key), _dir.path());
        _map = _dir.filePath(QStringLiteral("map.json"));
        QVERIFY(qz::test::write_text(_map, map_text));
    }

    void a_field_shows_no_value_before_it_is_read()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        auto* gain = qobject_cast<QSpinBox*>(window->field(3));
        auto* output = qobject_cast<QCheckBox*>(window->field(1));
        auto* mode = qobject_cast<QComboBox*>(window->field(5));
        QVERIFY(gain && output && mode);
        QVERIFY(!window->has_device_value(3));
        QVERIFY(!gain->isEnabled());
        QCOMPARE(gain->cleanText(), QString()); // the unit alone: no number
        QCOMPARE(output->checkState(), Qt::PartiallyChecked);
        QCOMPARE(mode->currentIndex(), -1);
        // Typing into a field never read changes nothing.
        retype(gain, QStringLiteral("30"));
        QVERIFY(window->pending_ids().isEmpty());

        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        QVERIFY(window->has_device_value(3));
        QVERIFY(gain->isEnabled());
        QCOMPARE(gain->text(), QStringLiteral("12 dB"));
        QCOMPARE(output->checkState(), Qt::Checked);
        QVERIFY(!output->isTristate());
        QCOMPARE(mode->currentText(), QStringLiteral("Receive"));
        QCOMPARE(qobject_cast<QSpinBox*>(window->field(0xA))->text(), QStringLiteral("0xFFFF0000"));
        QCOMPARE(qobject_cast<QSpinBox*>(window->field(7))->text(), QStringLiteral("63"));
        QVERIFY(window->pending_ids().isEmpty());
    }

    void a_failed_read_leaves_the_field_without_a_value()
    {
        device_process device;
        QVERIFY(device.start(_map, QStringLiteral("tcp://127.0.0.1:0"), {"--exception", "holding:8=2"}));
        auto window = _open(device);
        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        QVERIFY(!window->has_device_value(3));
        QVERIFY(!window->field(3)->isEnabled());
        QCOMPARE(qobject_cast<QSpinBox*>(window->field(3))->cleanText(), QString());
        QVERIFY(window->has_device_value(4));
        // The log list shows its lines after a short delay.
        const QString line =
            QStringLiteral("read 0x0003 Gain: parameter error: Modbus exception 0x02 (illegal data address)");
        QTRY_VERIFY2_WITH_TIMEOUT(!log_lines(*window).filter(line).isEmpty(),
                                  qPrintable(log_lines(*window).join(QLatin1Char('\n'))), 10000);
        QVERIFY2(log_lines(*window).filter(line).first().endsWith(line),
                 qPrintable(log_lines(*window).join('\n')));
    }

    void edits_are_written_to_the_device()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        retype(window->field(3), QStringLiteral("14"));
        auto* mode = qobject_cast<QComboBox*>(window->field(5));
        mode->setFocus();
        QTest::keyClick(mode, Qt::Key_Down); // Transmit
        retype(window->field(0xA), QStringLiteral("FFFFFFF0"));
        QCOMPARE(window->pending_ids(), (QVector<uint32_t>{3, 5, 0xA}));
        QSignalSpy finished(window.get(), &qz::panel::panel_window::operation_finished);
        QTest::mouseClick(window->write_button(), Qt::LeftButton);
        QVERIFY(finished.wait(60000));
        QVERIFY(window->pending_ids().isEmpty());
        QCOMPARE(device_holds(device, "0x0003"), QStringLiteral("0x0003 = 14"));
        QCOMPARE(device_holds(device, "0x0005"), QStringLiteral("0x0005 = 2"));
        QCOMPARE(device_holds(device, "0x000A"), QStringLiteral("0x000A = 4294967280"));
    }

    void a_field_keeps_to_the_maps_bounds()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        // The field keeps to the map's bounds as the user types.
        retype(window->field(3), QStringLiteral("61"));
        QVERIFY(qobject_cast<QSpinBox*>(window->field(3))->value() <= 60);
    }

    void parameter_files_save_and_load_as_pending_changes()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        retype(window->field(2), QStringLiteral("bench copy"));
        const QString file = _dir.filePath(QStringLiteral("saved.json"));
        QCOMPARE(window->save_parameters(file), QString());
        QTest::mouseClick(window->discard_button(), Qt::LeftButton);
        QCOMPARE(qobject_cast<QLineEdit*>(window->field(2))->text(), QStringLiteral("north mast"));
        QVERIFY(window->pending_ids().isEmpty());
        QCOMPARE(window->load_parameters(file), QString());
        QCOMPARE(window->pending_ids(), QVector<uint32_t>{2});
        QCOMPARE(qobject_cast<QLineEdit*>(window->field(2))->text(), QStringLiteral("bench copy"));
        QVERIFY(run(*window, &qz::panel::panel_window::write_changes));
        QCOMPARE(device_holds(device, "0x0002"), QStringLiteral("0x0002 = bench copy"));
        QVERIFY(!window->load_parameters(_dir.filePath(QStringLiteral("missing.json"))).isEmpty());
    }

    void the_dialog_gives_the_address_and_remembers_it()
    {
        {
            qz::panel::connect_dialog dialog;
            dialog.tcp_button()->setChecked(true);
            retype(dialog.host_field(), QStringLiteral("127.0.0.1"));
            dialog.port_field()->setValue(1502);
            dialog.unit_field()->setValue(3);
            dialog.map_field()->setText(_map);
            dialog.timeout_field()->setValue(1500);
            dialog.repeats_field()->setValue(1);
            QCOMPARE(dialog.address(), QStringLiteral("tcp://127.0.0.1:1502?unit=3"));
            dialog.accept();
        }
        namespace cs = qz::gui::command_settings;
        QCOMPARE(QSettings().value(QLatin1String(cs::timeout_s.key)).toInt(), 1500);
        QCOMPARE(QSettings().value(QLatin1String(cs::timeout_l.key)).toInt(), 1500);
        QCOMPARE(QSettings().value(QLatin1String(cs::repeats_m.key)).toInt(), 1);
        {
            qz::panel::connect_dialog dialog;
            QCOMPARE(dialog.address(), QStringLiteral("tcp://127.0.0.1:1502?unit=3"));
            QCOMPARE(dialog.map_path(), _map);
            QCOMPARE(dialog.timeout_field()->value(), 1500);
            dialog.serial_button()->setChecked(true);
            QVERIFY(!dialog.host_field()->isEnabled());
            dialog.serial_port_field()->setCurrentText(QStringLiteral("/dev/ttyS1"));
            dialog.baud_field()->setCurrentText(QStringLiteral("9600"));
            dialog.parity_field()->setCurrentIndex(2);
            QCOMPARE(dialog.address(), QStringLiteral("rtu:/dev/ttyS1?baud=9600&parity=odd&unit=3"));
            // The module reads what the dialog writes.
            try {
                qz::modbus::modbus_module module(dialog.address());
            } catch (const std::exception& e) {
                QFAIL(e.what());
            }
            dialog.accept();
        }
        qz::panel::connect_dialog dialog;
        QVERIFY(dialog.serial_button()->isChecked());
        QCOMPARE(dialog.address(), QStringLiteral("rtu:/dev/ttyS1?baud=9600&parity=odd&unit=3"));
    }

#ifdef QZPANEL_QM
    void the_dialog_speaks_german()
    {
        QTranslator translator;
        QVERIFY(translator.load(QStringLiteral(QZPANEL_QM)));
        QCoreApplication::installTranslator(&translator);
        qz::panel::connect_dialog dialog;
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Mit einem Gerät verbinden"));
        QCOMPARE(dialog.tcp_button()->text(), QStringLiteral("TCP"));
        QCOMPARE(dialog.serial_button()->text(), QStringLiteral("Serielle Schnittstelle (RTU)"));
    }
#endif

    void the_program_reads_and_saves_a_picture()
    {
        device_process device;
        QVERIFY(device.start(_map));
        const QString picture = _dir.filePath(QStringLiteral("panel.png"));
        QProcess panel;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), _dir.filePath(QStringLiteral("config")));
        environment.insert(QStringLiteral("XDG_DATA_HOME"), _dir.filePath(QStringLiteral("data")));
        panel.setProcessEnvironment(environment);
        panel.start(QStringLiteral(QZGUI_QZPANEL),
                    {"--device", device.address(), "--map", _map, "--screenshot", picture});
        QVERIFY(panel.waitForStarted(30000));
        if (!panel.waitForFinished(120000)) {
            panel.kill();
            QFAIL("qzpanel did not finish");
        }
        QCOMPARE(panel.exitStatus(), QProcess::NormalExit);
        QCOMPARE(panel.exitCode(), 0);
        const QImage image(picture);
        QVERIFY(!image.isNull());
        QVERIFY(image.width() > 200 && image.height() > 200);
        QVERIFY(device.requests().contains(QStringLiteral("unit 1: read holding 0 to 13: ok")));
        // Its log went where the settings say, never to the file system's root.
        QVERIFY(
            !QDir(_dir.filePath(QStringLiteral("data/qzgui/qzpanel/logs"))).entryList(QDir::Files).isEmpty());
    }

    void a_bad_map_ends_with_a_bad_argument()
    {
        QProcess panel;
        panel.start(QStringLiteral(QZGUI_QZPANEL),
                    {"--device", "tcp://127.0.0.1:1", "--map", _dir.filePath(QStringLiteral("none.json")),
                     "--screenshot", _dir.filePath(QStringLiteral("none.png"))});
        QVERIFY(panel.waitForFinished(60000));
        QCOMPARE(panel.exitCode(), 2);
        QVERIFY(QString::fromUtf8(panel.readAllStandardError())
                    .contains(QStringLiteral("none.json: cannot be read")));
    }

    void help_needs_no_display()
    {
        QProcess panel;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        environment.remove(QStringLiteral("DISPLAY"));
        panel.setProcessEnvironment(environment);
        panel.start(QStringLiteral(QZGUI_QZPANEL), {"--help"});
        QVERIFY(panel.waitForFinished(60000));
        QCOMPARE(panel.exitCode(), 0);
        QVERIFY(QString::fromUtf8(panel.readAllStandardOutput()).contains(QStringLiteral("--screenshot")));
    }
};

QTEST_MAIN(tst_qzpanel)
#include "tst_qzpanel.moc"
