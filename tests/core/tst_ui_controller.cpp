// SPDX-License-Identifier: BSD-3-Clause
// Binding ids to form widgets: writing values, noticing user edits, and the meta-object.
#include "form_fixture.h"

#include <QMetaMethod>
#include <QSignalSpy>

#include <stdexcept>

using namespace qz::test;
using qz::gui::ui_controller;

Q_DECLARE_METATYPE(qz::gui::widget_type_e)

namespace {

// The ids reported by on_data_changed so far.
QList<uint32_t> reported(const QSignalSpy& spy)
{
    QList<uint32_t> ids;
    for (const auto& arguments : spy)
        ids << arguments.at(0).value<uint32_t>();
    return ids;
}

} // namespace

class tst_ui_controller : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<uint32_t>("uint32_t"); }

    void widget_kinds_have_fixed_numbers()
    {
        QCOMPARE(int(qz::gui::checkbox), 0);
        QCOMPARE(int(qz::gui::lineedit), 1);
        QCOMPARE(int(qz::gui::spinbox), 2);
        QCOMPARE(int(qz::gui::doublespinbox), 3);
        QCOMPARE(int(qz::gui::combobox), 4);
        QCOMPARE(int(qz::gui::label), 5);
        QCOMPARE(int(qz::gui::progressbar), 6);
        QCOMPARE(int(qz::gui::datetimeedit), 7);
        QCOMPARE(int(qz::gui::inert), 8);
    }

    void meta_object()
    {
        const QMetaObject& mo = ui_controller::staticMetaObject;
        QCOMPARE(QByteArray(mo.className()), QByteArray("qz::gui::ui_controller"));
        QCOMPARE(mo.methodCount() - mo.methodOffset(), 2);
        const QMetaMethod signal = mo.method(mo.methodOffset());
        QCOMPARE(signal.methodSignature(), QByteArray("on_data_changed(uint32_t)"));
        QCOMPARE(signal.parameterNames(), QList<QByteArray>({"param"}));
        QCOMPARE(signal.methodType(), QMetaMethod::Signal);
        const QMetaMethod slot = mo.method(mo.methodOffset() + 1);
        QCOMPARE(slot.methodSignature(), QByteArray("_on_data_changed()"));
        QCOMPARE(slot.methodType(), QMetaMethod::Slot);
        QCOMPARE(slot.access(), QMetaMethod::Private);
        QCOMPARE(QMetaMethod::fromSignal(&ui_controller::on_data_changed).methodIndex(), mo.methodOffset());
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QCOMPARE(controller.qt_metacast("qz::gui::ui_controller"), static_cast<void*>(&controller));
        QCOMPARE(controller.parent(), nullptr);
    }

    void set_data_writes_every_kind()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        const QDateTime when(QDate(2025, 1, 2), QTime(3, 4, 5));
        controller.set_data(id_check, true);
        controller.set_data(id_line, QStringLiteral("text"));
        controller.set_data(id_spin, QStringLiteral("42"));
        controller.set_data(id_double, 2.5);
        controller.set_data(id_combo, QStringLiteral("2"));
        controller.set_data(id_label, 17);
        controller.set_data(id_progress, 66);
        controller.set_data(id_datetime, when);
        QVERIFY(f.check->isChecked());
        QCOMPARE(f.line->text(), QStringLiteral("text"));
        QCOMPARE(f.spin->value(), 42);
        QCOMPARE(f.dspin->value(), 2.5);
        QCOMPARE(f.combo->currentIndex(), 2);
        QCOMPARE(f.label->text(), QStringLiteral("17"));
        QCOMPARE(f.progress->value(), 66);
        QCOMPARE(f.datetime->dateTime(), when);
        controller.set_data(id_check, false);
        QVERIFY(!f.check->isChecked());
    }

    void combo_box_without_the_value_selects_nothing()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        controller.set_data(id_combo, 1);
        QCOMPARE(f.combo->currentIndex(), 1);
        controller.set_data(id_combo, 7);
        QCOMPARE(f.combo->currentIndex(), -1);
        QCOMPARE(f.combo->currentText(), QString());
    }

    void unknown_id_is_ignored_and_inert_is_refused()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        controller.set_data(4711, 1);
        try {
            controller.set_data(id_inert, 1);
            QFAIL("no exception");
        } catch (const std::runtime_error& e) {
            QCOMPARE(QByteArray(e.what()), QByteArray("invalid parameter"));
        }
    }

    void unknown_kind_is_refused_at_construction()
    {
        form f;
        f.widgets.insert(50, {qz::gui::widget_type_e(9), f.spin});
        try {
            ui_controller controller(&f.widgets, &f.hints);
            QFAIL("no exception");
        } catch (const std::runtime_error& e) {
            QCOMPARE(QByteArray(e.what()), QByteArray("invalid parameter"));
        }
    }

    void user_edits_of_every_watched_kind()
    {
        form f;
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);

        f.edit_each_watched_widget(QStringLiteral("ab"));

        QCOMPARE(reported(spy),
                 QList<uint32_t>({id_check, id_line, id_line, id_spin, id_double, id_combo, id_datetime}));
        QVERIFY(controller.has_changed_parameters());
        QCOMPARE(changed_ids(controller),
                 QVector<uint32_t>({id_check, id_line, id_spin, id_double, id_combo, id_datetime}));
        for (const uint32_t id : {id_check, id_line, id_spin, id_double, id_combo, id_datetime})
            QVERIFY2(f.hint(id)->font().underline(), qPrintable(QString::number(id)));
        QVERIFY(!f.hint(id_label)->font().underline());
    }

    void setters_count_as_edits_except_a_check_box()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        f.check->setChecked(true); // clicked() is for user clicks only
        f.label->setText(QStringLiteral("never watched"));
        f.progress->setValue(50);
        QCOMPARE(spy.count(), 0);
        f.line->setText(QStringLiteral("from code"));
        f.spin->setValue(9);
        QCOMPARE(reported(spy), QList<uint32_t>({id_line, id_spin}));
    }

    void set_data_without_loading_flag_counts_as_an_edit()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        controller.set_data(id_spin, 12);
        QCOMPARE(reported(spy), QList<uint32_t>({id_spin}));
        controller.set_loading_data(true);
        controller.set_data(id_line, QStringLiteral("loaded"));
        QCOMPARE(spy.count(), 1);
    }

    void loading_flag_hides_edits()
    {
        form f;
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        QVERIFY(!controller.get_loading_data());
        controller.set_loading_data(true);
        QVERIFY(controller.get_loading_data());
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        f.spin->setFocus();
        QTest::keyClick(f.spin, Qt::Key_Up);
        f.click_check();
        QCOMPARE(f.spin->value(), 1);
        QCOMPARE(spy.count(), 0);
        QVERIFY(!controller.has_changed_parameters());
        QVERIFY(!f.hint(id_spin)->font().underline());
        controller.set_loading_data(false);
        QTest::keyClick(f.spin, Qt::Key_Up);
        QCOMPARE(reported(spy), QList<uint32_t>({id_spin}));
    }

    void same_widget_twice_is_listed_once()
    {
        form f;
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        f.spin->setFocus();
        QTest::keyClick(f.spin, Qt::Key_Up);
        QTest::keyClick(f.spin, Qt::Key_Up);
        QCOMPARE(reported(spy), QList<uint32_t>({id_spin, id_spin}));
        QCOMPARE(changed_ids(controller), QVector<uint32_t>({id_spin}));
    }

    void two_ids_on_one_widget_report_the_higher()
    {
        form f;
        f.widgets.insert(40, {qz::gui::spinbox, f.spin});
        ui_controller controller(&f.widgets, &f.hints);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        f.spin->setValue(5);
        // Each binding has its own connection; both report the higher id.
        QCOMPARE(reported(spy), QList<uint32_t>({40u, 40u}));
        QCOMPARE(changed_ids(controller), QVector<uint32_t>({40u}));
        // Writing works under either id.
        controller.set_data(id_spin, 7);
        QCOMPARE(f.spin->value(), 7);
        controller.set_data(40, 9);
        QCOMPARE(f.spin->value(), 9);
    }

    void no_hint_map_still_records_edits()
    {
        form f;
        ui_controller controller(&f.widgets, nullptr);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        f.line->setText(QStringLiteral("x"));
        QCOMPARE(reported(spy), QList<uint32_t>({id_line}));
        QVERIFY(controller.has_changed_parameters());
        controller.set_hint_for_error(id_line, true, QStringLiteral("e"));
        controller.set_hint_for_changed_value(id_line, true, QString());
        controller.clear_hints();
        QVERIFY(f.hint(id_line)->styleSheet().isEmpty());
        QVERIFY(!f.hint(id_line)->font().underline());
    }

    void foreign_sender_is_recorded_as_zero_without_harm()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QSpinBox foreign;
        QVERIFY(QObject::connect(&foreign, SIGNAL(valueChanged(int)), &controller, SLOT(_on_data_changed())));
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        foreign.setValue(3);
        QCOMPARE(reported(spy), QList<uint32_t>({0u}));
        QVERIFY(controller.has_changed_parameters());
        QVector<QPair<uint32_t, QVariant>> pairs;
        controller.collect_changed_params(pairs);
        QVERIFY(pairs.isEmpty());
    }

    void wrong_widget_class_fails_only_its_connection()
    {
        form f;
        QLabel not_a_spin_box;
        f.widgets.insert(60, {qz::gui::spinbox, &not_a_spin_box});
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QObject::connect.*"));
        ui_controller controller(&f.widgets, &f.hints);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        f.spin->setValue(4);
        QCOMPARE(reported(spy), QList<uint32_t>({id_spin}));
    }

    void bindings_are_fixed_at_construction()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QSpinBox later;
        f.widgets.insert(70, {qz::gui::spinbox, &later});
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        later.setValue(8);
        QCOMPARE(spy.count(), 0);
    }
};

QTEST_MAIN(tst_ui_controller)
#include "tst_ui_controller.moc"
