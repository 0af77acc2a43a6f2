// SPDX-License-Identifier: BSD-3-Clause
// The device console's rules, driven in-process through its real window with clicks and key
// presses: what the form shows is either on the (simulated) device or a pending change, one
// request runs at a time, user and device texts stay one log line each, and closing mid-operation
// ends the log properly. tst_console_soak puts the same rules to a long random run.
#include "console_driver.h"
#include "console_window.h"
#include "device_faults.h"
#include "device_parameters.h"
#include "temporary_settings.h"

#include "simulator/simulated_module.h"
#include "simulator/simulated_worker.h"

#include <qzgui/HexSpinBox16.h>
#include <qzgui/HexSpinBox32.h>
#include <qzgui/log_controller.h>
#include <qzgui/parameter_file.h>
#include <qzgui/sat_worker.h>
#include <qzgui/settings_keys.h>
#include <qzgui/trend/trend_view.h>

#include <module_api/proto_exception.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QtTest>

#include <memory>

using device_console::console_window;
using qz::sim::simulated_module;
namespace dc = device_console;

using namespace qz::test::console;

namespace {

constexpr int operation_timeout_ms = 60000;

} // namespace

class tst_console_rules : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::temporary_settings> _settings;
    std::unique_ptr<QTemporaryDir> _logs;
    std::unique_ptr<simulated_module> _module;
    std::unique_ptr<console_window> _window;

    console_window& window() { return *_window; }

    bool wait_idle()
    {
        return QTest::qWaitFor([this] { return !_window->is_busy(); }, operation_timeout_ms);
    }

    // Clicks Read and waits for the operation to end.
    void read()
    {
        click(window().read_button());
        QVERIFY(wait_idle());
    }

    // Clicks Write and waits for the operation to end.
    void write()
    {
        click(window().write_button());
        QVERIFY(wait_idle());
    }

    // Picks a profile in the profile box with the keyboard, as a user does.
    void choose_profile(int index)
    {
        QComboBox* box = window().profile_box();
        box->setFocus();
        QTest::keyClick(box, index == 0 ? Qt::Key_Home : Qt::Key_End);
        QCOMPARE(box->currentIndex(), index);
    }

    // After a read, starts writing gain 20 to a slow device; returns with the write in flight.
    void start_slow_write_of_gain()
    {
        read();
        retype(window().gain_field(), QStringLiteral("20"));
        start_slow_write();
    }

    // After a read, types @p value into the frequency in the extended band; @return the field.
    QDoubleSpinBox* type_extended_frequency(const QString& value)
    {
        read();
        choose_profile(1);
        auto* frequency = static_cast<QDoubleSpinBox*>(window().field(dc::id_frequency));
        retype(frequency, value);
        return frequency;
    }

    // Starts writing the pending changes to a slow device; returns with the write in flight.
    void start_slow_write()
    {
        window().faults()->set_slow_device(true);
        click(window().write_button());
        QVERIFY(window().is_busy());
    }

    // Once the slow write of 458.253 MHz has ended under the standard band, which cannot show it,
    // the device holds it and the field says so, as a pending change.
    void check_the_frequency_beyond_the_band_pending()
    {
        QVERIFY(wait_idle());
        window().faults()->set_slow_device(false);
        QCOMPARE(_module->stored(dc::id_frequency), QVariant(458.253));
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_frequency});
        check_form_matches_device("after the write");
    }

    // Each bound field either shows what the device holds or is pending.
    void check_form_matches_device(const char* when)
    {
        const QString problem = form_mismatch(window(), *_module);
        QVERIFY2(problem.isEmpty(), qPrintable(QStringLiteral("%1: %2").arg(QLatin1String(when), problem)));
    }

private slots:
    void initTestCase()
    {
        _settings = std::make_unique<qz::test::temporary_settings>();
        qz::gui::register_meta_types();
    }

    void init()
    {
        _logs = std::make_unique<QTemporaryDir>();
        _settings->set(QLatin1String(qz::gui::log_location_key), _logs->path());
        _module = std::make_unique<simulated_module>();
        for (const dc::parameter_t& p : dc::parameters())
            _module->store(p.id, p.initial);
        _window = std::make_unique<console_window>(*_module);
        _window->show();
        QVERIFY(QTest::qWaitForWindowExposed(_window.get()));
    }

    void cleanup()
    {
        _window.reset();
        _module.reset();
    }

    void fields_show_no_value_before_the_first_read()
    {
        const auto shows_nothing = [this] {
            QCOMPARE(window().output_field()->checkState(), Qt::PartiallyChecked);
            QCOMPARE(window().name_field()->text(), QString());
            QCOMPARE(window().gain_field()->cleanText(), QString());
            QCOMPARE(static_cast<QDoubleSpinBox*>(window().field(dc::id_frequency))->cleanText(), QString());
            QCOMPARE(static_cast<QComboBox*>(window().field(dc::id_mode))->currentIndex(), -1);
            QCOMPARE(static_cast<QLabel*>(window().field(dc::id_firmware))->text(), QString());
            auto* level = static_cast<QProgressBar*>(window().field(dc::id_level));
            QVERIFY(level->value() < level->minimum());
            QVERIFY(window().pending_ids().isEmpty());
        };
        shows_nothing();
        // A profile refills the mode's items and sets new ranges; still nothing looks read.
        window().select_profile(1);
        shows_nothing();
        window().select_profile(0);
        read();
        QCOMPARE(window().output_field()->checkState(), Qt::Checked);
        QVERIFY(!window().output_field()->isTristate());
        QCOMPARE(window().gain_field()->value(), 12);
        QCOMPARE(window().gain_field()->cleanText(), QStringLiteral("12"));
        QCOMPARE(static_cast<QComboBox*>(window().field(dc::id_mode))->currentText(),
                 QStringLiteral("Receive"));
        QCOMPARE(static_cast<QLabel*>(window().field(dc::id_firmware))->text(), QStringLiteral("2.4.1"));
        check_form_matches_device("after the first read");
    }

    void the_lowest_value_typed_before_the_first_read_is_written()
    {
        QSpinBox* gain = window().gain_field();
        const int lowest = gain->minimum();
        QVERIFY(_module->stored(dc::id_gain) != QVariant(lowest));
        retype(gain, QString::number(lowest));
        QTest::keyClick(gain, Qt::Key_Return);
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        QCOMPARE(gain->cleanText(), QString::number(lowest));
        write();
        QCOMPARE(_module->stored(dc::id_gain), QVariant(lowest));
        QVERIFY(window().pending_ids().isEmpty());
        QCOMPARE(gain->cleanText(), QString::number(lowest));
    }

    void a_failure_line_says_what_the_device_said()
    {
        // A device of its own, without the Device menu's faults, which are set anew per operation.
        auto module = std::make_unique<simulated_module>();
        QVector<uint32_t> ids;
        for (const dc::parameter_t& p : dc::parameters()) {
            module->store(p.id, p.initial);
            ids.append(p.id);
        }
        const std::string message = "unit 1, holding 2 to 2: Modbus exception 0x02 (illegal data address)";
        module->fail_read(dc::id_gain,
                          qz::sim::fault_t::proto(qz::api::proto::proto_exception::parameter_error, message),
                          simulated_module::always);
        auto worker = std::make_unique<qz::sim::simulated_worker>(nullptr, module.get());
        console_window console(std::move(worker), std::move(module), ids);
        // The verbose log shows the whole message; without it, the detail after the place.
        QCheckBox* verbose = nullptr;
        for (QCheckBox* box : console.findChildren<QCheckBox*>())
            if (box->text() == QLatin1String("Verbose log"))
                verbose = box;
        QVERIFY(verbose && verbose->isChecked());
        for (const bool on : {false, true}) {
            verbose->setChecked(on);
            console.read_all();
            QVERIFY(QTest::qWaitFor([&] { return !console.is_busy(); }, operation_timeout_ms));
        }
        const QString gain = QStringLiteral("read %1: parameter error").arg(dc::parameter_name(dc::id_gain));
        const QStringList messages = logged_messages(console).filter(gain);
        QCOMPARE(messages.size(), 2);
        QCOMPARE(messages[0], gain + QStringLiteral(": Modbus exception 0x02 (illegal data address)"));
        QVERIFY2(messages[1].contains(QString::fromStdString(message)), qPrintable(messages[1]));
    }

    void a_field_the_device_lacks_stays_disabled_through_profiles()
    {
        // A device without Gain, Frequency and Mode, as a foreign register map gives it.
        auto module = std::make_unique<simulated_module>();
        QVector<uint32_t> ids;
        for (const dc::parameter_t& p : dc::parameters()) {
            module->store(p.id, p.initial);
            if (p.id != dc::id_gain && p.id != dc::id_frequency && p.id != dc::id_mode)
                ids.append(p.id);
        }
        auto worker = std::make_unique<qz::sim::simulated_worker>(nullptr, module.get());
        console_window foreign(std::move(worker), std::move(module), ids);
        foreign.set_device_address(QStringLiteral("tcp://127.0.0.1:1502"));
        QVERIFY(foreign.windowTitle().contains(QLatin1String("tcp://127.0.0.1:1502")));
        for (int profile : {0, 1, 0}) {
            foreign.select_profile(profile);
            for (const uint32_t id : {dc::id_gain, dc::id_frequency, dc::id_mode})
                QVERIFY2(
                    !foreign.field(id)->isEnabled(),
                    qPrintable(QStringLiteral("profile %1: %2").arg(profile).arg(dc::parameter_name(id))));
            QVERIFY(foreign.name_field()->isEnabled());
        }
    }

    void read_keeps_an_edit_it_did_not_replace_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("unplugged") << "unplugged";
        QTest::newRow("CRC error on gain") << "crc";
        QTest::newRow("stopped slow read") << "stop";
    }

    void read_keeps_an_edit_it_did_not_replace()
    {
        QFETCH(QString, fault);
        read();
        retype(window().gain_field(), QStringLiteral("20"));
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        QVERIFY(underlined(window(), dc::id_gain));

        if (fault == QLatin1String("unplugged"))
            window().faults()->set_unplugged(true);
        else if (fault == QLatin1String("crc"))
            window().faults()->set_crc_error_on_gain(true);
        else
            window().faults()->set_slow_device(true);
        click(window().read_button());
        if (fault == QLatin1String("stop")) {
            QTest::qWait(200);
            click(window().stop_button());
        }
        QVERIFY(wait_idle());

        QCOMPARE(window().gain_field()->value(), 20);
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        QVERIFY(underlined(window(), dc::id_gain));
        check_form_matches_device("after the failed read");

        // The edit is still there to write.
        window().faults()->set_unplugged(false);
        window().faults()->set_crc_error_on_gain(false);
        window().faults()->set_slow_device(false);
        write();
        QCOMPARE(_module->stored(dc::id_gain), QVariant(20));
        QVERIFY(window().pending_ids().isEmpty());
        QVERIFY(!underlined(window(), dc::id_gain));
    }

    void write_confirms_only_what_it_wrote()
    {
        start_slow_write_of_gain();
        // A second edit while the first value travels.
        retype(window().gain_field(), QStringLiteral("25"));
        QVERIFY(wait_idle());
        QCOMPARE(_module->stored(dc::id_gain), QVariant(20));
        QCOMPARE(window().gain_field()->value(), 25);
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        QVERIFY(underlined(window(), dc::id_gain));

        window().faults()->set_slow_device(false);
        write();
        QCOMPARE(_module->stored(dc::id_gain), QVariant(25));
        QVERIFY(window().pending_ids().isEmpty());
        check_form_matches_device("after the second write");
    }

    void discard_during_a_write_shows_what_the_device_ends_up_holding()
    {
        start_slow_write_of_gain();
        QVERIFY(window().discard_button()->isEnabled());
        click(window().discard_button());
        QCOMPARE(window().gain_field()->value(), 12);
        QVERIFY(window().pending_ids().isEmpty());
        QVERIFY(wait_idle());
        // The write went through: the field shows what the device now holds.
        QCOMPARE(_module->stored(dc::id_gain), QVariant(20));
        QCOMPARE(window().gain_field()->value(), 20);
        check_form_matches_device("after the write");
    }

    void one_request_at_a_time_from_the_buttons()
    {
        read();
        _module->clear_calls();
        retype(window().gain_field(), QStringLiteral("20"));
        click(window().read_button());
        // Disabled at once, before the worker has even begun.
        QVERIFY(!window().read_button()->isEnabled());
        QVERIFY(!window().write_button()->isEnabled());
        QVERIFY(window().stop_button()->isEnabled());
        click(window().write_button());
        click(window().read_button());
        QVERIFY(wait_idle());
        QTest::qWait(300); // a second request, if one had been queued, would start now
        QVERIFY(!window().is_busy());
        QCOMPARE(_module->count(simulated_module::call_connect), 1);
        QCOMPARE(_module->count(simulated_module::call_write), 0);
        QVERIFY(window().read_button()->isEnabled());
        QVERIFY(window().write_button()->isEnabled());
        QVERIFY(!window().stop_button()->isEnabled());
    }

    void the_watched_signal_level_is_drawn_and_requests_run_between_sweeps()
    {
        read();
        _module->store(dc::id_level, 40);
        QVERIFY(window().watch_level_box()->isEnabled());
        click(window().watch_level_box());
        QVERIFY(window().watch_level_box()->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(window().level_history().size(dc::id_level) >= 2, operation_timeout_ms);
        QCOMPARE(window().level_trend()->parameters(), QVector<uint32_t>{dc::id_level});
        _module->store(dc::id_level, 77);
        // The poll reaches the form as well as the trend.
        auto* level = qobject_cast<QProgressBar*>(window().field(dc::id_level));
        QVERIFY(level);
        QTRY_COMPARE_WITH_TIMEOUT(level->value(), 77, operation_timeout_ms);
        const QVector<QPointF> samples =
            window().level_history().samples(dc::id_level, 0, std::numeric_limits<qint64>::max());
        QCOMPARE(samples.last().y(), 77.0);
        QVERIFY(std::any_of(samples.begin(), samples.end(), [](const QPointF& p) { return p.y() == 40; }));

        // The console's own write runs between two sweeps, and Read and Write stay off until it is over.
        window().faults()->set_slow_device(true);
        retype(window().gain_field(), QStringLiteral("20"));
        click(window().write_button());
        QVERIFY(window().is_busy());
        QTest::qWait(200);
        QVERIFY2(window().is_busy(), "a sweep's end freed the buttons before the write was over");
        QVERIFY(!window().write_button()->isEnabled());
        QVERIFY(wait_idle());
        QCOMPARE(_module->stored(dc::id_gain), QVariant(20));
        QVERIFY(window().pending_ids().isEmpty());
        window().faults()->set_slow_device(false);
        check_form_matches_device("after a write while watching");

        click(window().watch_level_box());
        QVERIFY(!window().watch_level_box()->isChecked());
        QVERIFY(!file_lines(window().log().get_log_file_name())
                     .filter(QStringLiteral("no longer watched"))
                     .isEmpty());
        const int held = window().level_history().size(dc::id_level);
        QTest::qWait(1200);
        QVERIFY(window().level_history().size(dc::id_level) <= held + 1); // at most the sweep in progress
    }

    void user_and_device_texts_stay_one_log_line()
    {
        read();
        const QString forged =
            QStringLiteral("QZ-1\r\n2026-01-01 00:00:00,000  INFO  begin of READ operation\n") + QChar(0)
            + QStringLiteral("\tx\\n") + QChar(0x2028) + QStringLiteral("end");
        QApplication::clipboard()->setText(forged);
        QLineEdit* name = window().name_field();
        name->setFocus();
        QTest::keyClick(name, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(name, Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(name->text(), forged);
        write();
        QCOMPARE(_module->stored(dc::id_name), QVariant(forged));
        // The same text comes back from the device.
        read();

        const QStringList lines = file_lines(window().log().get_log_file_name());
        const QRegularExpression line(QStringLiteral(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d,\\d{3}  (INFO |WARN |ERROR|QZTTC) [^\\r\\n]*$"));
        for (const QString& text : lines)
            QVERIFY2(line.match(text).hasMatch(), qPrintable(text));
        const QString shown =
            QStringLiteral("QZ-1\\u000d\\u000a2026-01-01 00:00:00,000  INFO  begin of READ operation\\u000a"
                           "\\u0000\\u0009x\\\\n\\u2028end");
        const QStringList messages = logged_messages(window());
        QVERIFY(messages.contains(QStringLiteral("written 0x0002 Device name = ") + shown));
        QVERIFY(messages.contains(QStringLiteral("read 0x0002 Device name = ") + shown));
        QCOMPARE(messages.filter(QRegularExpression(QStringLiteral("^begin of READ operation$"))).size(), 2);
    }

    void closing_mid_operation_ends_the_log()
    {
        window().faults()->set_slow_device(true);
        click(window().read_button());
        QTest::qWait(700);
        const QString log_file = window().log().get_log_file_name();
        QVERIFY(window().close());
        const QStringList messages = logged_messages(window());
        _window.reset();
        QVERIFY2(messages.size() >= 3, qPrintable(messages.join('\n')));
        QCOMPARE(messages.last(), QStringLiteral("end of READ operation"));
        QVERIFY2(messages.contains(QStringLiteral("connection: disconnected")),
                 qPrintable(messages.join('\n')));
        QString problem;
        QVERIFY2(operations_are_closed(messages, &problem), qPrintable(problem));
        // Nothing is added once the window has gone.
        QCOMPARE(file_lines(log_file).size(), messages.size());
    }

    void profile_switch_that_changes_a_value_makes_it_pending()
    {
        read();
        choose_profile(1);
        QVERIFY(window().pending_ids().isEmpty());
        // Gain 50 and mode Beacon exist only in the extended band.
        retype(window().gain_field(), QStringLiteral("50"));
        auto* mode = static_cast<QComboBox*>(window().field(dc::id_mode));
        mode->setFocus();
        QTest::keyClick(mode, Qt::Key_End);
        QCOMPARE(mode->currentText(), QStringLiteral("Beacon"));
        auto* frequency = static_cast<QDoubleSpinBox*>(window().field(dc::id_frequency));
        retype(frequency, QStringLiteral("433.925"));
        write();
        QCOMPARE(_module->stored(dc::id_mode), QVariant(3u));
        QVERIFY(window().pending_ids().isEmpty());

        choose_profile(0);
        QCOMPARE(window().gain_field()->value(), 30);
        QCOMPARE(mode->currentText(), QStringLiteral("Idle"));
        QCOMPARE(frequency->value(), 433.93);
        QCOMPARE(window().pending_ids(), (QVector<uint32_t>{dc::id_gain, dc::id_frequency, dc::id_mode}));
        for (const uint32_t id : {dc::id_gain, dc::id_frequency, dc::id_mode})
            QVERIFY(underlined(window(), id));
        check_form_matches_device("after the switch");

        // Discard cannot bring back what the profile cannot show: the fields stay pending.
        click(window().discard_button());
        QCOMPARE(window().pending_ids().size(), 3);
        // A read brings the same values, which still do not fit.
        read();
        QCOMPARE(window().pending_ids().size(), 3);
        check_form_matches_device("after the read");

        // The next Write sends exactly what the form shows.
        write();
        QCOMPARE(_module->stored(dc::id_gain), QVariant(30));
        QCOMPARE(_module->stored(dc::id_mode), QVariant(0u));
        QCOMPARE(_module->stored(dc::id_frequency), QVariant(433.93));
        QVERIFY(window().pending_ids().isEmpty());
        check_form_matches_device("after the write");
    }

    void a_profile_switch_during_a_write_keeps_what_the_profile_cannot_show_pending()
    {
        QDoubleSpinBox* frequency = type_extended_frequency(QStringLiteral("458.253"));
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_frequency});
        start_slow_write();
        // The standard band while the write of a value beyond it runs.
        choose_profile(0);
        QCOMPARE(frequency->value(), 440.0);
        check_the_frequency_beyond_the_band_pending();
    }

    void a_value_beyond_the_profile_is_pending_even_where_the_field_showed_its_limit()
    {
        // The device holds the standard band's top, so the field shows it, settled.
        QDoubleSpinBox* frequency = type_extended_frequency(QStringLiteral("440"));
        write();
        choose_profile(0);
        QCOMPARE(frequency->value(), 440.0);
        QVERIFY(window().pending_ids().isEmpty());

        // Another tool sets a value beyond the band: the field cannot change, and still says so.
        _module->store(dc::id_frequency, 458.253);
        read();
        QCOMPARE(frequency->value(), 440.0);
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_frequency});
        check_form_matches_device("after the read");
        // An operation beginning ends error hints, not the pending change.
        read();
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_frequency});
        check_form_matches_device("after a second read");
    }

    void a_write_confirmed_after_discard_and_profile_switch_leaves_no_silent_difference()
    {
        QDoubleSpinBox* frequency = type_extended_frequency(QStringLiteral("440"));
        write();
        retype(frequency, QStringLiteral("458.253"));
        start_slow_write();
        // While it runs: the standard band, then Discard gives the field the 440 the device held.
        choose_profile(0);
        click(window().discard_button());
        QCOMPARE(frequency->value(), 440.0);
        check_the_frequency_beyond_the_band_pending();
    }

    void the_designer_form_binds_every_parameter()
    {
        for (const dc::parameter_t& p : dc::parameters()) {
            QVERIFY2(window().field(p.id), qPrintable(dc::parameter_name(p.id)));
            auto* hint = qobject_cast<QLabel*>(window().hint(p.id));
            QVERIFY2(hint && hint->text() == p.name, qPrintable(dc::parameter_name(p.id)));
        }
        QVERIFY(dynamic_cast<qz::gui::HexSpinBox16*>(window().field(dc::id_address)));
        QVERIFY(dynamic_cast<qz::gui::HexSpinBox32*>(window().field(dc::id_mask)));
    }

    void a_loaded_file_becomes_pending_changes_that_write_sends()
    {
        read();
        const QString file = _logs->filePath(QStringLiteral("saved.json"));
        retype(window().name_field(), QStringLiteral("saved name"));
        write();
        QVERIFY(window().save_parameters_to(file));
        retype(window().name_field(), QStringLiteral("later name"));
        retype(window().gain_field(), QStringLiteral("3"));
        write();
        QCOMPARE(_module->stored(dc::id_name).toString(), QStringLiteral("later name"));

        QVERIFY(window().load_parameters_from(file));
        QCOMPARE(window().pending_ids(), (QVector<uint32_t>{dc::id_name, dc::id_gain}));
        QVERIFY(underlined(window(), dc::id_name));
        check_form_matches_device("after the load");
        write();
        QCOMPARE(_module->stored(dc::id_name).toString(), QStringLiteral("saved name"));
        QCOMPARE(_module->stored(dc::id_gain).toInt(), 12);
        QVERIFY(window().pending_ids().isEmpty());
        check_form_matches_device("after the write");
    }

    void a_loaded_value_the_device_holds_is_no_change()
    {
        read();
        const QString file = _logs->filePath(QStringLiteral("device.json"));
        QVERIFY(window().save_parameters_to(file));
        retype(window().gain_field(), QStringLiteral("20"));
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        QVERIFY(window().load_parameters_from(file));
        QCOMPARE(window().gain_field()->value(), 12);
        QVERIFY(window().pending_ids().isEmpty());
        QVERIFY(!underlined(window(), dc::id_gain));
        QVERIFY(logged_messages(window()).last().endsWith(QStringLiteral("; pending: none")));
    }

    void values_the_form_cannot_take_are_logged()
    {
        read();
        const QString file = _logs->filePath(QStringLiteral("foreign.json"));
        qz::gui::save_parameters(file,
                                 {{dc::id_gain, 55}, {dc::id_firmware, QStringLiteral("9.9")}, {0x99, 1}});
        QVERIFY(window().load_parameters_from(file));
        const QStringList messages = logged_messages(window());
        QVERIFY2(
            messages.contains(QStringLiteral("0x0003 Gain (dB): the file holds 55, which the active profile "
                                             "cannot show")),
            qPrintable(messages.join('\n')));
        QVERIFY(messages.contains(QStringLiteral("not editable here, left alone: 0x0006 Firmware")));
        QVERIFY(messages.contains(QStringLiteral("not parameters of this device, left alone: 0x0099")));
        // The nearest value the profile allows is pending; the label kept the device's text.
        QCOMPARE(window().gain_field()->value(), 30);
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        QCOMPARE(window().field_value(dc::id_firmware), QVariant());
        QCOMPARE(qobject_cast<QLabel*>(window().field(dc::id_firmware))->text(), QStringLiteral("2.4.1"));
        check_form_matches_device("after the load");
    }

    void a_file_that_does_not_load_changes_nothing()
    {
        read();
        retype(window().gain_field(), QStringLiteral("20"));
        const QString file = _logs->filePath(QStringLiteral("cut.json"));
        QVERIFY(window().save_parameters_to(file));
        QFile f(file);
        QVERIFY(f.resize(f.size() / 2));
        retype(window().gain_field(), QStringLiteral("21"));
        QVERIFY(!window().load_parameters_from(file));
        QCOMPARE(window().gain_field()->value(), 21);
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        const QString last = logged_messages(window()).last();
        QVERIFY2(
            last.startsWith(QStringLiteral("parameters not loaded: ") + file + QStringLiteral(": line ")),
            qPrintable(last));
        QVERIFY(!window().save_parameters_to(_logs->path()));
        QVERIFY(logged_messages(window()).last().startsWith(QStringLiteral("parameters not saved: ")));
    }

    void closing_with_pending_changes_asks_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("busy");
        QTest::newRow("cancel") << "Cancel" << false;
        QTest::newRow("discard") << "Discard" << false;
        QTest::newRow("write") << "Write" << false;
        QTest::newRow("write while writing") << "Write" << true;
    }

    void closing_with_pending_changes_asks()
    {
        QFETCH(QString, answer);
        QFETCH(bool, busy);
        read();
        if (busy) {
            // A slow write of another field runs when the user closes.
            window().faults()->set_slow_device(true);
            retype(window().name_field(), QStringLiteral("busy name"));
            click(window().write_button());
            QVERIFY(window().is_busy());
        }
        retype(window().gain_field(), QStringLiteral("17"));
        answer_close_question(answer);
        QCOMPARE(window().close(), answer == QLatin1String("Discard"));
        const QStringList messages = logged_messages(window());
        if (answer == QLatin1String("Cancel")) {
            QVERIFY(window().isVisible());
            QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
            QCOMPARE(_module->stored(dc::id_gain).toInt(), 12);
            return;
        }
        if (answer == QLatin1String("Discard")) {
            QVERIFY(!window().isVisible());
            QCOMPARE(messages.last(), QStringLiteral("closing: pending changes discarded"));
            QCOMPARE(_module->stored(dc::id_gain).toInt(), 12);
            return;
        }
        // Write: the window waits for the write, then closes by itself.
        QVERIFY(messages.contains(QStringLiteral("closing after the pending changes are written")));
        QTRY_VERIFY_WITH_TIMEOUT(!window().isVisible(), operation_timeout_ms);
        QCOMPARE(_module->stored(dc::id_gain).toInt(), 17);
        if (busy)
            QCOMPARE(_module->stored(dc::id_name).toString(), QStringLiteral("busy name"));
        QString problem;
        QVERIFY2(operations_are_closed(logged_messages(window()), &problem), qPrintable(problem));
        QVERIFY(logged_messages(window()).contains(QStringLiteral("written 0x0003 Gain (dB) = 17")));
    }

    void closing_stays_open_when_the_write_fails()
    {
        read();
        retype(window().gain_field(), QStringLiteral("17"));
        window().faults()->set_unplugged(true);
        answer_close_question(QStringLiteral("Write"));
        QVERIFY(!window().close());
        QVERIFY(QTest::qWaitFor(
            [this] {
                return logged_messages(window()).contains(
                    QStringLiteral("not closing: changes are still pending after the write"));
            },
            operation_timeout_ms));
        QVERIFY(window().isVisible());
        QCOMPARE(window().pending_ids(), QVector<uint32_t>{dc::id_gain});
        // Asked again, the user discards.
        answer_close_question(QStringLiteral("Discard"));
        QVERIFY(window().close());
    }
};

QTEST_MAIN(tst_console_rules)
#include "tst_console_rules.moc"
