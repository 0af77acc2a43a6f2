// SPDX-License-Identifier: BSD-3-Clause
// A caller may hand any number where one of the library's enumerations is expected. Each such
// value is defined (the enumerations have int as their underlying type) and meets its documented
// reaction; under UndefinedBehaviorSanitizer these tests also show that no load is undefined.
#include "qzgui/log_item.h"
#include "qzgui/resource_manager.h"
#include "qzgui/sat_worker.h"
#include "qzgui/ui_controller.h"
#include "qzgui/widget_profile_controller.h"

#include <QDoubleSpinBox>
#include <QSpinBox>
#include <QtTest>

#include <limits>
#include <stdexcept>

using namespace qz::gui;

namespace {

template <typename E>
E as_enum(int value)
{
    return static_cast<E>(value);
}

const QString fallback = QStringLiteral("<< operation string not configured >>>");

} // namespace

class tst_enum_values : public QObject {
    Q_OBJECT

private slots:
    void widget_kind_above_inert_is_refused_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("9") << 9;
        QTest::newRow("42") << 42;
        QTest::newRow("100") << 100;
        QTest::newRow("int max") << std::numeric_limits<int>::max();
    }

    void widget_kind_above_inert_is_refused()
    {
        QFETCH(int, kind);
        QSpinBox box;
        QMap<uint32_t, QPair<widget_type_e, QObject*>> widgets{{1, {as_enum<widget_type_e>(kind), &box}}};
        try {
            ui_controller form(&widgets, nullptr);
            QFAIL("no exception");
        } catch (const std::runtime_error& e) {
            QCOMPARE(QString::fromLatin1(e.what()), QStringLiteral("invalid parameter"));
        }
    }

    void widget_kind_below_zero_is_bound_but_never_used()
    {
        QSpinBox box;
        QMap<uint32_t, QPair<widget_type_e, QObject*>> widgets{{1, {as_enum<widget_type_e>(-1), &box}}};
        ui_controller form(&widgets, nullptr);
        // Never watched: an edit goes unnoticed.
        box.setValue(5);
        QVERIFY(!form.has_changed_parameters());
        // Cannot be written.
        QVERIFY_EXCEPTION_THROWN(form.set_data(1, 3), std::runtime_error);
        QCOMPARE(box.value(), 5);
    }

    void widget_kind_out_of_range_collects_nothing()
    {
        // An entry whose kind the caller changes after construction is read as no kind.
        QSpinBox box;
        QMap<uint32_t, QPair<widget_type_e, QObject*>> widgets{{1, {spinbox, &box}}};
        ui_controller form(&widgets, nullptr);
        box.setValue(7);
        QVERIFY(form.has_changed_parameters());
        for (const int kind : {42, 100, -1}) {
            widgets[1].first = as_enum<widget_type_e>(kind);
            QVector<QPair<uint32_t, QVariant>> out;
            form.collect_changed_params(out);
            QVERIFY2(out.isEmpty(), qPrintable(QString::number(kind)));
            QVERIFY_EXCEPTION_THROWN(form.set_data(1, 3), std::runtime_error);
        }
    }

    void value_policy_out_of_range_sets_no_value_data()
    {
        QTest::addColumn<int>("policy");
        QTest::newRow("7") << 7;
        QTest::newRow("-1") << -1;
        QTest::newRow("int min") << std::numeric_limits<int>::min();
    }

    void value_policy_out_of_range_sets_no_value()
    {
        QFETCH(int, policy);
        QDoubleSpinBox box;
        box.setRange(0, 100);
        box.setDecimals(2);
        box.setValue(12.34);
        const widget_profile_doublespinbox_t profile(true, 0, 50, 0.5, 1, as_enum<value_policy_e>(policy));
        widget_profile_handler_doublespinbox().apply_profile(&box, profile);
        // The value is what the widget made of it when the decimals changed: no policy applied.
        QCOMPARE(box.value(), 12.3);
        QCOMPARE(box.decimals(), 1);
        QCOMPARE(box.maximum(), 50.0);
    }

    void operation_type_and_connection_state_out_of_range_get_the_fallback()
    {
        resource_manager texts;
        QCOMPARE(texts.get_connection_state_string(as_enum<sat_worker::connection_state_e>(-1)), fallback);
        QCOMPARE(texts.get_connection_state_string(as_enum<sat_worker::connection_state_e>(100)), fallback);
        QCOMPARE(texts.get_operation_type_string(as_enum<sat_worker::operation_type_e>(100),
                                                 sat_worker::status_begin),
                 "begin of " + fallback + " operation");
        QCOMPARE(texts.get_operation_error_string(as_enum<sat_worker::operation_type_e>(-1)),
                 "error while performing " + fallback + " operation");
        QVERIFY_EXCEPTION_THROWN(
            texts.get_operation_type_string(sat_worker::op_read, as_enum<sat_worker::operation_status_e>(7)),
            std::out_of_range);
    }

    void log_level_out_of_range_has_an_empty_label()
    {
        const QDateTime when(QDate(2024, 3, 2), QTime(14, 3, 7, 45));
        for (const int level : {4, 42, -1}) {
            const log_item item(as_enum<log_item::log_level_e>(level), QStringLiteral("x"), when);
            QCOMPARE(item.get_log_level(), as_enum<log_item::log_level_e>(level));
            QVERIFY(item.toString().endsWith(QStringLiteral(",045   x")));
        }
    }
};

QTEST_MAIN(tst_enum_values)
#include "tst_enum_values.moc"
