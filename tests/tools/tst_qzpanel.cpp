// SPDX-License-Identifier: BSD-3-Clause
// qzpanel against the project's device simulator: its window driven in-process with clicks and
// key presses, its connection dialog, and the program itself run as a process.
#include "connect_dialog.h"
#include "form_fixture.h"
#include "modbus/raw_modbus_server.h"
#include "modbus_fixture.h"
#include "monitor_tab.h"
#include "panel_window.h"
#include "temporary_settings.h"

#include <qzgui/modbus/modbus_module.h>
#include <qzgui/parameter_file.h>
#include <qzgui/poller.h>
#include <qzgui/settings_keys.h>
#include <qzgui/trend/trend_view.h>

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QImage>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTranslator>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>
#include <memory>

using qz::test::device_process;
using qz::test::enter;
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

const QByteArray changing_map_text = R"({"version": 1, "parameters": [
    {"id": "0x0020", "name": "Temperature", "table": "holding", "address": 0, "type": "float32", "read_only": true,
     "unit": "degC"},
    {"id": "0x0021", "name": "Counter", "table": "holding", "address": 2, "type": "uint16"}
]})";

/**
 * An independent device whose values change at every read, as a meter's do: a read-only float32
 * temperature (holding 0 and 1) rising by 0.37 and a counter (holding 2) rising by one, to 65535.
 */
struct changing_device {
    std::atomic<int> served{0};
    qz::test::raw_modbus_server server{[this](int, const QByteArray& request) {
        const QByteArray pdu = qz::test::pdu_of(request);
        qz::test::raw_modbus_server::answer_t answer;
        if (pdu.size() != 5 || pdu[0] != 0x03) {
            answer.bytes = qz::test::mbap(request, QByteArray::fromHex("8301"));
            return answer;
        }
        const int start = (uchar(pdu[1]) << 8) | uchar(pdu[2]);
        const int count = (uchar(pdu[3]) << 8) | uchar(pdu[4]);
        const int n = served++;
        const float temperature = 20.0f + 0.37f * float(n);
        quint32 bits = 0;
        std::memcpy(&bits, &temperature, sizeof bits);
        // The counter stops at its top rather than wrap: back at the user's value, the edit would
        // settle (as it should), and the log would rightly say the next difference again.
        const quint16 words[3] = {quint16(bits >> 16), quint16(bits & 0xFFFF),
                                  quint16(std::min(100 + n, 0xFFFF))};
        QByteArray reply;
        reply.append(char(0x03)).append(char(2 * count));
        for (int address = start; address < start + count; ++address) {
            const quint16 word = address < 3 ? words[address] : 0;
            reply.append(char(word >> 8)).append(char(word & 0xFF));
        }
        answer.bytes = qz::test::mbap(request, reply);
        return answer;
    }};
};

// A float32's value as people write it: its shortest decimal, in fixed notation, chosen as the
// C++ library chooses it (of two equally short, the nearer; 32769.8125 is 32769.812).
QString float_text(double value)
{
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, float(value), std::chars_format::fixed).ptr;
    return QString::fromLatin1(text, int(end - text));
}

// Whether a line of the window's log list holds @p text; the list takes lines in batches.
bool has_line(const qz::panel::panel_window& window, const char* text)
{
    return !log_lines(window).filter(QLatin1String(text)).isEmpty();
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
        show_active(window.get());
        return window;
    }

    // Shown and active, as a user's window is: keys, shortcuts and focus reach it. Under Xvfb
    // no window manager activates it.
    static void show_active(QWidget* window)
    {
        window->show();
        if (QTest::qWaitForWindowExposed(window)) {
            window->activateWindow();
            QApplication::setActiveWindow(window);
            if (!QTest::qWaitForWindowActive(window))
                qWarning("the window did not become active");
        }
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
        enter(gain, QStringLiteral("30"));
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
        enter(window->field(3), QStringLiteral("14"));
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
        enter(window->field(3), QStringLiteral("61"));
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

    void the_monitor_offers_numbers_and_booleans_only()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        qz::panel::monitor_tab* monitor = window->monitor();
        auto* tabs = window->findChild<QTabWidget*>();
        QVERIFY(tabs);
        QCOMPARE(tabs->tabText(1), QStringLiteral("Monitor"));
        QCOMPARE(tabs->widget(1), monitor);
        // The device name is text: a trend has no line for it.
        QCOMPARE(monitor->offered(), (QVector<uint32_t>{1, 3, 4, 5, 0xA, 7}));
        QVERIFY(!monitor->stop_button()->isEnabled());
        QVERIFY(!monitor->start().isEmpty()); // nothing ticked
        QVERIFY(!monitor->is_active());
        QVERIFY(!monitor->record(_dir.filePath(QStringLiteral("early.csv"))).isEmpty()); // not polling
        QVERIFY(!QFile::exists(_dir.filePath(QStringLiteral("early.csv"))));
    }

    void the_monitor_polls_draws_and_records()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        qz::panel::monitor_tab* monitor = window->monitor();
        monitor->set_ticked({3, 1, 7});
        QCOMPARE(monitor->ticked(), (QVector<uint32_t>{1, 3, 7}));
        QCOMPARE(monitor->trend()->parameters(), (QVector<uint32_t>{1, 3, 7}));
        monitor->set_interval(100);
        QTest::mouseClick(monitor->start_button(), Qt::LeftButton);
        QVERIFY(monitor->is_active());
        QVERIFY(!monitor->start_button()->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(monitor->history().size(3) >= 3, 30000);
        // The polled values reach the form too.
        QCOMPARE(qobject_cast<QSpinBox*>(window->field(3))->text(), QStringLiteral("12 dB"));
        QVERIFY(window->has_device_value(7));
        QVERIFY(!window->has_device_value(4)); // not polled
        const QVector<QPointF> gains = monitor->history().samples(3, 0, std::numeric_limits<qint64>::max());
        QVERIFY(std::all_of(gains.begin(), gains.end(), [](const QPointF& p) { return p.y() == 12; }));
        QCOMPARE(monitor->history().samples(1, 0, std::numeric_limits<qint64>::max()).value(0).y(), 1.0);

        const QString csv = _dir.filePath(QStringLiteral("monitor.csv"));
        QCOMPARE(monitor->record(csv), QString());
        QTRY_VERIFY_WITH_TIMEOUT(monitor->recorded_rows() >= 3, 30000);
        QTRY_VERIFY(monitor->recording_label()->text().contains(QStringLiteral("row")));
        QVERIFY2(monitor->recording_label()->text().contains(QDir::toNativeSeparators(csv)),
                 qPrintable(monitor->recording_label()->text()));
        QCOMPARE(monitor->record_button()->text(), QStringLiteral("Record to another file..."));
        QVERIFY(monitor->stop_recording_button()->isEnabled());

        // A name that cannot be written: the running recording goes on, and the reason is given.
        const int rows = monitor->recorded_rows();
        const QString bad = _dir.filePath(QStringLiteral("no such folder/monitor.csv"));
        const QString refused = monitor->record(bad);
        QVERIFY2(refused.contains(QStringLiteral("no such folder")), qPrintable(refused));
        QVERIFY2(
            refused.endsWith(QStringLiteral("; recording to %1 goes on").arg(QDir::toNativeSeparators(csv))),
            qPrintable(refused));
        QTRY_VERIFY_WITH_TIMEOUT(monitor->recorded_rows() >= rows + 2, 30000);
        QVERIFY(monitor->recording_label()->text().contains(QDir::toNativeSeparators(csv)));
        // Recording stops on its own; monitoring goes on.
        QTest::mouseClick(monitor->stop_recording_button(), Qt::LeftButton);
        QCOMPARE(monitor->recorded_rows(), -1);
        QVERIFY(monitor->is_active());
        QCOMPARE(monitor->record_button()->text(), QStringLiteral("Record to CSV..."));
        QVERIFY(!monitor->stop_recording_button()->isEnabled());
        QTest::mouseClick(monitor->stop_button(), Qt::LeftButton);
        QVERIFY(!monitor->is_active());
        QCOMPARE(monitor->recorded_rows(), -1);

        QFile file(csv);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        QCOMPARE(lines.first(),
                 QByteArray("time,0x0001 Output enabled,0x0003 Gain (dB),0x0007 Signal level\r"));
        QVERIFY(lines.size() >= 5); // header, three rows at least, and the end of the last line
        for (const QByteArray& row : lines.mid(1, lines.size() - 2))
            QVERIFY2(row.endsWith(",1,12,63\r") && row.contains('T') && row.contains("Z,"), row.constData());
        // While monitoring, routine sweeps stay out of the log; starting and stopping are in it.
        QTRY_VERIFY(!log_lines(*window).filter(QStringLiteral("monitoring stopped")).isEmpty());
        QVERIFY(log_lines(*window).filter(QStringLiteral("read 0x0003")).isEmpty());
    }

    void a_write_while_monitoring_runs_between_sweeps()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        qz::panel::monitor_tab* monitor = window->monitor();
        monitor->set_ticked({3, 7});
        monitor->set_interval(0); // back to back: a sweep is nearly always running
        QCOMPARE(monitor->start(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(window->has_device_value(3), 30000);
        enter(window->field(3), QStringLiteral("17"));
        QCOMPARE(window->pending_ids(), QVector<uint32_t>{3});
        QSignalSpy finished(window.get(), &qz::panel::panel_window::operation_finished);
        QTest::mouseClick(window->write_button(), Qt::LeftButton);
        QVERIFY(window->is_busy());
        // The sweeps that end meanwhile are not the window's: it is busy until its write is over.
        QVERIFY(finished.wait(60000));
        QCOMPARE(finished.size(), 1);
        QVERIFY(!window->is_busy());
        QVERIFY(window->pending_ids().isEmpty());
        QCOMPARE(device_holds(device, "0x0003"), QStringLiteral("0x0003 = 17"));
        // The next sweeps read the written value back into the form and the trend.
        QTRY_VERIFY_WITH_TIMEOUT(
            monitor->history().samples(3, 0, std::numeric_limits<qint64>::max()).last().y() == 17, 30000);
        QCOMPARE(qobject_cast<QSpinBox*>(window->field(3))->text(), QStringLiteral("17 dB"));
        monitor->stop();
        QCOMPARE(finished.size(), 1);
    }

    void an_edit_of_a_polled_field_stays_until_written_or_discarded()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        qz::panel::monitor_tab* monitor = window->monitor();
        monitor->set_ticked({3});
        monitor->set_interval(100);
        QCOMPARE(monitor->start(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(window->has_device_value(3), 30000);
        auto* gain = qobject_cast<QSpinBox*>(window->field(3));
        enter(gain, QStringLiteral("17"));
        QCOMPARE(window->pending_ids(), QVector<uint32_t>{3});
        // Sweeps read 12 meanwhile: the edit stays, and the log says so once, not per sweep.
        const int sweeps = int(monitor->history().samples(3, 0, std::numeric_limits<qint64>::max()).size());
        QTRY_VERIFY_WITH_TIMEOUT(
            monitor->history().samples(3, 0, std::numeric_limits<qint64>::max()).size() >= sweeps + 5, 30000);
        QCOMPARE(gain->value(), 17);
        QCOMPARE(window->pending_ids(), QVector<uint32_t>{3});
        QVERIFY(log_lines(*window).filter(QStringLiteral("is pending, the device holds")).size() <= 1);
        // Discard: the device's value again, and the sweeps keep it up to date.
        QTest::mouseClick(window->discard_button(), Qt::LeftButton);
        QCOMPARE(gain->value(), 12);
        QVERIFY(window->pending_ids().isEmpty());
        // An edit written: the device holds it, and the sweeps read it back.
        enter(gain, QStringLiteral("19"));
        QTest::mouseClick(window->write_button(), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!window->is_busy(), 30000);
        QCOMPARE(device_holds(device, "0x0003"), QStringLiteral("0x0003 = 19"));
        QTRY_VERIFY_WITH_TIMEOUT(
            monitor->history().samples(3, 0, std::numeric_limits<qint64>::max()).last().y() == 19, 30000);
        QCOMPARE(gain->value(), 19);
        QVERIFY(window->pending_ids().isEmpty());
        monitor->stop();
    }

    void a_polled_field_that_fails_stays_marked_from_sweep_to_sweep()
    {
        device_process device;
        QVERIFY(device.start(_map, QStringLiteral("tcp://127.0.0.1:0"), {"--exception", "holding:8=2"}));
        auto window = _open(device);
        QLabel* hint = nullptr;
        for (QLabel* label : window->findChildren<QLabel*>())
            hint = label->buddy() == window->field(3) ? label : hint;
        QVERIFY(hint);
        // Counts the moments the hint shows no failure once it showed one.
        struct unmarked_watch : QObject {
            bool marked = false;
            int unmarked = 0;
            bool eventFilter(QObject* watched, QEvent* event) override
            {
                if (event->type() == QEvent::StyleChange) {
                    const bool red =
                        static_cast<QWidget*>(watched)->styleSheet().contains(QLatin1String("red"));
                    unmarked += marked && !red ? 1 : 0;
                    marked = marked || red;
                }
                return false;
            }
        } watch;
        hint->installEventFilter(&watch);
        qz::panel::monitor_tab* monitor = window->monitor();
        monitor->set_ticked({3, 4});
        monitor->set_interval(100);
        QCOMPARE(monitor->start(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(watch.marked, 30000);
        // Sweep after sweep, the gain fails again and the frequency comes: the mark stays.
        const auto sweeps = [monitor] {
            return monitor->history().samples(4, 0, std::numeric_limits<qint64>::max()).size();
        };
        const auto first = sweeps();
        QTRY_VERIFY_WITH_TIMEOUT(sweeps() >= first + 5, 30000);
        QCOMPARE(watch.unmarked, 0);
        QVERIFY(hint->styleSheet().contains(QLatin1String("red")));
        monitor->stop();
        // The user's own Read begins anew: the mark goes, and comes back with the failure.
        window->read_all();
        QCOMPARE(watch.unmarked, 1);
        QTRY_VERIFY_WITH_TIMEOUT(!window->is_busy(), 30000);
        QTRY_VERIFY_WITH_TIMEOUT(hint->styleSheet().contains(QLatin1String("red")), 30000);
    }

    void the_form_keeps_stale_values_while_the_device_is_lost()
    {
        auto device = std::make_unique<device_process>();
        QVERIFY(device->start(_map));
        const QString address = device->address();
        const QString port = address.section(QLatin1Char(':'), 2).section(QLatin1Char('?'), 0, 0);
        auto window = _open(*device);
        qz::panel::monitor_tab* monitor = window->monitor();
        monitor->set_ticked({3, 7});
        monitor->set_interval(100);
        QCOMPARE(monitor->start(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(monitor->history().size(7) >= 2, 30000);
        const QString tool_tip = window->field(3)->toolTip();

        QTRY_VERIFY_WITH_TIMEOUT(window->status_text().contains(QStringLiteral("; last sweep at ")), 30000);
        QVERIFY2(window->status_text().startsWith(QStringLiteral("Polling 2 parameter(s) every 100 ms")),
                 qPrintable(window->status_text()));
        // A field that is not polled, read once.
        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        QVERIFY(window->has_device_value(5));

        device->kill();
        QTRY_VERIFY_WITH_TIMEOUT(window->status_text().startsWith(QStringLiteral("Device lost since ")),
                                 30000);
        // With what the link said: the connection refused, or lost in the middle of a sweep.
        QVERIFY2(window->status_text().contains(QStringLiteral("please check com port and device address: ")),
                 qPrintable(window->status_text()));
        // Every value read is only the last one known now, polled or not.
        QVERIFY(window->is_stale(3) && window->is_stale(7) && window->is_stale(5));
        // Read and Write are refused at once, saying why; the edit stays pending.
        QSignalSpy finished(window.get(), &qz::panel::panel_window::operation_finished);
        window->read_all();
        QVERIFY(!window->is_busy());
        QTRY_VERIFY(has_line(*window, "Read not sent: the device is lost since "));
        auto* mode = qobject_cast<QComboBox*>(window->field(5));
        mode->setFocus();
        QTest::keyClick(mode, Qt::Key_Down);
        QCOMPARE(window->pending_ids(), QVector<uint32_t>{5});
        QTest::keyClick(window.get(), Qt::Key_W, Qt::ControlModifier);
        QVERIFY(!window->is_busy());
        QTRY_VERIFY(has_line(*window, "Write not sent: the device is lost since "));
        QCOMPARE(window->pending_ids(), QVector<uint32_t>{5});
        QCOMPARE(finished.size(), 0);
        QVERIFY(window->field(3)->font().italic());
        QVERIFY(window->field(3)->toolTip().startsWith(QStringLiteral("Stale: ")));
        // The last values stay in the form.
        QCOMPARE(qobject_cast<QSpinBox*>(window->field(3))->text(), QStringLiteral("12 dB"));
        QCOMPARE(qobject_cast<QSpinBox*>(window->field(7))->text(), QStringLiteral("63"));
        QVERIFY(monitor->is_active());

        // Back on the same port: polling resumes by itself.
        device = std::make_unique<device_process>();
        QVERIFY(device->start(_map, QStringLiteral("tcp://127.0.0.1:%1").arg(port)));
        QTRY_VERIFY_WITH_TIMEOUT(!window->is_stale(3) && !window->is_stale(7), 30000);
        QTRY_VERIFY_WITH_TIMEOUT(window->status_text().startsWith(QStringLiteral("Polling 2 parameter(s)")),
                                 30000);
        // The restarted device holds its first values: a field not polled stays stale until read.
        QVERIFY(window->is_stale(5));
        QVERIFY(
            window->field(5)->toolTip().startsWith(QStringLiteral("Stale: read before the device was lost")));
        QCOMPARE(window->field(3)->toolTip(), tool_tip);
        QVERIFY(!window->field(3)->font().italic());
        const int after = monitor->history().size(7);
        QTRY_VERIFY_WITH_TIMEOUT(monitor->history().size(7) >= after + 2, 30000);
        // The trend breaks where the device was gone.
        const QVector<QPointF> levels = monitor->history().samples(7, 0, std::numeric_limits<qint64>::max());
        QVERIFY(
            std::any_of(levels.begin(), levels.end(), [](const QPointF& p) { return std::isnan(p.y()); }));
        QVERIFY(!log_lines(*window).filter(QStringLiteral("device lost: ")).isEmpty());
        QTRY_VERIFY(!log_lines(*window).filter(QStringLiteral("device back")).isEmpty());
        // F5 reads: the field is fresh again, and the pending edit still waits to be written.
        QTest::keyClick(window.get(), Qt::Key_F5);
        QVERIFY(window->is_busy());
        QVERIFY(finished.wait(60000));
        QVERIFY(!window->is_stale(5));
        QCOMPARE(window->pending_ids(), QVector<uint32_t>{5});
        monitor->stop();
        QVERIFY2(window->status_text().startsWith(QStringLiteral("Idle; last read at ")),
                 qPrintable(window->status_text()));
    }

    void a_read_only_float_follows_a_changing_device_exactly()
    {
        // As long as QZGUI_SOAK_SECONDS says (an hour, for a soak run), else a few seconds.
        const int seconds = qEnvironmentVariableIsSet("QZGUI_SOAK_SECONDS")
            ? qEnvironmentVariableIntValue("QZGUI_SOAK_SECONDS")
            : 4;
        const QString map = _dir.filePath(QStringLiteral("changing.json"));
        QVERIFY(qz::test::write_text(map, changing_map_text));
        changing_device device;
        const quint16 port = device.server.start_server();
        QVERIFY(port != 0);
        const QString address = QStringLiteral("tcp://127.0.0.1:%1").arg(port);
        qz::panel::panel_window window(qz::modbus::register_map::load(map),
                                       std::make_unique<qz::modbus::modbus_module>(address), address);
        show_active(&window);
        auto* temperature = qobject_cast<QDoubleSpinBox*>(window.field(0x20));
        auto* counter = qobject_cast<QSpinBox*>(window.field(0x21));
        QVERIFY(temperature && counter);
        qz::panel::monitor_tab* monitor = window.monitor();
        monitor->set_ticked({0x20, 0x21});
        monitor->set_interval(20);
        // After each value, once the form has had it: the field shows a value the device sent, as
        // its float's shortest decimal, and is never a pending change.
        QSet<double> sent;
        int checks = 0;
        QString wrong;
        connect(monitor->poller(), &qz::gui::poller::on_sample, this,
                [&](uint32_t id, const QVariant& value, qint64) {
                    if (id != 0x20)
                        return;
                    sent.insert(value.toDouble());
                    QTimer::singleShot(0, this, [&] {
                        ++checks;
                        const double shown = temperature->value();
                        const QString expected = float_text(shown) + QStringLiteral(" degC");
                        if (wrong.isEmpty() && (!sent.contains(shown) || temperature->text() != expected))
                            wrong =
                                QStringLiteral("shows %1, expected %2").arg(temperature->text(), expected);
                        if (wrong.isEmpty() && window.pending_ids().contains(0x20))
                            wrong = QStringLiteral("%1 is pending").arg(temperature->text());
                    });
                });
        QCOMPARE(monitor->start(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(window.has_device_value(0x21), 30000);
        // An edit of the counter stays pending while the device counts on; said once, not per sweep.
        enter(counter, QStringLiteral("5"));
        QCOMPARE(window.pending_ids(), QVector<uint32_t>{0x21});
        QElapsedTimer soak;
        soak.start();
        while (soak.elapsed() < seconds * 1000 && wrong.isEmpty())
            QTest::qWait(200);
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        QVERIFY2(checks >= seconds * 5, qPrintable(QString::number(checks)));
        qInfo("%d values checked in %d s", checks, seconds);
        // It went past 300 degC within a thousand reads, with a value shown rounded nowhere.
        monitor->stop();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        // The sweep under way at the stop still reaches the form: it shows what the device last sent.
        QTest::qWait(1000);
        const float last = 20.0f + 0.37f * float(device.served - 1);
        QCOMPARE(temperature->text(), float_text(double(last)) + QStringLiteral(" degC"));
        QCOMPARE(window.pending_ids(), QVector<uint32_t>{0x21});
        QTRY_VERIFY(has_line(window, "Counter: 5 is pending, the device holds "));
        QVERIFY(log_lines(window).filter(QStringLiteral("is pending, the device holds")).size() == 1);
        // A saved file holds the device's exact value.
        const QString saved = _dir.filePath(QStringLiteral("changing-saved"));
        QCOMPARE(window.save_parameters(saved), QString());
        QCOMPARE(qz::gui::load_parameters(saved + QStringLiteral(".json")).value(0x20).toDouble(),
                 temperature->value());

        // Closing asks about the one field the user changed, with keys for its answers.
        QString asked;
        QStringList answers;
        QTimer::singleShot(0, this, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            asked = box->text();
            for (QAbstractButton* button : box->buttons())
                answers.append(button->text());
            box->reject();
        });
        QVERIFY(!window.close());
        QCOMPARE(asked,
                 QStringLiteral("1 field(s) hold changes that are not on the device. Close and lose them?"));
        QCOMPARE(answers.size(), 2);
        for (const QString& answer : answers)
            QVERIFY2(answer.contains(QLatin1Char('&')), qPrintable(answer));
        window.discard_changes();
        QVERIFY(window.close());
    }

    void a_silent_device_is_lost_and_a_refused_one_says_why()
    {
        // It takes the connection and never answers what is polled.
        device_process device;
        QVERIFY(device.start(_map, QStringLiteral("tcp://127.0.0.1:0"),
                             {"--silent", "holding:8", "--silent", "input:0"}));
        namespace cs = qz::gui::command_settings;
        _settings.set(QLatin1String(cs::timeout_s.key), 100);
        _settings.set(QLatin1String(cs::repeats_s.key), 0);
        auto window = _open(device);
        QVERIFY2(window->status_text() == QStringLiteral("Idle"), qPrintable(window->status_text()));
        qz::panel::monitor_tab* monitor = window->monitor();
        monitor->set_ticked({3, 7});
        monitor->set_interval(100);
        QCOMPARE(monitor->start(), QString());
        QTRY_VERIFY_WITH_TIMEOUT(window->status_text().startsWith(QStringLiteral("Device lost since ")),
                                 30000);
        QVERIFY2(window->status_text().contains(QStringLiteral(": no answer within ")),
                 qPrintable(window->status_text()));
        QTRY_VERIFY(has_line(*window, "device lost: "));
        monitor->stop();
        _settings.set(QLatin1String(cs::timeout_s.key), cs::timeout_s.default_value);
        _settings.set(QLatin1String(cs::repeats_s.key), cs::repeats_s.default_value);

        // Nothing listens: the reason comes with the catalogue's text, as qzparam prints it.
        device.kill();
        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        QTRY_VERIFY2(
            has_line(*window, "connection error: please check com port and device address: no connection ("),
            qPrintable(log_lines(*window).join('\n')));
        QVERIFY2(window->status_text().startsWith(QStringLiteral("Idle; the device was not reached at ")),
                 qPrintable(window->status_text()));
    }

    void an_entry_beyond_a_bound_is_refused_with_a_warning()
    {
        device_process device;
        QVERIFY(device.start(_map));
        auto window = _open(device);
        QVERIFY(run(*window, &qz::panel::panel_window::read_all));
        auto* gain = qobject_cast<QSpinBox*>(window->field(3));
        QCOMPARE(gain->toolTip(), QStringLiteral("Range: 0 to 60 dB"));
        retype(gain, QStringLiteral("61"));
        QCOMPARE(gain->text(), QStringLiteral("61 dB"));
        // Write takes the entry first: it is refused whole, and nothing is written.
        QTest::mouseClick(window->write_button(), Qt::LeftButton);
        QCOMPARE(gain->value(), 12);
        QVERIFY(window->pending_ids().isEmpty());
        QTRY_VERIFY(
            has_line(*window, "0x0003 Gain: 61 dB is beyond the range 0 to 60 dB; the field keeps 12 dB"));
        QTRY_VERIFY(has_line(*window, "nothing to write"));
    }

    void the_window_fits_a_small_screen_and_remembers_the_interval()
    {
        device_process device;
        QVERIFY(device.start(_map));
        {
            auto window = _open(device);
            QVERIFY2(window->width() <= 1366 && window->height() <= 740,
                     qPrintable(QStringLiteral("%1 x %2").arg(window->width()).arg(window->height())));
            QVERIFY(window->minimumSizeHint().height() <= 740);
            window->monitor()->set_ticked({7});
            window->monitor()->set_interval(250);
            QCOMPARE(window->monitor()->start(), QString());
            window->monitor()->stop();
        }
        auto window = _open(device);
        QCOMPARE(window->monitor()->interval_field()->value(), 250);
        // Ctrl+R reads as F5 does.
        QSignalSpy finished(window.get(), &qz::panel::panel_window::operation_finished);
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QTest::keyClick(window.get(), Qt::Key_R, Qt::ControlModifier);
        QVERIFY(finished.wait(60000));
        QVERIFY(window->has_device_value(3));
    }

    void the_dialog_gives_the_address_and_remembers_it()
    {
        {
            qz::panel::connect_dialog dialog;
            // The module's default parity, and no OK before a map is chosen.
            QCOMPARE(dialog.parity_field()->currentData().toString(), QStringLiteral("none"));
            dialog.map_field()->clear();
            QVERIFY(!dialog.ok_button()->isEnabled());
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
