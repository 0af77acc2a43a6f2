// SPDX-License-Identifier: BSD-3-Clause
// A real form for the binding and profile tests: one widget of every kind, each with a hint label.
#ifndef QZGUI_TESTS_FORM_FIXTURE_H
#define QZGUI_TESTS_FORM_FIXTURE_H

#include "qzgui/ui_controller.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSpinBox>
#include <QStyle>
#include <QStyleOptionButton>
#include <QtTest>

#include <memory>

namespace qz::test {

/// Clicks @p box on its indicator, where a user clicks (a wide box's middle may be blank).
inline void click_indicator(QCheckBox* box)
{
    QStyleOptionButton option;
    option.initFrom(box);
    const QRect indicator = box->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, box);
    QTest::mouseClick(box, Qt::LeftButton, Qt::NoModifier, indicator.center());
}

/// Selects all of a field's text and types @p text, as a user does.
inline void retype(QWidget* field, const QString& text)
{
    field->setFocus();
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(field, text);
}

/// Types @p text into a field as retype() does and presses Enter, which ends the entry.
inline void enter(QWidget* field, const QString& text)
{
    retype(field, text);
    QTest::keyClick(field, Qt::Key_Return);
}

/// Parameter ids of the form's widgets.
enum form_id : uint32_t {
    id_check = 1,
    id_line = 2,
    id_spin = 3,
    id_double = 4,
    id_combo = 5,
    id_label = 6,
    id_progress = 7,
    id_datetime = 8,
    id_inert = 9
};

/// A shown window with one widget of each kind and a hint label beside each.
struct form {
    QWidget window;
    QCheckBox* check = new QCheckBox(QStringLiteral("enabled"));
    QLineEdit* line = new QLineEdit;
    QSpinBox* spin = new QSpinBox;
    QDoubleSpinBox* dspin = new QDoubleSpinBox;
    QComboBox* combo = new QComboBox;
    QLabel* label = new QLabel;
    QProgressBar* progress = new QProgressBar;
    QDateTimeEdit* datetime = new QDateTimeEdit;
    QWidget* inert_widget = new QWidget;
    QMap<uint32_t, QPair<gui::widget_type_e, QObject*>> widgets;
    QMap<uint32_t, QWidget*> hints;

    form()
    {
        spin->setRange(0, 100);
        dspin->setRange(0, 100);
        combo->addItem(QStringLiteral("zero"), 0u);
        combo->addItem(QStringLiteral("one"), 1u);
        combo->addItem(QStringLiteral("two"), 2u);
        datetime->setDateTime(QDateTime(QDate(2024, 3, 2), QTime(14, 3, 7)));
        auto* layout = new QFormLayout(&window);
        const QList<QPair<uint32_t, QPair<gui::widget_type_e, QWidget*>>> rows = {
            {id_check, {gui::checkbox, check}},
            {id_line, {gui::lineedit, line}},
            {id_spin, {gui::spinbox, spin}},
            {id_double, {gui::doublespinbox, dspin}},
            {id_combo, {gui::combobox, combo}},
            {id_label, {gui::label, label}},
            {id_progress, {gui::progressbar, progress}},
            {id_datetime, {gui::datetimeedit, datetime}},
            {id_inert, {gui::inert, inert_widget}}};
        for (const auto& row : rows) {
            auto* hint = new QLabel(QStringLiteral("parameter %1").arg(row.first));
            layout->addRow(hint, row.second.second);
            widgets.insert(row.first, {row.second.first, row.second.second});
            hints.insert(row.first, hint);
        }
    }

    /// Shows the window; call from a test function.
    void show()
    {
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }

    QLabel* hint(uint32_t id) const { return static_cast<QLabel*>(hints.value(id)); }

    /**
     * Edits every watched widget as a user does, in id order: clicks the check box, types @p text
     * into the line edit, steps the spin box, double spin box, combo box and date-time edit by
     * one with the arrow keys. The changed list then holds the watched ids in ascending order.
     */
    void edit_each_watched_widget(const QString& text)
    {
        click_check();
        line->setFocus();
        QTest::keyClicks(line, text);
        const QList<QPair<QWidget*, Qt::Key>> steps = {
            {spin, Qt::Key_Up}, {dspin, Qt::Key_Up}, {combo, Qt::Key_Down}, {datetime, Qt::Key_Up}};
        for (const auto& step : steps) {
            step.first->setFocus();
            QTest::keyClick(step.first, step.second);
        }
    }

    /// Clicks the check box on its indicator, where a user clicks.
    void click_check() const { click_indicator(check); }
};

/// The ids that collect_changed_params() yields, in its order.
inline QVector<uint32_t> changed_ids(gui::ui_controller& controller)
{
    QVector<QPair<uint32_t, QVariant>> pairs;
    controller.collect_changed_params(pairs);
    QVector<uint32_t> ids;
    for (const auto& pair : pairs)
        ids << pair.first;
    return ids;
}

} // namespace qz::test

#endif
