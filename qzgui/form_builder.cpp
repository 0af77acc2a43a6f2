// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/form_builder.h"

#include "qzgui/HexSpinBox.h"
#include "qzgui/form_double_spin_box_p.h"
#include "qzgui/form_spin_box_p.h"
#include "qzgui/internal/numbers.h"
#include "qzgui/parameter_description.h"
#include "qzgui/parameter_id.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QSet>
#include <QSpinBox>
#include <QVBoxLayout>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>

namespace qz::gui {

namespace {

constexpr double int_low = std::numeric_limits<int>::min();
constexpr double int_high = std::numeric_limits<int>::max();
constexpr double uint_high = std::numeric_limits<uint>::max();
constexpr int max_decimals = 15; // what a double holds

// @p value as a value of @p type, when it is one exactly; an integral double counts as an integer.
std::optional<QVariant> typed(int type, const QVariant& value)
{
    if (type == QMetaType::Bool || type == QMetaType::QString) {
        if (value.userType() == type)
            return value;
        return std::nullopt;
    }
    if (!holds_number(value))
        return std::nullopt;
    if (type == QMetaType::Double)
        return QVariant(value.toDouble());
    // Integers: compared as what they are, so that no 64-bit value rounds into the range.
    bool in_range = false;
    long double number = 0;
    if (value.userType() == QMetaType::ULongLong)
        number = static_cast<long double>(value.toULongLong());
    else if (holds_fraction(value))
        number = value.toDouble();
    else
        number = value.toLongLong();
    if (std::isfinite(static_cast<double>(number)) && std::floor(number) == number)
        in_range = type == QMetaType::Int ? number >= int_low && number <= int_high
                                          : number >= 0 && number <= uint_high;
    if (!in_range)
        return std::nullopt;
    if (type == QMetaType::Int)
        return QVariant(int(number));
    return QVariant(uint(number));
}

// A description as the form shows it: its bounds in its own type, checked.
struct row_t {
    const parameter_description* p;
    QVariant low;
    QVariant high;
};

[[noreturn]] void refuse(const parameter_description& p, const QString& fault)
{
    throw std::invalid_argument(
        QStringLiteral("parameter %1: %2").arg(short_parameter_id_text(p.id), fault).toStdString());
}

row_t checked(const parameter_description& p)
{
    const int t = p.type;
    if (t != QMetaType::Bool && t != QMetaType::Int && t != QMetaType::UInt && t != QMetaType::Double
        && t != QMetaType::QString)
        refuse(p,
               t == 0 ? QStringLiteral("no type") : QStringLiteral("type %1 is not one a form shows").arg(t));
    const auto bound = [&](const QVariant& value, const char* which) {
        if (!value.isValid())
            return QVariant();
        const std::optional<QVariant> v = typed(t, value);
        if (!v || t == QMetaType::Bool || t == QMetaType::QString)
            refuse(p, QStringLiteral("the %1 is not a value of its type").arg(QLatin1String(which)));
        return *v;
    };
    row_t row{&p, bound(p.minimum, "minimum"), bound(p.maximum, "maximum")};
    if (row.low.isValid() && row.high.isValid() && row.low.toDouble() > row.high.toDouble())
        refuse(p, QStringLiteral("the minimum is above the maximum"));
    if (!std::isfinite(p.step) || p.step < 0)
        refuse(p, QStringLiteral("the step is below zero"));
    if (p.decimals < -1 || p.decimals > max_decimals)
        refuse(p, QStringLiteral("%1 decimals cannot be shown").arg(p.decimals));
    if (p.hexadecimal && t != QMetaType::Int && t != QMetaType::UInt)
        refuse(p, QStringLiteral("only integers are shown in hexadecimal"));
    if (!p.choices.isEmpty()) {
        if (t != QMetaType::Int && t != QMetaType::UInt)
            refuse(p, QStringLiteral("only integers have choices"));
        QSet<qint64> values;
        for (const auto& choice : p.choices) {
            const std::optional<QVariant> v = typed(t, choice.first);
            if (!v)
                refuse(p, QStringLiteral("the choice \"%1\" is not a value of its type").arg(choice.second));
            if (values.contains(v->toLongLong()))
                refuse(p, QStringLiteral("two choices have the value %1").arg(v->toString()));
            values.insert(v->toLongLong());
        }
    }
    return row;
}

// The unit beside a field that has no suffix of its own.
QWidget* with_unit(QWidget* field, const QString& unit)
{
    if (unit.isEmpty())
        return field;
    auto* box = new QWidget;
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(field, 1);
    layout->addWidget(new QLabel(unit));
    return box;
}

void finish_spin_box(QAbstractSpinBox* box, const parameter_description& p)
{
    box->setReadOnly(p.read_only);
    if (p.read_only)
        box->setButtonSymbols(QAbstractSpinBox::NoButtons);
    // No value of the device's yet: the text stays empty until one is written.
    box->clear();
}

// The range a person may enter, for the tool tips of field and label.
QString range_line(const QString& range)
{
    return QStringLiteral("Range: ") + range;
}

// A hex box's range as it writes numbers; a range through zero is every 32-bit pattern or none
// a person could read as one.
QString hex_range(double low, double high)
{
    const auto hex = [](double value) {
        return QStringLiteral("0x") + QString::number(qulonglong(value), 16).toUpper();
    };
    if (low >= 0)
        return hex(low) + QStringLiteral(" to ") + hex(high);
    if (low == int_low && high == int_high)
        return hex(0) + QStringLiteral(" to ") + hex(uint_high);
    return QString();
}

// A read-only field shows whatever the device holds: its bounds are for what a person enters.
bool bounded(const row_t& row, const QVariant& bound)
{
    return bound.isValid() && !row.p->read_only;
}

QWidget* integer_field(const row_t& row, QString* unit_after, QString* range)
{
    const parameter_description& p = *row.p;
    const bool is_uint = p.type == QMetaType::UInt;
    const double low = bounded(row, row.low) ? row.low.toDouble() : (is_uint ? 0 : int_low);
    const double high = bounded(row, row.high) ? row.high.toDouble() : (is_uint ? uint_high : int_high);
    // An integer field steps by whole numbers.
    const double step = std::min(std::max(1.0, std::round(p.step)), int_high);
    if (p.hexadecimal) {
        auto* box = new HexSpinBox(high <= 0xFFFF && low >= 0);
        // A 32-bit box keeps every pattern: a UInt's bounds past 2^31-1 are no int range.
        if (high <= int_high)
            box->setRange(int(low), int(high));
        box->setSingleStep(int(step));
        finish_spin_box(box, p);
        *unit_after = p.unit;
        *range = hex_range(low, high);
        return box;
    }
    const QString suffix = p.unit.isEmpty() ? QString() : QLatin1Char(' ') + p.unit;
    if (high > int_high) {
        auto* box = new form_double_spin_box;
        box->setDecimals(0);
        box->setRange(low, high);
        box->setSingleStep(step);
        box->setSuffix(suffix);
        finish_spin_box(box, p);
        *range = box->range_text();
        return box;
    }
    auto* box = new form_spin_box;
    box->setRange(int(low), int(high));
    box->setSingleStep(int(step));
    box->setSuffix(suffix);
    finish_spin_box(box, p);
    *range = box->range_text();
    return box;
}

QWidget* double_field(const row_t& row, QString* range)
{
    const parameter_description& p = *row.p;
    constexpr double most = std::numeric_limits<double>::max();
    auto* box = new form_double_spin_box;
    // Without a hint, every value the device sends is shown exactly, as its shortest decimal.
    box->setDecimals(p.decimals >= 0 ? p.decimals : form_double_spin_box::exact_decimals);
    box->setRange(bounded(row, row.low) ? row.low.toDouble() : -most,
                  bounded(row, row.high) ? row.high.toDouble() : most);
    box->setSingleStep(p.step > 0 ? p.step : std::pow(10.0, -std::max(p.decimals, 1)));
    if (!p.unit.isEmpty())
        box->setSuffix(QLatin1Char(' ') + p.unit);
    finish_spin_box(box, p);
    if (bounded(row, row.low) || bounded(row, row.high))
        *range = box->range_text();
    return box;
}

// The field of one row; the unit, where the field has no suffix for it, goes to @p unit_after,
// and the range a person may enter into it to @p range.
QWidget* field_of(const row_t& row, QString* unit_after, QString* range)
{
    const parameter_description& p = *row.p;
    if (!p.choices.isEmpty()) {
        auto* box = new QComboBox;
        for (const auto& choice : p.choices)
            box->addItem(choice.second, *typed(p.type, choice.first));
        box->setCurrentIndex(-1);
        box->setEnabled(!p.read_only);
        *unit_after = p.unit;
        return box;
    }
    switch (p.type) {
    case QMetaType::Bool: {
        auto* box = new QCheckBox;
        box->setEnabled(!p.read_only);
        *unit_after = p.unit;
        return box;
    }
    case QMetaType::Int:
    case QMetaType::UInt:
        return integer_field(row, unit_after, range);
    case QMetaType::Double:
        return double_field(row, range);
    default: {
        auto* edit = new QLineEdit;
        if (p.max_length >= 0)
            edit->setMaxLength(p.max_length);
        edit->setReadOnly(p.read_only);
        *unit_after = p.unit;
        return edit;
    }
    }
}

} // namespace

QWidget* build_form(const QVector<parameter_description>& parameters, QWidget* parent)
{
    // Everything is checked before the first widget is made, so that a fault builds nothing.
    QVector<row_t> rows;
    rows.reserve(parameters.size());
    QSet<uint32_t> ids;
    ids.reserve(parameters.size());
    for (const parameter_description& p : parameters) {
        if (ids.contains(p.id))
            refuse(p, QStringLiteral("the id is given twice"));
        ids.insert(p.id);
        rows.append(checked(p));
    }

    auto form = std::make_unique<QWidget>(parent);
    auto* top = new QVBoxLayout(form.get());
    QHash<QString, QFormLayout*> sections; // by group; "" for rows without one
    for (const row_t& row : rows) {
        const parameter_description& p = *row.p;
        QFormLayout*& section = sections[p.group];
        if (!section) {
            QWidget* holder = p.group.isEmpty() ? new QWidget : new QGroupBox(p.group);
            section = new QFormLayout(holder);
            if (p.group.isEmpty())
                section->setContentsMargins(0, 0, 0, 0);
            top->addWidget(holder);
        }
        QString unit_after;
        QString range;
        QWidget* field = field_of(row, &unit_after, &range);
        field->setObjectName(QStringLiteral("qz_param_") + short_parameter_id_text(p.id).mid(2));
        field->setProperty("qz_param_id", p.id);
        if (p.read_only)
            field->setProperty("qz_read_only", true);
        auto* label = new QLabel(p.name.isEmpty() ? short_parameter_id_text(p.id) : p.name);
        label->setBuddy(field);
        QStringList tip;
        if (!p.description.isEmpty())
            tip.append(p.description);
        // A range the description gives; a type's own says little (-2147483648 to 2147483647).
        if (!range.isEmpty() && !p.read_only && (row.low.isValid() || row.high.isValid()))
            tip.append(range_line(range));
        if (!tip.isEmpty()) {
            label->setToolTip(tip.join(QLatin1Char('\n')));
            field->setToolTip(tip.join(QLatin1Char('\n')));
        }
        section->addRow(label, with_unit(field, unit_after));
    }
    top->addStretch(1);
    return form.release();
}

} // namespace qz::gui
