// SPDX-License-Identifier: BSD-3-Clause
// Forms built from parameter descriptions: every kind of field, groups, units and tool tips, the
// descriptions refused, and a built form bound by scan_form() and driven like a drawn one.
#include "form_fixture.h"

#include "qzgui/HexSpinBox.h"
#include "qzgui/form_builder.h"
#include "qzgui/form_scan.h"
#include "qzgui/parameter_description.h"
#include "qzgui/parameter_file.h"
#include "qzgui/ui_controller.h"

#include <QGroupBox>
#include <QtTest>

#include <limits>
#include <memory>
#include <stdexcept>

Q_DECLARE_METATYPE(qz::gui::parameter_description)

using qz::gui::build_form;
using qz::gui::parameter_description;

namespace {

parameter_description described(uint32_t id, int type, const QString& name = QString())
{
    parameter_description p;
    p.id = id;
    p.type = type;
    p.name = name;
    return p;
}

template <typename W>
W* field(QWidget* form, uint32_t id)
{
    const auto fields = form->findChildren<QWidget*>();
    for (QWidget* w : fields)
        if (w->property("qz_param_id").isValid() && w->property("qz_param_id").toUInt() == id)
            return qobject_cast<W*>(w);
    return nullptr;
}

QLabel* label_of(QWidget* form, QWidget* field)
{
    const auto labels = form->findChildren<QLabel*>();
    for (QLabel* l : labels)
        if (l->buddy() == field)
            return l;
    return nullptr;
}

// The text of the QLabel right after @p field in its row, or nothing.
QString unit_after(QWidget* field)
{
    QWidget* box = field->parentWidget();
    const auto labels = box->findChildren<QLabel*>(QString(), Qt::FindDirectChildrenOnly);
    if (box->property("qz_param_id").isValid() || labels.size() != 1 || labels.first()->buddy())
        return QString();
    return labels.first()->text();
}

} // namespace

class tst_form_builder : public QObject {
    Q_OBJECT

    std::unique_ptr<QWidget> _form;

    QWidget* build(const QVector<parameter_description>& parameters)
    {
        _form.reset(build_form(parameters));
        _form->show();
        return _form.get();
    }

private slots:
    void cleanup() { _form.reset(); }

    void a_bool_is_a_check_box()
    {
        QWidget* form = build({described(1, QMetaType::Bool, QStringLiteral("Output"))});
        auto* box = field<QCheckBox>(form, 1);
        QVERIFY(box);
        QVERIFY(!box->isChecked());
        QVERIFY(box->isEnabled());
        QCOMPARE(label_of(form, box)->text(), QStringLiteral("Output"));
    }

    void choices_are_a_combo_box_with_their_values_as_data()
    {
        parameter_description mode = described(5, QMetaType::UInt);
        mode.choices = {
            {0u, QStringLiteral("Idle")}, {1, QStringLiteral("Receive")}, {2.0, QStringLiteral("Transmit")}};
        parameter_description offset = described(6, QMetaType::Int);
        offset.choices = {{-1, QStringLiteral("Below")}, {1, QStringLiteral("Above")}};
        QWidget* form = build({mode, offset});
        auto* box = field<QComboBox>(form, 5);
        QVERIFY(box);
        QCOMPARE(box->count(), 3);
        QCOMPARE(box->itemText(2), QStringLiteral("Transmit"));
        QCOMPARE(box->itemData(2), QVariant(2u));
        QCOMPARE(box->itemData(2).userType(), int(QMetaType::UInt));
        // No item until the device's value comes: nothing is shown as if read.
        QCOMPARE(box->currentIndex(), -1);
        auto* signed_box = field<QComboBox>(form, 6);
        QCOMPARE(signed_box->itemData(0), QVariant(-1));
        QCOMPARE(signed_box->itemData(0).userType(), int(QMetaType::Int));
    }

    void hexadecimal_integers_are_hex_spin_boxes()
    {
        parameter_description narrow = described(9, QMetaType::UInt);
        narrow.hexadecimal = true;
        narrow.maximum = 0xFFFFu;
        parameter_description wide = described(10, QMetaType::UInt);
        wide.hexadecimal = true;
        parameter_description bounded = described(11, QMetaType::Int);
        bounded.hexadecimal = true;
        bounded.minimum = 0x10;
        bounded.maximum = 0x7F;
        QWidget* form = build({narrow, wide, bounded});
        auto* box16 = dynamic_cast<qz::gui::HexSpinBox*>(field<QSpinBox>(form, 9));
        QVERIFY(box16);
        QCOMPARE(box16->maximum(), 0xFFFF);
        QCOMPARE(box16->minimum(), 0);
        auto* box32 = dynamic_cast<qz::gui::HexSpinBox*>(field<QSpinBox>(form, 10));
        QVERIFY(box32);
        QCOMPARE(box32->minimum(), std::numeric_limits<int>::min());
        QCOMPARE(box32->maximum(), std::numeric_limits<int>::max());
        box32->setHexValue(0xFFFF0000u);
        QCOMPARE(box32->text(), QStringLiteral("0xFFFF0000"));
        auto* box = dynamic_cast<qz::gui::HexSpinBox*>(field<QSpinBox>(form, 11));
        QCOMPARE(box->minimum(), 0x10);
        QCOMPARE(box->maximum(), 0x7F);
    }

    void integers_are_spin_boxes_over_their_bounds()
    {
        parameter_description gain = described(3, QMetaType::Int);
        gain.minimum = -10;
        gain.maximum = 40;
        gain.step = 5;
        parameter_description plain = described(4, QMetaType::Int);
        parameter_description count = described(7, QMetaType::UInt);
        count.maximum = 1000u;
        QWidget* form = build({gain, plain, count});
        auto* box = field<QSpinBox>(form, 3);
        QVERIFY(box);
        QVERIFY(!dynamic_cast<qz::gui::HexSpinBox*>(box));
        QCOMPARE(box->minimum(), -10);
        QCOMPARE(box->maximum(), 40);
        QCOMPARE(box->singleStep(), 5);
        QCOMPARE(field<QSpinBox>(form, 4)->minimum(), std::numeric_limits<int>::min());
        QCOMPARE(field<QSpinBox>(form, 4)->maximum(), std::numeric_limits<int>::max());
        QCOMPARE(field<QSpinBox>(form, 7)->minimum(), 0);
        QCOMPARE(field<QSpinBox>(form, 7)->maximum(), 1000);
        // No value of the device's yet: the text is empty.
        QCOMPARE(box->text(), QString());
    }

    void a_uint_past_int_takes_every_value_of_its_range_and_no_other()
    {
        QWidget* form = build({described(8, QMetaType::UInt)});
        auto* box = field<QDoubleSpinBox>(form, 8);
        QVERIFY(box);
        QCOMPARE(box->decimals(), 0);
        QCOMPARE(box->minimum(), 0.0);
        QCOMPARE(box->maximum(), 4294967295.0);
        qz::test::retype(box, QStringLiteral("4294967295"));
        QTest::keyClick(box, Qt::Key_Return);
        QCOMPARE(box->value(), 4294967295.0);
        qz::test::retype(box, QStringLiteral("2147483648"));
        QTest::keyClick(box, Qt::Key_Return);
        QCOMPARE(box->value(), 2147483648.0);
        // Past the range, below it and between two integers the keys are refused.
        for (const QString& refused :
             {QStringLiteral("4294967296"), QStringLiteral("-1"), QStringLiteral("1.5")}) {
            qz::test::retype(box, refused);
            QTest::keyClick(box, Qt::Key_Return);
            QVERIFY2(box->value() >= 0 && box->value() <= 4294967295.0
                         && box->value() == std::floor(box->value()),
                     qPrintable(refused));
            QVERIFY2(box->text() != refused, qPrintable(refused));
        }
    }

    void doubles_have_bounds_decimals_and_step()
    {
        parameter_description frequency = described(4, QMetaType::Double);
        frequency.minimum = 430.0;
        frequency.maximum = 440;
        frequency.decimals = 3;
        parameter_description level = described(5, QMetaType::Double);
        level.step = 0.25;
        parameter_description plain = described(6, QMetaType::Double);
        QWidget* form = build({frequency, level, plain});
        auto* box = field<QDoubleSpinBox>(form, 4);
        QCOMPARE(box->minimum(), 430.0);
        QCOMPARE(box->maximum(), 440.0);
        QCOMPARE(box->decimals(), 3);
        QCOMPARE(box->singleStep(), 0.001);
        QCOMPARE(field<QDoubleSpinBox>(form, 5)->singleStep(), 0.25);
        QCOMPARE(field<QDoubleSpinBox>(form, 6)->singleStep(), 0.1);
        QCOMPARE(field<QDoubleSpinBox>(form, 6)->maximum(), std::numeric_limits<double>::max());
        // A decimals hint rounds as it says.
        box->setValue(433.92551);
        QCOMPARE(box->text(), QStringLiteral("433.926"));
    }

    void a_double_without_a_decimals_hint_shows_every_value_exactly()
    {
        parameter_description level = described(5, QMetaType::Double);
        level.step = 0.25;
        parameter_description plain = described(6, QMetaType::Double);
        plain.unit = QStringLiteral("degC");
        QWidget* form = build({level, plain});
        auto* box = field<QDoubleSpinBox>(form, 6);
        // Each as its shortest decimal, whatever the step: a float32's too (24.1f reaches the form
        // as the double nearest to 24.1), and without a tail of zeros.
        const QList<QPair<double, QString>> values = {
            {24.25, "24.25"},
            {24.1, "24.1"},
            {710.75, "710.75"},
            {5, "5"},
            {-0.001, "-0.001"},
            {0.1 + 0.2, "0.30000000000000004"},
            {1e-20, "0.00000000000000000001"},
            {3.4028234663852886e38, "340282346638528860000000000000000000000"},
            {123456789.125, "123456789.125"}};
        for (const auto& [value, text] : values) {
            box->setValue(value);
            QCOMPARE(box->value(), value);
            QCOMPARE(box->text(), text + QStringLiteral(" degC"));
            QCOMPARE(qz::gui::read_form_values(qz::gui::scan_form(form).widgets).value(6), QVariant(value));
        }
        auto* stepped = field<QDoubleSpinBox>(form, 5);
        stepped->setValue(24.125);
        QCOMPARE(stepped->text(), QStringLiteral("24.125"));
        stepped->stepUp();
        QCOMPARE(stepped->value(), 24.375);

        // What a person types is taken as typed, the shortest text again when shown.
        qz::test::enter(box, QStringLiteral("21.6"));
        QCOMPARE(box->value(), 21.6);
        QCOMPARE(box->text(), QStringLiteral("21.6 degC"));
        // A widget profile's decimals round as before.
        box->setDecimals(2);
        box->setValue(24.256);
        QCOMPARE(box->text(), QStringLiteral("24.26 degC"));
    }

    void strings_are_line_edits_with_their_length()
    {
        parameter_description name = described(2, QMetaType::QString);
        name.max_length = 32;
        QWidget* form = build({name, described(3, QMetaType::QString)});
        QCOMPARE(field<QLineEdit>(form, 2)->maxLength(), 32);
        QCOMPARE(field<QLineEdit>(form, 3)->maxLength(), 32767);
        qz::test::retype(field<QLineEdit>(form, 2), QString(40, QLatin1Char('x')));
        QCOMPARE(field<QLineEdit>(form, 2)->text().size(), 32);
    }

    void read_only_fields_are_readable_but_unchangeable()
    {
        QVector<parameter_description> all = {described(1, QMetaType::Bool), described(2, QMetaType::QString),
                                              described(3, QMetaType::Int),  described(4, QMetaType::Double),
                                              described(5, QMetaType::UInt), described(6, QMetaType::UInt)};
        all[4].choices = {{0u, QStringLiteral("Off")}, {1u, QStringLiteral("On")}};
        all[5].hexadecimal = true;
        for (parameter_description& p : all)
            p.read_only = true;
        QWidget* form = build(all);
        QVERIFY(!field<QCheckBox>(form, 1)->isEnabled());
        QVERIFY(field<QLineEdit>(form, 2)->isReadOnly());
        QVERIFY(field<QSpinBox>(form, 3)->isReadOnly());
        QVERIFY(field<QDoubleSpinBox>(form, 4)->isReadOnly());
        QVERIFY(!field<QComboBox>(form, 5)->isEnabled());
        QVERIFY(field<QSpinBox>(form, 6)->isReadOnly());
        // Typing into one changes nothing; a value from the device still shows, a choice by its text.
        auto* gain = field<QSpinBox>(form, 3);
        gain->setValue(12);
        qz::test::retype(gain, QStringLiteral("99"));
        QCOMPARE(gain->value(), 12);
        QVERIFY(gain->isEnabled());
        field<QComboBox>(form, 5)->setCurrentIndex(1);
        QCOMPARE(field<QComboBox>(form, 5)->currentText(), QStringLiteral("On"));
    }

    void read_only_fields_show_values_beyond_their_bounds_and_say_so()
    {
        parameter_description gain = described(3, QMetaType::Int);
        gain.minimum = 0;
        gain.maximum = 60;
        gain.read_only = true;
        parameter_description level = described(4, QMetaType::Double);
        level.maximum = 1.0;
        level.read_only = true;
        parameter_description output = described(1, QMetaType::Bool);
        output.read_only = true;
        QWidget* form = build({gain, level, output, described(5, QMetaType::Int)});
        // Bounds are for what a person enters: the device's value shows whatever it is.
        field<QSpinBox>(form, 3)->setValue(150);
        QCOMPARE(field<QSpinBox>(form, 3)->value(), 150);
        field<QDoubleSpinBox>(form, 4)->setValue(1.75);
        QCOMPARE(field<QDoubleSpinBox>(form, 4)->value(), 1.75);
        for (const uint32_t id : {1u, 3u, 4u})
            QVERIFY(field<QWidget>(form, id)->property("qz_read_only").toBool());
        QVERIFY(!field<QWidget>(form, 5)->property("qz_read_only").toBool());
    }

    void the_range_a_person_may_enter_is_in_the_tool_tip()
    {
        parameter_description gain = described(3, QMetaType::Int, QStringLiteral("Gain"));
        gain.description = QStringLiteral("Gain of the receive path");
        gain.minimum = -20;
        gain.maximum = 5000;
        gain.unit = QStringLiteral("dB");
        parameter_description level = described(4, QMetaType::Double);
        level.minimum = -1.5;
        level.maximum = 2.25;
        parameter_description mask = described(5, QMetaType::UInt);
        mask.hexadecimal = true;
        mask.maximum = 0xFFFFu;
        parameter_description big = described(7, QMetaType::UInt);
        big.maximum = 4000000000u;
        parameter_description fixed = gain;
        fixed.id = 6;
        fixed.read_only = true;
        QWidget* form = build({gain, level, mask, fixed, big});
        const QString gain_tip = QStringLiteral("Gain of the receive path\nRange: -20 to 5000 dB");
        QCOMPARE(field<QSpinBox>(form, 3)->toolTip(), gain_tip);
        QCOMPARE(label_of(form, field<QSpinBox>(form, 3))->toolTip(), gain_tip);
        QCOMPARE(field<QDoubleSpinBox>(form, 4)->toolTip(), QStringLiteral("Range: -1.5 to 2.25"));
        QCOMPARE(field<QSpinBox>(form, 5)->toolTip(), QStringLiteral("Range: 0x0 to 0xFFFF"));
        QCOMPARE(field<QDoubleSpinBox>(form, 7)->toolTip(), QStringLiteral("Range: 0 to 4000000000"));
        // Nobody enters a read-only value: its description alone.
        QCOMPARE(field<QSpinBox>(form, 6)->toolTip(), gain.description);
    }

    void an_entry_beyond_the_range_is_refused_whole()
    {
        parameter_description gain = described(3, QMetaType::Int);
        gain.minimum = 0;
        gain.maximum = 5000;
        gain.unit = QStringLiteral("dB");
        parameter_description level = described(4, QMetaType::Double);
        level.minimum = -1.5;
        level.maximum = 2.25;
        QWidget* form = build({gain, level});
        // Focus moves, and so entries end, in the active window only.
        QApplication::setActiveWindow(form);
        QVERIFY(QTest::qWaitForWindowActive(form));
        auto* box = field<QSpinBox>(form, 3);
        box->setValue(1200);
        QSignalSpy changed(box, qOverload<int>(&QSpinBox::valueChanged));
        // Held as typed, not cut to 600, and no value until the entry ends.
        qz::test::retype(box, QStringLiteral("6000"));
        QCOMPARE(box->text(), QStringLiteral("6000 dB"));
        QCOMPARE(box->value(), 1200);
        QTest::keyClick(box, Qt::Key_Return);
        QCOMPARE(box->value(), 1200);
        QCOMPARE(box->text(), QStringLiteral("1200 dB"));
        QVERIFY(changed.isEmpty());
        // Within the range, Enter takes it.
        qz::test::enter(box, QStringLiteral("4999"));
        QCOMPARE(box->value(), 4999);
        QCOMPARE(changed.size(), 1);
        // Below the minimum of a double, and the entry ended by leaving the field.
        auto* other = field<QDoubleSpinBox>(form, 4);
        other->setValue(1.25);
        qz::test::retype(other, QStringLiteral("-7.5"));
        QCOMPARE(other->text(), QStringLiteral("-7.5"));
        box->setFocus();
        QVERIFY(!other->hasFocus());
        QCOMPARE(other->value(), 1.25);
        QCOMPARE(other->text(), QStringLiteral("1.25"));
        // Text that is no number is refused key by key, as in any spin box.
        qz::test::retype(box, QStringLiteral("12x"));
        QCOMPARE(box->text(), QStringLiteral("12 dB"));
    }

    void the_unit_is_a_suffix_or_a_label_after_the_field()
    {
        QVector<parameter_description> all = {described(1, QMetaType::Bool), described(2, QMetaType::QString),
                                              described(3, QMetaType::Int),  described(4, QMetaType::Double),
                                              described(5, QMetaType::UInt), described(6, QMetaType::UInt),
                                              described(7, QMetaType::UInt)};
        all[4].choices = {{0u, QStringLiteral("Off")}};
        all[5].hexadecimal = true;
        for (parameter_description& p : all)
            p.unit = QStringLiteral("mA");
        QWidget* form = build(all);
        QCOMPARE(field<QSpinBox>(form, 3)->suffix(), QStringLiteral(" mA"));
        QCOMPARE(field<QDoubleSpinBox>(form, 4)->suffix(), QStringLiteral(" mA"));
        QCOMPARE(field<QDoubleSpinBox>(form, 7)->suffix(), QStringLiteral(" mA"));
        QCOMPARE(unit_after(field<QSpinBox>(form, 3)), QString());
        QCOMPARE(unit_after(field<QCheckBox>(form, 1)), QStringLiteral("mA"));
        QCOMPARE(unit_after(field<QLineEdit>(form, 2)), QStringLiteral("mA"));
        QCOMPARE(unit_after(field<QComboBox>(form, 5)), QStringLiteral("mA"));
        // A hex box's text is the number alone: its unit stands after it.
        QCOMPARE(field<QSpinBox>(form, 6)->suffix(), QString());
        QCOMPARE(unit_after(field<QSpinBox>(form, 6)), QStringLiteral("mA"));
        field<QSpinBox>(form, 3)->setValue(7);
        QCOMPARE(field<QSpinBox>(form, 3)->text(), QStringLiteral("7 mA"));
    }

    void the_description_is_the_tool_tip_and_a_missing_name_the_id()
    {
        parameter_description p = described(0x1A2B3, QMetaType::Int);
        p.description = QStringLiteral("Gain of the receive path");
        QWidget* form = build({p, described(0x7, QMetaType::Int)});
        auto* box = field<QSpinBox>(form, 0x1A2B3);
        QCOMPARE(box->toolTip(), p.description);
        QCOMPARE(label_of(form, box)->toolTip(), p.description);
        QCOMPARE(label_of(form, box)->text(), QStringLiteral("0x1A2B3"));
        QCOMPARE(label_of(form, field<QSpinBox>(form, 7))->text(), QStringLiteral("0x0007"));
        QCOMPARE(field<QSpinBox>(form, 7)->toolTip(), QString());
    }

    void groups_keep_their_rows_in_order_of_first_appearance()
    {
        QVector<parameter_description> all;
        const char* groups[] = {"Radio", "", "Bus", "Radio", "Bus", ""};
        for (int i = 0; i < 6; ++i) {
            all.append(described(uint32_t(i + 1), QMetaType::Int, QStringLiteral("p%1").arg(i + 1)));
            all.last().group = QLatin1String(groups[i]);
        }
        QWidget* form = build(all);
        auto* top = qobject_cast<QVBoxLayout*>(form->layout());
        QVERIFY(top);
        QStringList sections;
        QMap<QString, QList<uint32_t>> rows;
        for (int i = 0; i < top->count(); ++i) {
            QWidget* holder = top->itemAt(i)->widget();
            if (!holder)
                continue;
            auto* box = qobject_cast<QGroupBox*>(holder);
            const QString name = box ? box->title() : QStringLiteral("-");
            sections.append(name);
            auto* layout = qobject_cast<QFormLayout*>(holder->layout());
            for (int r = 0; r < layout->rowCount(); ++r)
                rows[name].append(
                    layout->itemAt(r, QFormLayout::FieldRole)->widget()->property("qz_param_id").toUInt());
        }
        QCOMPARE(sections,
                 (QStringList{QStringLiteral("Radio"), QStringLiteral("-"), QStringLiteral("Bus")}));
        QCOMPARE(rows.value(QStringLiteral("Radio")), (QList<uint32_t>{1, 4}));
        QCOMPARE(rows.value(QStringLiteral("-")), (QList<uint32_t>{2, 6}));
        QCOMPARE(rows.value(QStringLiteral("Bus")), (QList<uint32_t>{3, 5}));
    }

    void a_description_it_cannot_show_builds_nothing_data()
    {
        QTest::addColumn<parameter_description>("bad");
        QTest::addColumn<QString>("fault");
        QTest::newRow("no type") << described(0x42, 0) << "parameter 0x0042: no type";
        QTest::newRow("another type") << described(0x42, QMetaType::QDateTime)
                                      << QStringLiteral("parameter 0x0042: type %1 is not one a form shows")
                                             .arg(int(QMetaType::QDateTime));
        parameter_description p = described(0x42, QMetaType::Int);
        p.minimum = 5;
        p.maximum = 4;
        QTest::newRow("minimum above maximum") << p << "parameter 0x0042: the minimum is above the maximum";
        p = described(0x42, QMetaType::UInt);
        p.minimum = -1;
        QTest::newRow("bound outside the type")
            << p << "parameter 0x0042: the minimum is not a value of its type";
        p = described(0x42, QMetaType::Int);
        p.maximum = QStringLiteral("7");
        QTest::newRow("bound of another type")
            << p << "parameter 0x0042: the maximum is not a value of its type";
        p = described(0x42, QMetaType::Int);
        p.choices = {{1, QStringLiteral("One")}, {QStringLiteral("2"), QStringLiteral("Two")}};
        QTest::newRow("choice of another type")
            << p << "parameter 0x0042: the choice \"Two\" is not a value of its type";
        p = described(0x42, QMetaType::Int);
        p.choices = {{1, QStringLiteral("One")}, {1.5, QStringLiteral("More")}};
        QTest::newRow("choice between integers")
            << p << "parameter 0x0042: the choice \"More\" is not a value of its type";
        p = described(0x42, QMetaType::UInt);
        p.choices = {{1u, QStringLiteral("One")}, {1, QStringLiteral("Uno")}};
        QTest::newRow("two choices, one value") << p << "parameter 0x0042: two choices have the value 1";
        p = described(0x42, QMetaType::Double);
        p.choices = {{0.5, QStringLiteral("Half")}};
        QTest::newRow("choices of a double") << p << "parameter 0x0042: only integers have choices";
        p = described(0x42, QMetaType::Double);
        p.hexadecimal = true;
        QTest::newRow("hex double") << p << "parameter 0x0042: only integers are shown in hexadecimal";
        p = described(0x42, QMetaType::Double);
        p.step = -1;
        QTest::newRow("step below zero") << p << "parameter 0x0042: the step is below zero";
        p = described(0x42, QMetaType::Int);
        QTest::newRow("id given twice") << p << "parameter 0x0042: the id is given twice";
    }

    void a_description_it_cannot_show_builds_nothing()
    {
        QFETCH(parameter_description, bad);
        QFETCH(QString, fault);
        QWidget parent;
        QVector<parameter_description> all = {described(1, QMetaType::Int), described(0x42, QMetaType::Int),
                                              bad};
        if (QString::fromLatin1(QTest::currentDataTag()) != QLatin1String("id given twice"))
            all.remove(1);
        try {
            build_form(all, &parent);
            QFAIL("built");
        } catch (const std::invalid_argument& e) {
            QCOMPARE(QString::fromUtf8(e.what()), fault);
        }
        QVERIFY(parent.children().isEmpty());
    }

    void a_built_form_binds_and_keeps_every_value_type()
    {
        parameter_description frequency = described(4, QMetaType::Double);
        frequency.decimals = 3;
        parameter_description mode = described(5, QMetaType::UInt);
        mode.choices = {{0u, QStringLiteral("Idle")}, {2u, QStringLiteral("Transmit")}};
        parameter_description address = described(6, QMetaType::UInt);
        address.hexadecimal = true;
        address.maximum = 0xFFFFu;
        parameter_description mask = described(8, QMetaType::Int);
        mask.hexadecimal = true;
        const QVector<parameter_description> all = {described(1, QMetaType::Bool),
                                                    described(2, QMetaType::QString),
                                                    described(3, QMetaType::Int),
                                                    frequency,
                                                    mode,
                                                    address,
                                                    described(7, QMetaType::UInt),
                                                    mask};
        QWidget* form = build(all);
        qz::gui::form_bindings bound = qz::gui::scan_form(form);
        QCOMPARE(bound.widgets.size(), all.size());
        QCOMPARE(bound.widgets.value(1).first, qz::gui::checkbox);
        QCOMPARE(bound.widgets.value(2).first, qz::gui::lineedit);
        QCOMPARE(bound.widgets.value(3).first, qz::gui::spinbox);
        QCOMPARE(bound.widgets.value(4).first, qz::gui::doublespinbox);
        QCOMPARE(bound.widgets.value(5).first, qz::gui::combobox);
        QCOMPARE(bound.widgets.value(6).first, qz::gui::spinbox);
        QCOMPARE(bound.widgets.value(7).first, qz::gui::doublespinbox);
        QCOMPARE(bound.widgets.value(8).first, qz::gui::spinbox);
        // The label is each field's hint.
        QCOMPARE(bound.hints.value(3), label_of(form, field<QSpinBox>(form, 3)));

        qz::gui::ui_controller controller(&bound.widgets, &bound.hints);
        const QMap<uint32_t, QVariant> device{{1, true},        {2, QStringLiteral("QZ-1000 north mast")},
                                              {3, -12},         {4, 433.925},
                                              {5, 2u},          {6, 0xBEEFu},
                                              {7, 4294967295u}, {8, int(0xFFFF0000u)}};
        controller.set_loading_data(true);
        for (auto it = device.cbegin(); it != device.cend(); ++it)
            controller.set_data(it.key(), it.value());
        controller.set_loading_data(false);
        const QMap<uint32_t, QVariant> shown = qz::gui::read_form_values(bound.widgets);
        for (auto it = device.cbegin(); it != device.cend(); ++it)
            QVERIFY2(shown.value(it.key()) == it.value(), qPrintable(QString::number(it.key())));
        QCOMPARE(field<QSpinBox>(form, 6)->text(), QStringLiteral("0xBEEF"));
        QCOMPARE(field<QComboBox>(form, 5)->currentText(), QStringLiteral("Transmit"));
        QCOMPARE(field<QDoubleSpinBox>(form, 7)->text(), QStringLiteral("4294967295"));
        QVERIFY(qz::test::changed_ids(controller).isEmpty());

        // A loaded set becomes pending changes, each as its field shows it.
        const QMap<uint32_t, QVariant> loaded{{1, false}, {3, 40}, {5, 0u}, {7, 3000000000u}};
        QVERIFY(qz::gui::apply_as_changes(controller, bound.widgets, loaded).isEmpty());
        const QMap<uint32_t, QVariant> after = qz::gui::read_form_values(bound.widgets);
        for (auto it = loaded.cbegin(); it != loaded.cend(); ++it)
            QVERIFY2(after.value(it.key()) == it.value(), qPrintable(QString::number(it.key())));
        QCOMPARE(qz::test::changed_ids(controller), (QVector<uint32_t>{1, 3, 5, 7}));

        // Typed by the user, a field is a change too.
        qz::test::retype(field<QSpinBox>(form, 8), QStringLiteral("7F"));
        QCOMPARE(qz::gui::read_form_values(bound.widgets).value(8), QVariant(0x7F));
        QCOMPARE(qz::test::changed_ids(controller), (QVector<uint32_t>{1, 3, 5, 7, 8}));
    }
};

QTEST_MAIN(tst_form_builder)
#include "tst_form_builder.moc"
