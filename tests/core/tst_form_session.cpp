// SPDX-License-Identifier: BSD-3-Clause
// form_session on a real form, edited with key presses: every field shows what the device holds
// or is a pending change; reads, confirmed writes, failures, discards, profile-like changes and
// loaded values keep it so; and the same with a real worker in its own thread.
#include "event_thread.h"
#include "form_fixture.h"
#include "worker_fixture.h"

#include <qzgui/form_builder.h>
#include <qzgui/form_scan.h>
#include <qzgui/form_session.h>
#include <qzgui/parameter_description.h>

#include <QSignalSpy>
#include <QtTest>

#include <memory>

using qz::gui::form_session;
using qz::gui::ui_controller;
using namespace qz::test;

// A device holding 7 and "from device", and its worker in a thread of its own, which @p session
// follows.
struct threaded_device {
    temporary_settings settings;
    qz::sim::simulated_module module;
    test_worker worker{nullptr, &module};
    event_thread thread;

    explicit threaded_device(form_session& session)
    {
        module.store(id_spin, 7);
        module.store(id_line, QStringLiteral("from device"));
        worker.moveToThread(&thread);
        session.connect_worker(&worker);
        thread.begin();
    }
    ~threaded_device() { thread.finish(); }
};

// A form of its own that no value of the device's reached yet: the test's usual form starts read.
struct blank_form {
    qz::test::form f;
    ui_controller form{&f.widgets, &f.hints};
    form_session session{&form, &f.widgets, &f.hints};

    blank_form() { session.show_no_values(); }
};

// A form built from descriptions, as qzpanel builds one, with its session.
struct built_form {
    std::unique_ptr<QWidget> window;
    qz::gui::form_bindings bound;
    std::unique_ptr<ui_controller> form;
    std::unique_ptr<form_session> session;

    explicit built_form(const QVector<qz::gui::parameter_description>& parameters)
        : window(qz::gui::build_form(parameters))
        , bound(qz::gui::scan_form(window.get()))
        , form(std::make_unique<ui_controller>(&bound.widgets, &bound.hints))
        , session(std::make_unique<form_session>(form.get(), &bound.widgets, &bound.hints))
    {
        session->show_no_values();
        window->show();
        QApplication::setActiveWindow(window.get());
    }

    template <typename W>
    W* field(uint32_t id) const
    {
        return qobject_cast<W*>(bound.widgets.value(id).second);
    }
};

qz::gui::parameter_description described(uint32_t id, int type, bool read_only)
{
    qz::gui::parameter_description p;
    p.id = id;
    p.type = type;
    p.read_only = read_only;
    return p;
}

class tst_form_session : public QObject {
    Q_OBJECT

    std::unique_ptr<qz::test::form> _f;
    std::unique_ptr<ui_controller> _form;
    std::unique_ptr<form_session> _session;

    // The values the device starts with.
    const QMap<uint32_t, QVariant> _device{{id_check, true},
                                           {id_line, QStringLiteral("pump")},
                                           {id_spin, 12},
                                           {id_double, 4.5},
                                           {id_combo, 1u},
                                           {id_label, QStringLiteral("v1")},
                                           {id_datetime, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5))}};

    void read_all()
    {
        for (auto it = _device.cbegin(); it != _device.cend(); ++it)
            _session->show_device_value(it.key(), it.value());
    }

    bool underlined(uint32_t id) const { return _f->hint(id)->font().underline(); }
    bool marked_failed(uint32_t id) const
    {
        return _f->hint(id)->styleSheet().contains(QLatin1String("red"));
    }
    QVector<uint32_t> pending() const { return _session->pending_ids(); }

private slots:
    void initTestCase() { qz::gui::register_meta_types(); }

    void init()
    {
        _f = std::make_unique<qz::test::form>();
        _f->show();
        _form = std::make_unique<ui_controller>(&_f->widgets, &_f->hints);
        _session = std::make_unique<form_session>(_form.get(), &_f->widgets, &_f->hints);
        read_all();
    }

    void cleanup()
    {
        _session.reset();
        _form.reset();
        _f.reset();
    }

    void a_field_never_read_shows_no_value_even_after_a_discard()
    {
        blank_form blank;
        qz::test::form& f = blank.f;
        form_session& session = blank.session;
        f.show();
        QCOMPARE(f.check->checkState(), Qt::PartiallyChecked);
        QCOMPARE(f.line->text(), QString());
        QCOMPARE(f.spin->text().trimmed(), QString());
        QCOMPARE(f.dspin->text().trimmed(), QString());
        QCOMPARE(f.combo->currentIndex(), -1);
        QCOMPARE(f.datetime->text().trimmed(), QString());
        QVERIFY(f.progress->value() < f.progress->minimum());
        QVERIFY(session.pending_ids().isEmpty());
        // Nothing to save: no field holds a value.
        QVERIFY(session.shown_values().isEmpty());
        // The user sets a field never read; discarded, it holds nothing again.
        f.click_check();
        QCOMPARE(session.pending_ids(), QVector<uint32_t>{id_check});
        QCOMPARE(session.shown_values(), (QMap<uint32_t, QVariant>{{id_check, true}}));
        session.discard_changes();
        QVERIFY(session.pending_ids().isEmpty());
        QCOMPARE(f.check->checkState(), Qt::PartiallyChecked);
        // A profile refilling the combo box does not choose an item for it.
        session.reconfigure([&f] {
            f.combo->clear();
            f.combo->addItem(QStringLiteral("zero"), 0u);
        });
        QCOMPARE(f.combo->currentIndex(), -1);
        QVERIFY(session.pending_ids().isEmpty());
        // The device's first value: a check box takes two states again.
        session.show_device_value(id_check, false);
        QCOMPARE(f.check->checkState(), Qt::Unchecked);
        QVERIFY(!f.check->isTristate());
        f.click_check();
        QCOMPARE(f.check->checkState(), Qt::Checked);
        f.click_check();
        QCOMPARE(f.check->checkState(), Qt::Unchecked);
    }

    void the_lowest_value_entered_into_a_field_never_read_is_a_change()
    {
        blank_form blank;
        qz::test::form& f = blank.f;
        form_session& session = blank.session;
        f.show();
        // Typed and then taken back: the field still holds nothing.
        retype(f.spin, QStringLiteral("0"));
        QTest::keyClick(f.spin, Qt::Key_Backspace);
        QTest::keyClick(f.spin, Qt::Key_Return);
        QVERIFY(session.pending_ids().isEmpty());
        QCOMPARE(f.spin->text().trimmed(), QString());
        // The lowest value typed, taken with Enter: a change like any other, shown as a number.
        retype(f.spin, QStringLiteral("0"));
        QTest::keyClick(f.spin, Qt::Key_Return);
        QCOMPARE(session.pending_ids(), QVector<uint32_t>{id_spin});
        QCOMPARE(f.spin->text(), QStringLiteral("0"));
        // Taken by leaving the field.
        retype(f.dspin, QStringLiteral("0"));
        f.line->setFocus();
        QCOMPARE(session.pending_ids(), (QVector<uint32_t>{id_spin, id_double}));
        QCOMPARE(f.dspin->text(), QStringLiteral("0.00"));
        // Stepped up and back down to the lowest value: shown, not blank.
        session.discard_changes();
        QCOMPARE(f.spin->text().trimmed(), QString());
        f.spin->setFocus();
        QTest::keyClick(f.spin, Qt::Key_Up);
        QTest::keyClick(f.spin, Qt::Key_Down);
        QCOMPARE(session.pending_ids(), QVector<uint32_t>{id_spin});
        QCOMPARE(f.spin->text(), QStringLiteral("0"));
        QCOMPARE(session.shown_values(), (QMap<uint32_t, QVariant>{{id_spin, 0}}));
        // Discarded, the fields hold nothing again.
        session.discard_changes();
        QVERIFY(session.pending_ids().isEmpty());
        QCOMPARE(f.spin->text().trimmed(), QString());
        QCOMPARE(f.dspin->text().trimmed(), QString());
    }

    void a_loaded_value_fills_a_field_never_read_even_where_it_equals_its_blank()
    {
        blank_form blank;
        qz::test::form& f = blank.f;
        form_session& session = blank.session;
        f.show();
        const QMap<uint32_t, QVariant> file{{id_check, false}, {id_spin, 0}, {id_double, 0.0}};
        QVERIFY(session.apply_values(file).isEmpty());
        QCOMPARE(session.pending_ids(), (QVector<uint32_t>{id_check, id_spin, id_double}));
        QCOMPARE(f.check->checkState(), Qt::Unchecked);
        QCOMPARE(f.spin->text(), QStringLiteral("0"));
        QCOMPARE(f.dspin->text(), QStringLiteral("0.00"));
        QCOMPARE(session.shown_values(), file);
        QCOMPARE(session.pending_changes(),
                 (QVector<QPair<uint32_t, QVariant>>{{id_check, false}, {id_spin, 0}, {id_double, 0.0}}));
    }

    void values_from_the_device_fill_the_form_without_changes()
    {
        QCOMPARE(_f->spin->value(), 12);
        QCOMPARE(_f->line->text(), QStringLiteral("pump"));
        QCOMPARE(_f->combo->currentText(), QStringLiteral("one"));
        QCOMPARE(_f->label->text(), QStringLiteral("v1"));
        QVERIFY(pending().isEmpty());
        QVERIFY(!_form->has_changed_parameters());
        QCOMPARE(_session->device_values(), _device);
        QCOMPARE(_session->field_value(id_double), QVariant(4.5));
        QCOMPARE(_session->field_value(id_label), QVariant());
        QCOMPARE(_session->field_value(0x99), QVariant());
    }

    void a_read_replaces_only_what_it_read()
    {
        QSignalSpy kept(_session.get(), &form_session::on_pending_kept);
        retype(_f->spin, QStringLiteral("20"));
        retype(_f->line, QStringLiteral("tank"));
        QCOMPARE(pending(), (QVector<uint32_t>{id_spin, id_line}));
        QVERIFY(_session->is_pending(id_spin));
        QVERIFY(underlined(id_spin));

        // The device's value replaces the edit of what was read; the other edit stays.
        _session->show_device_value(id_spin, 15);
        QCOMPARE(_f->spin->value(), 15);
        QCOMPARE(pending(), QVector<uint32_t>{id_line});
        QVERIFY(!underlined(id_spin));
        QCOMPARE(_f->line->text(), QStringLiteral("tank"));
        QVERIFY(underlined(id_line));
        QCOMPARE(_session->device_values().value(id_spin), QVariant(15));
        QCOMPARE(kept.size(), 0);
    }

    void an_edit_stays_where_the_field_cannot_show_the_devices_value()
    {
        QSignalSpy kept(_session.get(), &form_session::on_pending_kept);
        retype(_f->spin, QStringLiteral("20"));
        _session->show_device_value(id_spin, 150); // beyond the spin box's range
        QCOMPARE(_f->spin->value(), 20);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        QVERIFY(underlined(id_spin));
        QCOMPARE(kept.size(), 1);
        QCOMPARE(kept[0], (QVariantList{uint(id_spin), 20, 150}));
    }

    void while_polling_reads_leave_pending_fields_alone()
    {
        QSignalSpy kept(_session.get(), &form_session::on_pending_kept);
        QVERIFY(!_session->is_polling());
        _session->set_polling(true);
        QVERIFY(_session->is_polling());
        retype(_f->spin, QStringLiteral("20"));
        retype(_f->line, QStringLiteral("tank"));
        // The same value as before: nothing to say.
        _session->show_device_value(id_spin, 12);
        QCOMPARE(_f->spin->value(), 20);
        QCOMPARE(pending(), (QVector<uint32_t>{id_spin, id_line}));
        QVERIFY(underlined(id_spin));
        QCOMPARE(kept.size(), 0);
        // A new one is noted and said once.
        _session->show_device_value(id_spin, 15);
        _session->show_device_value(id_spin, 15);
        QCOMPARE(_f->spin->value(), 20);
        QCOMPARE(_session->device_values().value(id_spin), QVariant(15));
        QCOMPARE(kept.size(), 1);
        QCOMPARE(kept[0], (QVariantList{uint(id_spin), 20, 15}));
        // A value that keeps changing (a counter) is not said at every sweep: once for the edit.
        for (int count = 16; count < 19; ++count)
            _session->show_device_value(id_spin, count);
        QCOMPARE(kept.size(), 1);
        QCOMPARE(_session->device_values().value(id_spin), QVariant(18));
        // A new edit is worth saying again.
        retype(_f->spin, QStringLiteral("21"));
        _session->show_device_value(id_spin, 19);
        QCOMPARE(kept.size(), 2);
        QCOMPARE(kept[1], (QVariantList{uint(id_spin), 21, 19}));
        retype(_f->spin, QStringLiteral("20"));
        // The device comes to hold what the field shows: no change any more.
        _session->show_device_value(id_spin, 20);
        QCOMPARE(pending(), QVector<uint32_t>{id_line});
        QVERIFY(!underlined(id_spin));
        // A field without an edit shows what the device holds, as ever.
        _session->show_device_value(id_spin, 30);
        QCOMPARE(_f->spin->value(), 30);
        // Discard still gives the device's value back.
        _session->show_device_value(id_line, QStringLiteral("well"));
        QCOMPARE(_f->line->text(), QStringLiteral("tank"));
        _session->discard_changes();
        QCOMPARE(_f->line->text(), QStringLiteral("well"));
        QVERIFY(pending().isEmpty());
        // Off again: a read replaces an edit.
        _session->set_polling(false);
        retype(_f->spin, QStringLiteral("40"));
        _session->show_device_value(id_spin, 30);
        QCOMPARE(_f->spin->value(), 30);
        QVERIFY(pending().isEmpty());
    }

    void a_write_confirms_only_what_it_wrote()
    {
        retype(_f->spin, QStringLiteral("20"));
        QCOMPARE(_session->pending_changes(), (QVector<QPair<uint32_t, QVariant>>{{id_spin, 20}}));
        // Edited again while the first value travels.
        retype(_f->spin, QStringLiteral("25"));
        _session->confirm_written(id_spin, 20);
        QCOMPARE(_f->spin->value(), 25);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        QVERIFY(underlined(id_spin));
        QCOMPARE(_session->device_values().value(id_spin), QVariant(20));

        _session->confirm_written(id_spin, 25);
        QCOMPARE(_f->spin->value(), 25);
        QVERIFY(pending().isEmpty());
        QVERIFY(!underlined(id_spin));
    }

    void a_write_of_a_discarded_change_shows_what_the_device_holds()
    {
        retype(_f->line, QStringLiteral("tank"));
        retype(_f->spin, QStringLiteral("20"));
        _session->discard_changes();
        QCOMPARE(_f->spin->value(), 12);
        QCOMPARE(_f->line->text(), QStringLiteral("pump"));
        QVERIFY(pending().isEmpty());
        QVERIFY(!underlined(id_spin));
        // The write was on its way when the user discarded: the device holds it now.
        _session->confirm_written(id_spin, 20);
        QCOMPARE(_f->spin->value(), 20);
        QVERIFY(pending().isEmpty());
    }

    void failures_keep_edits_and_their_hints_last_one_operation()
    {
        retype(_f->spin, QStringLiteral("20"));
        _session->mark_failed(id_spin, QStringLiteral("no answer"));
        QVERIFY(marked_failed(id_spin));
        QCOMPARE(_f->spin->value(), 20);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        _session->begin_operation();
        QVERIFY(!marked_failed(id_spin));
        QCOMPARE(_f->spin->value(), 20);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        QVERIFY(underlined(id_spin));
    }

    void a_value_the_field_cannot_show_is_never_shown_as_the_devices()
    {
        QSignalSpy kept(_session.get(), &form_session::on_pending_kept);
        QSignalSpy not_shown(_session.get(), &form_session::on_value_not_shown);
        // Out of the spin box's range: it shows the nearest value, a change the device lacks.
        _session->show_device_value(id_spin, 150);
        QCOMPARE(_f->spin->value(), 100);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        QCOMPARE(kept.size(), 1);
        QCOMPARE(kept[0], (QVariantList{uint(id_spin), 100, 150}));
        QCOMPARE(not_shown.size(), 0);

        // Once the device holds 100, a later 150 leaves the field as it is, which no edit marks:
        // it is pending all the same, and said so.
        _session->confirm_written(id_spin, 100);
        QVERIFY(pending().isEmpty());
        _session->set_value_formatter(
            [](uint32_t, const QVariant& v) { return QStringLiteral("<%1>").arg(v.toInt()); });
        _session->show_device_value(id_spin, 150);
        QCOMPARE(_f->spin->value(), 100);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        QVERIFY(underlined(id_spin));
        QVERIFY(!marked_failed(id_spin));
        QCOMPARE(_session->pending_changes(), (QVector<QPair<uint32_t, QVariant>>{{id_spin, 100}}));
        QCOMPARE(not_shown.size(), 1);
        QCOMPARE(
            not_shown[0],
            (QVariantList{uint(id_spin), 150,
                          QStringLiteral("the device holds <150>, which the active profile cannot show")}));
        // The next operation's beginning leaves the pending change; a value it can show settles it.
        _session->begin_operation();
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        _session->show_device_value(id_spin, 7);
        QCOMPARE(_f->spin->value(), 7);
        QVERIFY(pending().isEmpty());
        QVERIFY(!underlined(id_spin));
    }

    void a_read_only_field_shows_the_devices_value_and_is_never_pending()
    {
        // A float32 temperature without hints, a bounded level, a state by its choices, and a
        // setpoint the user may change.
        auto level = described(2, QMetaType::Int, true);
        level.maximum = 60;
        auto state = described(3, QMetaType::UInt, true);
        state.choices = {{0u, QStringLiteral("Off")}, {1u, QStringLiteral("On")}};
        built_form b(
            {described(1, QMetaType::Double, true), level, state, described(4, QMetaType::Int, false)});
        QSignalSpy not_shown(b.session.get(), &form_session::on_value_not_shown);
        auto* temperature = b.field<QDoubleSpinBox>(1);
        for (const double value : {24.25, 24.1, 300.125, 710.75}) {
            b.session->show_device_value(1, value);
            QCOMPARE(temperature->text(), QString::number(value));
            QCOMPARE(temperature->value(), value);
            QVERIFY(b.session->pending_ids().isEmpty());
        }
        // Beyond the bounds it was built with, the device's value all the same.
        b.session->show_device_value(2, 150);
        QCOMPARE(b.field<QSpinBox>(2)->value(), 150);
        b.session->set_polling(true);
        b.session->show_device_value(2, -3);
        QCOMPARE(b.field<QSpinBox>(2)->value(), -3);
        QVERIFY(b.session->pending_ids().isEmpty());
        QCOMPARE(not_shown.size(), 0);
        // An item its combo box lacks: said once, not at every read, and still not pending.
        b.session->show_device_value(3, 7u);
        b.session->show_device_value(3, 7u);
        QCOMPARE(not_shown.size(), 1);
        QCOMPARE(not_shown[0].at(2).toString(),
                 QStringLiteral("the device holds 7, which the field cannot show"));
        QVERIFY(b.session->pending_ids().isEmpty());
        b.session->show_device_value(3, 1u);
        QCOMPARE(b.field<QComboBox>(3)->currentText(), QStringLiteral("On"));

        // A loaded file, a write confirmed, a change of range: none makes one pending.
        b.session->show_device_value(4, 5);
        QCOMPARE(b.session->apply_values({{1, 710.8}, {2, 9}, {4, 6}}), QVector<uint32_t>());
        QCOMPARE(b.session->pending_ids(), QVector<uint32_t>{4});
        QCOMPARE(temperature->value(), 710.75);
        QCOMPARE(b.session->pending_changes(), (QVector<QPair<uint32_t, QVariant>>{{4, 6}}));
        b.session->confirm_written(1, 20.5);
        QCOMPARE(temperature->value(), 20.5);
        b.session->reconfigure([&] { temperature->setRange(0, 10); });
        QCOMPARE(temperature->value(), 20.5);
        QCOMPARE(b.session->pending_ids(), QVector<uint32_t>{4});
        QVERIFY(b.session->is_read_only(1) && b.session->is_read_only(3) && !b.session->is_read_only(4));
    }

    void an_entry_beyond_the_range_is_refused_and_said()
    {
        auto gain = described(1, QMetaType::Int, false);
        gain.minimum = 0;
        gain.maximum = 5000;
        gain.unit = QStringLiteral("dB");
        built_form b({gain, described(2, QMetaType::Int, false)});
        QVERIFY(QTest::qWaitForWindowActive(b.window.get()));
        b.session->show_device_value(1, 1200);
        QSignalSpy refused(b.session.get(), &form_session::on_entry_refused);
        auto* box = b.field<QSpinBox>(1);
        enter(box, QStringLiteral("6000"));
        QCOMPARE(box->value(), 1200);
        QVERIFY(b.session->pending_ids().isEmpty());
        QCOMPARE(refused.size(), 1);
        const QString text =
            QStringLiteral("6000 dB is beyond the range 0 to 5000 dB; the field keeps 1200 dB");
        QCOMPARE(refused[0], (QVariantList{1u, QStringLiteral("6000 dB"), text}));
        QVERIFY(b.bound.hints.value(1)->styleSheet().contains(QLatin1String("red")));
        // Left by a click elsewhere: the same.
        retype(box, QStringLiteral("-1"));
        b.field<QSpinBox>(2)->setFocus();
        QCOMPARE(refused.size(), 2);
        QCOMPARE(box->value(), 1200);
        // A value within the range is an edit as any other.
        enter(box, QStringLiteral("4000"));
        QCOMPARE(refused.size(), 2);
        QCOMPARE(b.session->pending_changes(), (QVector<QPair<uint32_t, QVariant>>{{1, 4000}}));
    }

    void reconfiguring_makes_pending_only_what_it_changed_away_from_the_device()
    {
        const bool loading_before = _form->get_loading_data();
        // A combo box refilled with its item kept is no change.
        _session->reconfigure([this] {
            _f->combo->clear();
            _f->combo->addItem(QStringLiteral("zero"), 0u);
            _f->combo->addItem(QStringLiteral("one"), 1u);
            _f->combo->setCurrentIndex(1);
        });
        QVERIFY(pending().isEmpty());
        QVERIFY(!underlined(id_combo));
        // A narrower range clamps the field: a pending change the next write sends.
        _session->reconfigure([this] { _f->spin->setMaximum(10); });
        QCOMPARE(_f->spin->value(), 10);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
        QVERIFY(underlined(id_spin));
        QCOMPARE(_form->get_loading_data(), loading_before);

        // Discard cannot bring back what the field cannot show; other fields get theirs back.
        retype(_f->line, QStringLiteral("tank"));
        _session->discard_changes();
        QCOMPARE(_f->line->text(), QStringLiteral("pump"));
        QCOMPARE(_f->spin->value(), 10);
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});
    }

    void loaded_values_become_changes_unless_the_device_holds_them()
    {
        retype(_f->spin, QStringLiteral("20"));
        const QVector<uint32_t> unbound = _session->apply_values(
            {{id_spin, 12}, {id_line, QStringLiteral("tank")}, {id_combo, 2u}, {0x99, 1}});
        QCOMPARE(unbound, QVector<uint32_t>{0x99});
        QCOMPARE(_f->spin->value(), 12);
        QVERIFY(!_session->is_pending(id_spin));
        QVERIFY(!underlined(id_spin));
        QCOMPARE(pending(), (QVector<uint32_t>{id_line, id_combo}));
        QCOMPARE(_f->combo->currentText(), QStringLiteral("two"));
    }

    void a_worker_in_its_own_thread_keeps_the_form_in_step()
    {
        threaded_device device(*_session);
        test_worker& worker = device.worker;
        qz::sim::simulated_module& module = device.module;

        _session->mark_failed(id_line, QStringLiteral("earlier failure"));
        retype(_f->spin, QStringLiteral("20"));
        emit worker.get_params({id_line});
        QTRY_COMPARE_WITH_TIMEOUT(_f->line->text(), QStringLiteral("from device"), 30000);
        QVERIFY(!marked_failed(id_line)); // the read began a new operation
        QCOMPARE(_f->spin->value(), 20);  // not read: the edit stays
        QCOMPARE(pending(), QVector<uint32_t>{id_spin});

        emit worker.set_params(_session->pending_changes());
        QTRY_VERIFY_WITH_TIMEOUT(pending().isEmpty(), 30000);
        QCOMPARE(module.stored(id_spin), QVariant(20));
        QCOMPARE(_session->device_values().value(id_spin), QVariant(20));
        QVERIFY(!underlined(id_spin));
    }

    void the_same_failure_again_leaves_its_hint_as_it_is()
    {
        // Counts the style changes of a hint: each marking or clearing is one.
        struct style_changes : QObject {
            int count = 0;
            bool eventFilter(QObject*, QEvent* event) override
            {
                count += event->type() == QEvent::StyleChange ? 1 : 0;
                return false;
            }
        } changes;
        _f->hint(id_spin)->installEventFilter(&changes);
        _session->mark_failed(id_spin, QStringLiteral("no answer"));
        QVERIFY(marked_failed(id_spin));
        const int marked = changes.count;
        QVERIFY(marked > 0);
        _session->mark_failed(id_spin, QStringLiteral("no answer"));
        QCOMPARE(changes.count, marked);
        // Another failure is shown; after an operation began, the same one is shown again.
        _session->mark_failed(id_spin, QStringLiteral("checksum"));
        QVERIFY(changes.count > marked);
        _session->begin_operation();
        QVERIFY(!marked_failed(id_spin));
        _session->mark_failed(id_spin, QStringLiteral("checksum"));
        QVERIFY(marked_failed(id_spin));
    }

    void while_polling_an_error_hint_lasts_until_its_fields_value_comes()
    {
        threaded_device device(*_session);
        test_worker& worker = device.worker;

        // The operation's end arrives here after its beginning, queued, as the session sees both.
        int ended = 0;
        connect(&worker, &sat_worker::on_operation_control, this,
                [&ended](sat_worker::operation_type_e, sat_worker::operation_status_e status) {
                    ended += status == sat_worker::status_end ? 1 : 0;
                });
        _session->set_polling(true);
        _session->mark_failed(id_line, QStringLiteral("read failed"));
        _session->mark_failed(id_spin, QStringLiteral("write failed"));
        // A sweep of the line edit begins and reads it: only its own hint goes.
        emit worker.get_params({id_line});
        QTRY_COMPARE_WITH_TIMEOUT(_f->line->text(), QStringLiteral("from device"), 30000);
        QVERIFY(!marked_failed(id_line));
        QVERIFY(marked_failed(id_spin));
        QTRY_COMPARE_WITH_TIMEOUT(ended, 1, 30000);
        QVERIFY(marked_failed(id_spin));
        // The application's own request ends them all.
        _session->begin_operation();
        QVERIFY(!marked_failed(id_spin));

        // No longer polling: an operation's beginning ends every hint again.
        _session->set_polling(false);
        _session->mark_failed(id_spin, QStringLiteral("write failed"));
        emit worker.get_params({id_line});
        QTRY_VERIFY_WITH_TIMEOUT(!marked_failed(id_spin), 30000);
    }
};

QTEST_MAIN(tst_form_session)
#include "tst_form_session.moc"
