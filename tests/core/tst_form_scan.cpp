// SPDX-License-Identifier: BSD-3-Clause
// Binding forms drawn in Qt Designer: real .ui files compiled by uic, scanned for their ids.
#include "qzgui/HexSpinBox16.h"
#include "qzgui/form_scan.h"
#include "qzgui/ui_controller.h"

#include "form_fixture.h"
#include "ui_bad_id_form.h"
#include "ui_bound_form.h"
#include "ui_duplicate_form.h"
#include "ui_unbindable_form.h"

#include <QGroupBox>
#include <QSpinBox>
#include <QtTest>

#include <limits>
#include <stdexcept>

using namespace qz::gui;

namespace {

// The text of the std::invalid_argument that scanning @p root throws, or "" when it throws none.
QString scan_error(QWidget* root, const char* property = "qz_param_id")
{
    try {
        scan_form(root, property);
    } catch (const std::invalid_argument& e) {
        return QString::fromUtf8(e.what());
    }
    return QString();
}

struct bound_form : QWidget {
    bound_form() { ui.setupUi(this); }
    Ui::bound_form ui;
};

} // namespace

class tst_form_scan : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<uint32_t>("uint32_t"); }

    void binds_every_widget_carrying_an_id()
    {
        bound_form form;
        const form_bindings b = scan_form(&form);
        const Ui::bound_form& ui = form.ui;
        using entry = QPair<widget_type_e, QObject*>;
        const QMap<uint32_t, entry> expected{
            {16, {spinbox, ui.gain}},
            {0x11, {lineedit, ui.name}},
            {18, {checkbox, ui.enabled}},
            {0x13, {spinbox, ui.address}},
            {32, {doublespinbox, ui.speed}},
            {33, {combobox, ui.mode}},
            {34, {datetimeedit, ui.day}},
            {35, {datetimeedit, ui.at}},
            {36, {datetimeedit, ui.stamp}},
            {37, {label, ui.serial}},
            {0xFFFFFFFF, {progressbar, ui.level}},
        };
        QCOMPARE(b.widgets, expected);
        QVERIFY(dynamic_cast<HexSpinBox16*>(b.widgets.value(0x13).second));
    }

    void hints_are_buddy_labels_or_the_widget_itself()
    {
        bound_form form;
        const form_bindings b = scan_form(&form);
        const Ui::bound_form& ui = form.ui;
        const QMap<uint32_t, QWidget*> expected{
            {16, ui.gain_label},
            {0x11, ui.name_label},
            {18, ui.enabled},
            {0x13, ui.address_label},
            {32, ui.speed_label},
            {33, ui.mode_label},
            {34, ui.day_label},
            {35, ui.at_label},
            {36, ui.stamp_label},
            {37, ui.serial},
            {0xFFFFFFFF, ui.level_label},
        };
        QCOMPARE(b.hints, expected);
    }

    void scanned_maps_drive_a_controller()
    {
        bound_form form;
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        form_bindings b = scan_form(&form);
        ui_controller controller(&b.widgets, &b.hints);
        QSignalSpy edits(&controller, &ui_controller::on_data_changed);

        form.ui.gain->setFocus();
        form.ui.gain->selectAll();
        QTest::keyClicks(form.ui.gain, QStringLiteral("42"));
        qz::test::click_indicator(form.ui.enabled);

        QVector<QPair<uint32_t, QVariant>> changed;
        controller.collect_changed_params(changed);
        const QVector<QPair<uint32_t, QVariant>> expected{{16, 42}, {18, true}};
        QCOMPARE(changed, expected);
        QVERIFY(form.ui.gain_label->font().underline());
        QVERIFY(form.ui.enabled->font().underline());
        QVERIFY(!form.ui.name_label->font().underline());
        QVERIFY(edits.count() >= 2);
    }

    void the_root_and_widgets_without_the_property_stay_unbound()
    {
        bound_form form;
        form.setProperty("qz_param_id", 99);
        const form_bindings b = scan_form(&form);
        QVERIFY(!b.widgets.contains(99));
        for (const auto& binding : b.widgets)
            QVERIFY(binding.second != form.ui.unbound_spin);
        QVERIFY(!b.hints.values().contains(form.ui.orphan_label));
    }

    void another_property_name_binds_other_widgets()
    {
        bound_form form;
        form.ui.speed->setProperty("backup_id", QStringLiteral("0x7"));
        const form_bindings b = scan_form(&form, "backup_id");
        QCOMPARE(b.widgets.keys(), QList<uint32_t>{7});
        QCOMPARE(b.widgets.value(7).second, form.ui.speed);
        QCOMPARE(b.hints.value(7), form.ui.speed_label);
    }

    void a_null_root_gives_empty_maps()
    {
        const form_bindings b = scan_form(nullptr);
        QVERIFY(b.widgets.isEmpty());
        QVERIFY(b.hints.isEmpty());
    }

    void a_widget_class_without_a_kind_is_refused()
    {
        QWidget root;
        Ui::unbindable_form ui;
        ui.setupUi(&root);
        QCOMPARE(
            scan_error(&root),
            QStringLiteral("apply_button (QPushButton): carries qz_param_id 0x00000007, but widgets of its "
                           "class cannot be bound"));
    }

    void one_id_on_two_widgets_is_refused_naming_both()
    {
        QWidget root;
        Ui::duplicate_form ui;
        ui.setupUi(&root);
        QCOMPARE(scan_error(&root),
                 QStringLiteral("second_gain (QLineEdit): carries qz_param_id 0x00000010, which "
                                "first_gain (QSpinBox) carries as well"));
    }

    void an_id_that_is_no_number_is_refused()
    {
        QWidget root;
        Ui::bad_id_form ui;
        ui.setupUi(&root);
        QCOMPARE(scan_error(&root),
                 QStringLiteral("gain (QSpinBox): qz_param_id \"0x1g\" is not a 32-bit unsigned id"));
    }

    void an_unnamed_widget_is_described_by_its_class()
    {
        QWidget root;
        auto* box = new QGroupBox(&root);
        box->setProperty("qz_param_id", 5);
        QCOMPARE(scan_error(&root),
                 QStringLiteral("an unnamed widget (QGroupBox): carries qz_param_id 0x00000005, "
                                "but widgets of its class cannot be bound"));
    }

    void property_values_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<uint>("id");
        QTest::newRow("int 0") << QVariant(0) << true << 0u;
        QTest::newRow("int max") << QVariant(std::numeric_limits<int>::max()) << true << 0x7FFFFFFFu;
        QTest::newRow("int -1") << QVariant(-1) << false << 0u;
        QTest::newRow("uint max") << QVariant(std::numeric_limits<uint>::max()) << true << 0xFFFFFFFFu;
        QTest::newRow("longlong 2^32") << QVariant(qlonglong(1) << 32) << false << 0u;
        QTest::newRow("ulonglong 2^32-1") << QVariant(qulonglong(0xFFFFFFFF)) << true << 0xFFFFFFFFu;
        QTest::newRow("decimal") << QVariant(QStringLiteral("4294967295")) << true << 0xFFFFFFFFu;
        QTest::newRow("decimal leading zero") << QVariant(QStringLiteral("016")) << true << 16u;
        QTest::newRow("decimal 2^32") << QVariant(QStringLiteral("4294967296")) << false << 0u;
        QTest::newRow("hex upper prefix") << QVariant(QStringLiteral("0X1f")) << true << 0x1Fu;
        QTest::newRow("hex long zeros") << QVariant(QStringLiteral("0x0000000000ff")) << true << 0xFFu;
        QTest::newRow("hex 2^32") << QVariant(QStringLiteral("0x100000000")) << false << 0u;
        QTest::newRow("bare prefix") << QVariant(QStringLiteral("0x")) << false << 0u;
        QTest::newRow("empty") << QVariant(QString()) << false << 0u;
        QTest::newRow("blank") << QVariant(QStringLiteral(" 16")) << false << 0u;
        QTest::newRow("plus") << QVariant(QStringLiteral("+16")) << false << 0u;
        QTest::newRow("minus") << QVariant(QStringLiteral("-16")) << false << 0u;
        QTest::newRow("fraction") << QVariant(QStringLiteral("1.5")) << false << 0u;
        QTest::newRow("arabic digits") << QVariant(QStringLiteral("\u0661\u0666")) << false << 0u;
        QTest::newRow("byte array") << QVariant(QByteArray("0x10")) << true << 16u;
        QTest::newRow("whole double") << QVariant(16.0) << true << 16u;
        QTest::newRow("fractional double") << QVariant(16.5) << false << 0u;
        QTest::newRow("bool") << QVariant(true) << false << 0u;
    }

    void property_values()
    {
        QFETCH(QVariant, value);
        QFETCH(bool, valid);
        QFETCH(uint, id);
        QWidget root;
        auto* box = new QSpinBox(&root);
        box->setObjectName(QStringLiteral("box"));
        box->setProperty("qz_param_id", value);
        if (valid) {
            const form_bindings b = scan_form(&root);
            QCOMPARE(b.widgets.keys(), QList<uint32_t>{id});
            QCOMPARE(b.hints.value(id), box);
        } else {
            const QString error = scan_error(&root);
            QVERIFY2(error.startsWith(QStringLiteral("box (QSpinBox): qz_param_id ")), qPrintable(error));
            QVERIFY2(error.endsWith(QStringLiteral(" is not a 32-bit unsigned id")), qPrintable(error));
        }
    }
};

QTEST_MAIN(tst_form_scan)
#include "tst_form_scan.moc"
