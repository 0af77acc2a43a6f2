// SPDX-License-Identifier: BSD-3-Clause
// The changed list, collecting changed values for a write, discarding changes, and the hints.
#include "form_fixture.h"

#include <QSignalSpy>
#include <QToolTip>

#include <stdexcept>

using namespace qz::test;
using qz::gui::ui_controller;
using pairs_t = QVector<QPair<uint32_t, QVariant>>;

namespace {

pairs_t collected(ui_controller& controller)
{
    pairs_t pairs;
    controller.collect_changed_params(pairs);
    return pairs;
}

} // namespace

class tst_ui_controller_changes : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<uint32_t>("uint32_t"); }

    void nothing_changed()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QVERIFY(!controller.has_changed_parameters());
        pairs_t out{{99, QStringLiteral("kept")}};
        controller.collect_changed_params(out);
        QCOMPARE(out, pairs_t({{99, QStringLiteral("kept")}}));
    }

    void order_of_first_change()
    {
        form f;
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        f.spin->setFocus();
        QTest::keyClick(f.spin, Qt::Key_Up);
        f.line->setFocus();
        QTest::keyClicks(f.line, QStringLiteral("x"));
        f.spin->setFocus();
        QTest::keyClick(f.spin, Qt::Key_Up);
        const pairs_t pairs = collected(controller);
        QCOMPARE(pairs, pairs_t({{id_spin, 2}, {id_line, QStringLiteral("x")}}));
        // Collecting leaves the list as it was, and out is appended to.
        pairs_t again{{1, 1}};
        controller.collect_changed_params(again);
        QCOMPARE(again.size(), 3);
        // The list itself, without collecting values.
        QCOMPARE(controller.changed_parameters(), QVector<uint32_t>({id_spin, id_line}));
        QVERIFY(controller.is_changed_parameter(id_line));
        QVERIFY(!controller.is_changed_parameter(id_double));
        QVERIFY(!controller.is_changed_parameter(4711));
        controller.remove_changed_parameter(id_spin);
        QCOMPARE(controller.changed_parameters(), QVector<uint32_t>({id_line}));
        QVERIFY(!controller.is_changed_parameter(id_spin));
    }

    void every_kind_collects_its_value_type()
    {
        form f;
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        f.edit_each_watched_widget(QStringLiteral("typed"));

        const pairs_t pairs = collected(controller);
        QCOMPARE(changed_ids(controller),
                 QVector<uint32_t>({id_check, id_line, id_spin, id_double, id_combo, id_datetime}));
        QCOMPARE(pairs[0].second, QVariant(true));
        QCOMPARE(pairs[0].second.userType(), int(QMetaType::Bool));
        QCOMPARE(pairs[1].second, QVariant(QStringLiteral("typed")));
        QCOMPARE(pairs[2].second.userType(), int(QMetaType::Int));
        QCOMPARE(pairs[2].second, QVariant(f.spin->value()));
        QCOMPARE(pairs[3].second.userType(), int(QMetaType::Double));
        QCOMPARE(pairs[3].second, QVariant(1.0));
        QCOMPARE(pairs[4].second, QVariant(1u));
        QCOMPARE(pairs[4].second.userType(), int(QMetaType::UInt));
        QCOMPARE(pairs[5].second.userType(), int(QMetaType::QDateTime));
        QCOMPARE(pairs[5].second.toDateTime(), f.datetime->dateTime());
    }

    void tristate_partially_checked_collects_false()
    {
        form f;
        f.check->setTristate(true);
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        f.click_check();
        QCOMPARE(f.check->checkState(), Qt::PartiallyChecked);
        QCOMPARE(collected(controller), pairs_t({{id_check, false}}));
        f.click_check();
        QCOMPARE(f.check->checkState(), Qt::Checked);
        QCOMPARE(collected(controller), pairs_t({{id_check, true}}));
    }

    void combo_box_without_selection_collects_invalid()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        f.combo->setCurrentIndex(-1);
        const pairs_t pairs = collected(controller);
        QCOMPARE(changed_ids(controller), QVector<uint32_t>({id_combo}));
        QVERIFY(!pairs[0].second.isValid());
    }

    void kinds_without_a_value_collect_nothing()
    {
        // A label or progress bar id reaches the list only through a widget it shares with a
        // watched higher id; even then there is nothing to write for it.
        form f;
        f.widgets.insert(100, {qz::gui::label, f.spin});
        f.widgets.insert(101, {qz::gui::progressbar, f.line});
        ui_controller controller(&f.widgets, &f.hints);
        f.spin->setValue(3);
        f.line->setText(QStringLiteral("x"));
        QVERIFY(controller.has_changed_parameters());
        QVERIFY(collected(controller).isEmpty());
    }

    void remove_and_clear_keep_the_hints()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        f.spin->setValue(1);
        f.line->setText(QStringLiteral("a"));
        f.dspin->setValue(2);
        controller.remove_changed_parameter(id_line);
        controller.remove_changed_parameter(4711);
        QCOMPARE(changed_ids(controller), QVector<uint32_t>({id_spin, id_double}));
        QVERIFY(f.hint(id_line)->font().underline());
        controller.clear_changed_parameters();
        QVERIFY(!controller.has_changed_parameters());
        QVERIFY(f.hint(id_spin)->font().underline());
        f.line->setText(QStringLiteral("b"));
        QCOMPARE(changed_ids(controller), QVector<uint32_t>({id_line}));
    }

    void a_change_without_an_edit_enters_the_list_as_an_edit_does()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QSignalSpy edits(&controller, &ui_controller::on_data_changed);
        f.line->setText(QStringLiteral("a"));
        controller.add_changed_parameter(id_spin);
        controller.add_changed_parameter(id_line); // already there: stays where it is
        controller.add_changed_parameter(4711);    // no widget: ignored
        QCOMPARE(changed_ids(controller), QVector<uint32_t>({id_line, id_spin}));
        QVERIFY(f.hint(id_spin)->font().underline());
        QCOMPARE(edits.size(), 3);
        QCOMPARE(edits[1][0].value<uint32_t>(), uint32_t(id_spin));
        QCOMPARE(collected(controller), pairs_t({{id_line, QStringLiteral("a")}, {id_spin, 0}}));
        // Even while values are being loaded: the caller asks for it outright.
        controller.set_loading_data(true);
        controller.add_changed_parameter(id_double);
        QVERIFY(controller.is_changed_parameter(id_double));
    }

    void discard_puts_values_back()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        f.spin->setValue(50);
        f.line->setText(QStringLiteral("edited"));
        f.combo->setCurrentIndex(2);
        QSignalSpy spy(&controller, &ui_controller::on_data_changed);
        controller.set_loading_data(true);
        controller.discard_changes({{id_spin, 5}, {id_combo, 1}, {id_double, 9.0}});
        QCOMPARE(f.spin->value(), 5);
        QCOMPARE(f.combo->currentIndex(), 1);
        QCOMPARE(f.line->text(), QStringLiteral("edited")); // not in the map: kept
        QCOMPARE(f.dspin->value(), 0.0);                    // not changed: untouched
        QCOMPARE(spy.count(), 0);
        QVERIFY(!controller.has_changed_parameters());
        QVERIFY(!f.hint(id_spin)->font().underline());
        QVERIFY(!f.hint(id_line)->font().underline());
        QVERIFY(!controller.get_loading_data()); // false afterwards, though it was true before
    }

    void discard_with_an_empty_map()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        f.spin->setValue(50);
        controller.set_hint_for_error(id_spin, true, QString());
        controller.discard_changes({});
        QCOMPARE(f.spin->value(), 50);
        QVERIFY(!controller.has_changed_parameters());
        QVERIFY(!f.hint(id_spin)->font().underline());
        // Error hints are not the discard's business.
        QCOMPARE(f.hint(id_spin)->styleSheet(), QStringLiteral("background-color: red"));
    }

    void discard_that_fails_leaves_loading_set()
    {
        form f;
        f.widgets.insert(110, {qz::gui::inert, f.spin});
        ui_controller controller(&f.widgets, &f.hints);
        f.spin->setValue(3);
        QVERIFY_EXCEPTION_THROWN(controller.discard_changes({{110, 1}}), std::runtime_error);
        QVERIFY(controller.get_loading_data());
        QVERIFY(controller.has_changed_parameters());
    }

    void error_hint_with_tool_tip()
    {
        form f;
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        controller.set_hint_for_error(id_spin, true, QStringLiteral("CRC error"));
        QCOMPARE(f.hint(id_spin)->styleSheet(), QStringLiteral("background-color: red"));
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), QStringLiteral("CRC error"));
        QToolTip::hideText();
        QTRY_VERIFY(!QToolTip::isVisible());

        controller.set_hint_for_error(id_spin, false, QStringLiteral("ignored"));
        QVERIFY(f.hint(id_spin)->styleSheet().isEmpty());
        QTest::qWait(50);
        QVERIFY(!QToolTip::isVisible());
    }

    void error_hint_without_text_shows_no_tool_tip()
    {
        form f;
        f.show();
        ui_controller controller(&f.widgets, &f.hints);
        QToolTip::hideText();
        f.hint(id_line)->setStyleSheet(QStringLiteral("color: blue"));
        controller.set_hint_for_error(id_line, true, QString());
        QCOMPARE(f.hint(id_line)->styleSheet(), QStringLiteral("background-color: red"));
        QTest::qWait(50);
        QVERIFY(!QToolTip::isVisible());
        controller.set_hint_for_error(4711, true, QStringLiteral("unknown id"));
        QTest::qWait(50);
        QVERIFY(!QToolTip::isVisible());
    }

    void changed_hint_keeps_other_font_properties()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        QFont bold = f.hint(id_spin)->font();
        bold.setBold(true);
        bold.setPointSize(17);
        f.hint(id_spin)->setFont(bold);
        controller.set_hint_for_changed_value(id_spin, true, QStringLiteral("not used"));
        QVERIFY(f.hint(id_spin)->font().underline());
        QVERIFY(f.hint(id_spin)->font().bold());
        QCOMPARE(f.hint(id_spin)->font().pointSize(), 17);
        controller.set_hint_for_changed_value(id_spin, false, QString());
        QVERIFY(!f.hint(id_spin)->font().underline());
        QVERIFY(f.hint(id_spin)->font().bold());
    }

    void hint_widget_may_be_the_input_itself()
    {
        form f;
        f.hints[id_line] = f.line;
        ui_controller controller(&f.widgets, &f.hints);
        f.line->setText(QStringLiteral("x"));
        QVERIFY(f.line->font().underline());
    }

    void clear_hints_resets_every_hint_widget()
    {
        form f;
        ui_controller controller(&f.widgets, &f.hints);
        f.spin->setValue(4);
        controller.set_hint_for_error(id_line, true, QString());
        f.hint(id_combo)->setStyleSheet(QStringLiteral("color: green"));
        controller.clear_hints();
        for (const uint32_t id : f.hints.keys()) {
            QVERIFY(!f.hint(id)->font().underline());
            QVERIFY(f.hint(id)->styleSheet().isEmpty());
        }
        QVERIFY(controller.has_changed_parameters());
    }
};

QTEST_MAIN(tst_ui_controller_changes)
#include "tst_ui_controller_changes.moc"
