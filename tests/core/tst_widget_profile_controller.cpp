// SPDX-License-Identifier: BSD-3-Clause
// Widget profile records, their handlers and the profile controller, on real widgets.
#include "form_fixture.h"
#include "qzgui/widget_profile_controller.h"

#include <QProcess>
#include <QSignalSpy>

#include <cstdio>

using namespace qz::test;
using namespace qz::gui;
using pair_list = QVector<QPair<QWidget*, std::shared_ptr<widget_profile_t>>>;

namespace {

const char assertion_child[] = "--failing-profile";

// A record of a kind that has no handler; the base record is built only through derived ones.
struct checkbox_profile : widget_profile_t {
    checkbox_profile()
        : widget_profile_t(checkbox, true)
    {}
};

std::shared_ptr<widget_profile_t> spin(bool enabled, int minimum, int maximum, int step)
{
    return std::make_shared<widget_profile_spinbox_t>(enabled, minimum, maximum, step);
}

std::shared_ptr<widget_profile_t> dspin(double minimum, double maximum, double step, int decimals,
                                        value_policy_e policy, bool enabled = true)
{
    return std::make_shared<widget_profile_doublespinbox_t>(enabled, minimum, maximum, step, decimals,
                                                            policy);
}

std::shared_ptr<widget_profile_t> combo(const QVector<QPair<QString, QVariant>>& items, bool enabled = true)
{
    return std::make_shared<widget_profile_combobox_t>(enabled, items);
}

// Child process: a first pair is applied, then the failing case ends the process.
int run_failing_child(int argc, char** argv, const QByteArray& which)
{
    QApplication app(argc, argv);
    QSpinBox box;
    QCheckBox check;
    widget_profile_controller profiles;
    profiles.register_profile(1,
                              {{&box, spin(true, 0, 5, 1)}, {&check, std::make_shared<checkbox_profile>()}});
    std::printf("applying\n");
    std::fflush(stdout);
    profiles.set_active_profile(which == "unregistered" ? 2 : 1);
    std::printf("survived\n");
    return 0;
}

} // namespace

class tst_widget_profile_controller : public QObject {
    Q_OBJECT

    // Runs this test executable as a child that hits one assertion; returns its report.
    QByteArray run_child(const QByteArray& which, QProcess::ExitStatus* status, QByteArray* out)
    {
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(),
                    {QString::fromLatin1(assertion_child), QString::fromLatin1(which)});
        if (!child.waitForStarted(60000) || !child.waitForFinished(60000)) {
            child.kill();
            child.waitForFinished(60000);
            return "did not finish";
        }
        *status = child.exitStatus();
        *out = child.readAllStandardOutput();
        return child.readAllStandardError();
    }

    // The child applies its first pair, then dies of the assertion with a report that names the failed
    // @p expression and this checkout's source relative to its root.
    void expect_fatal(const QByteArray& which, const char* expression)
    {
        QProcess::ExitStatus status = QProcess::NormalExit;
        QByteArray out;
        const QByteArray report = run_child(which, &status, &out);
        QCOMPARE(status, QProcess::CrashExit);
        QVERIFY2(report.contains(expression), report.constData());
        QVERIFY2(report.contains("qzgui/widget_profile_controller.cpp:"), report.constData());
        QVERIFY2(!report.contains("/qzgui/widget_profile_controller.cpp"), report.constData());
        QVERIFY(out.contains("applying"));
        QVERIFY(!out.contains("survived"));
    }

private slots:
    void records_carry_their_kind()
    {
        QCOMPARE(int(keep_value), 0);
        QCOMPARE(int(set_minimum), 1);
        QCOMPARE(int(set_maximum), 2);
        const widget_profile_spinbox_t s(false, -1, 9, 2);
        QCOMPARE(s.type, spinbox);
        QVERIFY(!s.enabled);
        QCOMPARE(s.minimum, -1);
        QCOMPARE(s.maximum, 9);
        QCOMPARE(s.step, 2);
        const widget_profile_doublespinbox_t d(true, 0.5, 1.5, 0.1, 3, set_maximum);
        QCOMPARE(d.type, doublespinbox);
        QCOMPARE(d.decimals, 3);
        QCOMPARE(d.policy, set_maximum);
        const widget_profile_label_t l(true, QStringLiteral("Gain"));
        QCOMPARE(l.type, label);
        QCOMPARE(l.text, QStringLiteral("Gain"));
        const widget_profile_combobox_t c(true, {{QStringLiteral("a"), 1}});
        QCOMPARE(c.type, combobox);
        QCOMPARE(c.items.size(), 1);
    }

    void spin_box_keeps_its_value_within_the_range()
    {
        QSpinBox box;
        box.setRange(0, 100);
        box.setValue(50);
        widget_profile_handler_spinbox handler;
        handler.apply_profile(&box, widget_profile_spinbox_t(true, 0, 100, 5));
        QCOMPARE(box.value(), 50);
        QCOMPARE(box.singleStep(), 5);
        handler.apply_profile(&box, widget_profile_spinbox_t(true, 0, 10, 1));
        QCOMPARE(box.value(), 10);
        QCOMPARE(box.maximum(), 10);
        handler.apply_profile(&box, widget_profile_spinbox_t(false, 20, 30, 1));
        QCOMPARE(box.value(), 20);
        QVERIFY(!box.isEnabled());
    }

    void double_spin_box_policies_data()
    {
        QTest::addColumn<int>("policy");
        QTest::addColumn<double>("expected");
        QTest::newRow("keep value") << int(keep_value) << 3.46;
        QTest::newRow("set minimum") << int(set_minimum) << 1.0;
        QTest::newRow("set maximum") << int(set_maximum) << 8.0;
        // No explicit value: what the range and decimals changes left, 3.456 rounded to 2 decimals.
        QTest::newRow("other number") << 7 << 3.46;
    }

    void double_spin_box_policies()
    {
        QFETCH(int, policy);
        QDoubleSpinBox box;
        box.setDecimals(3);
        box.setRange(0, 100);
        box.setValue(3.456);
        widget_profile_handler_doublespinbox().apply_profile(
            &box, widget_profile_doublespinbox_t(true, 1.0, 8.0, 0.25, 2, value_policy_e(policy)));
        QTEST(box.value(), "expected");
        QCOMPARE(box.minimum(), 1.0);
        QCOMPARE(box.maximum(), 8.0);
        QCOMPARE(box.singleStep(), 0.25);
        QCOMPARE(box.decimals(), 2);
    }

    void double_spin_box_keep_value_clamps()
    {
        QDoubleSpinBox box;
        box.setRange(0, 100);
        box.setValue(90);
        widget_profile_handler_doublespinbox().apply_profile(
            &box, widget_profile_doublespinbox_t(false, 0, 10, 1, 1, keep_value));
        QCOMPARE(box.value(), 10.0);
        QVERIFY(!box.isEnabled());
    }

    void combo_box_keeps_its_selection_by_data()
    {
        QComboBox box;
        box.addItem(QStringLiteral("one"), 1u);
        box.addItem(QStringLiteral("two"), 2u);
        box.setCurrentIndex(1);
        widget_profile_handler_combobox handler;
        handler.apply_profile(
            &box,
            widget_profile_combobox_t(
                true,
                {{QStringLiteral("zwei"), 2u}, {QStringLiteral("drei"), 3u}, {QStringLiteral("eins"), 1u}}));
        QCOMPARE(box.count(), 3);
        QCOMPARE(box.currentIndex(), 0);
        QCOMPARE(box.currentText(), QStringLiteral("zwei"));
        QCOMPARE(box.itemData(2), QVariant(1u));
        QVERIFY(box.itemIcon(0).isNull());

        box.setCurrentIndex(1); // data 3
        handler.apply_profile(
            &box, widget_profile_combobox_t(true, {{QStringLiteral("x"), 7u}, {QStringLiteral("y"), 8u}}));
        QCOMPARE(box.currentIndex(), 0);
        handler.apply_profile(&box, widget_profile_combobox_t(false, {}));
        QCOMPARE(box.count(), 0);
        QCOMPARE(box.currentIndex(), -1);
        QVERIFY(!box.isEnabled());
    }

    void label_gets_its_text()
    {
        QLabel text;
        widget_profile_handler_label().apply_profile(&text,
                                                     widget_profile_label_t(false, QStringLiteral("mA")));
        QCOMPARE(text.text(), QStringLiteral("mA"));
        QVERIFY(!text.isEnabled());
    }

    void base_handler_sets_only_the_enabled_state()
    {
        QSpinBox box;
        box.setRange(0, 5);
        widget_profile_handler().apply_profile(&box, widget_profile_spinbox_t(false, 10, 20, 3));
        QVERIFY(!box.isEnabled());
        QCOMPARE(box.maximum(), 5);
    }

    void switching_between_profiles()
    {
        form f;
        f.spin->setValue(40);
        f.dspin->setValue(12.5);
        f.combo->setCurrentIndex(2);
        widget_profile_controller profiles;
        profiles.register_profile(0,
                                  {{f.spin, spin(true, 0, 100, 1)},
                                   {f.dspin, dspin(0, 50, 0.5, 1, keep_value)},
                                   {f.combo, combo({{"zero", 0u}, {"one", 1u}, {"two", 2u}})},
                                   {f.label, std::make_shared<widget_profile_label_t>(true, "V")}});
        profiles.register_profile(1,
                                  {{f.spin, spin(false, 0, 20, 2)},
                                   {f.dspin, dspin(1, 5, 0.1, 2, set_minimum)},
                                   {f.combo, combo({{"two", 2u}, {"three", 3u}})},
                                   {f.label, std::make_shared<widget_profile_label_t>(true, "mV")}});
        profiles.set_active_profile(1);
        QCOMPARE(f.spin->value(), 20);
        QVERIFY(!f.spin->isEnabled());
        QCOMPARE(f.dspin->value(), 1.0);
        QCOMPARE(f.combo->currentData(), QVariant(2u));
        QCOMPARE(f.label->text(), QStringLiteral("mV"));
        profiles.set_active_profile(0);
        QCOMPARE(f.spin->maximum(), 100);
        QVERIFY(f.spin->isEnabled());
        QCOMPARE(f.spin->value(), 20);
        QCOMPARE(f.combo->currentText(), QStringLiteral("two"));
        QCOMPARE(f.label->text(), QStringLiteral("V"));
    }

    void registering_again_replaces_the_list()
    {
        QSpinBox a;
        QSpinBox b;
        widget_profile_controller profiles;
        profiles.register_profile(3, {{&a, spin(true, 0, 7, 1)}});
        profiles.register_profile(3, {{&b, spin(true, 0, 9, 1)}});
        profiles.set_active_profile(3);
        QCOMPARE(a.maximum(), 99);
        QCOMPARE(b.maximum(), 9);
    }

    void empty_list_changes_nothing()
    {
        QSpinBox box;
        widget_profile_controller profiles;
        profiles.register_profile(0, {});
        profiles.set_active_profile(0);
        QCOMPARE(box.maximum(), 99);
    }

    void set_minimum_applies_every_time()
    {
        QDoubleSpinBox box;
        widget_profile_controller profiles;
        profiles.register_profile(0, {{&box, dspin(2, 9, 1, 1, set_minimum)}});
        profiles.set_active_profile(0);
        box.setValue(7);
        profiles.set_active_profile(0);
        QCOMPARE(box.value(), 2.0);
    }

    void later_pair_for_the_same_widget_wins()
    {
        QSpinBox box;
        widget_profile_controller profiles;
        profiles.register_profile(0, {{&box, spin(true, 0, 10, 1)}, {&box, spin(false, 0, 3, 1)}});
        profiles.set_active_profile(0);
        QCOMPARE(box.maximum(), 3);
        QVERIFY(!box.isEnabled());
    }

    void records_are_shared_with_the_caller()
    {
        QSpinBox box;
        auto record = std::make_shared<widget_profile_spinbox_t>(true, 0, 10, 1);
        {
            widget_profile_controller profiles;
            profiles.register_profile(0, {{&box, record}});
            QCOMPARE(record.use_count(), 2);
            record->maximum = 4; // read when applied, not copied at registration
            profiles.set_active_profile(0);
            QCOMPARE(box.maximum(), 4);
        }
        QCOMPARE(record.use_count(), 1);
    }

    void profiles_count_as_edits_unless_the_form_is_loading()
    {
        form f;
        f.spin->setValue(50);
        f.combo->setCurrentIndex(2);
        ui_controller controller(&f.widgets, &f.hints);
        widget_profile_controller profiles;
        profiles.register_profile(0, {{f.spin, spin(true, 0, 10, 1)}, {f.combo, combo({{"x", 9u}})}});
        profiles.register_profile(1, {{f.spin, spin(true, 0, 5, 1)}, {f.combo, combo({{"y", 8u}})}});
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);

        controller.set_loading_data(true);
        profiles.set_active_profile(0);
        controller.set_loading_data(false);
        QCOMPARE(spy.count(), 0);
        QVERIFY(!controller.has_changed_parameters());

        profiles.set_active_profile(1);
        QVERIFY(spy.count() > 0);
        QVector<QPair<uint32_t, QVariant>> changes;
        controller.collect_changed_params(changes);
        QCOMPARE(changes, (QVector<QPair<uint32_t, QVariant>>{{id_spin, 5}, {id_combo, 8u}}));
    }

    void unregistered_profile_ends_the_process()
    {
        expect_fatal("unregistered", "_profiles.contains(profile_id)");
    }

    void record_without_handler_ends_the_process()
    {
        expect_fatal("no-handler", "_handlers.contains( wp->type)");
    }
};

int main(int argc, char** argv)
{
    for (int i = 1; i + 1 < argc; ++i)
        if (qstrcmp(argv[i], assertion_child) == 0)
            return run_failing_child(argc, argv, argv[i + 1]);
    QApplication app(argc, argv);
    tst_widget_profile_controller test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_widget_profile_controller.moc"
