// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/form_builder.h"

#include "qzgui/HexSpinBox.h"
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

// The digits after the point that @p step needs, at least 1.
int decimals_of(double step)
{
    int decimals = 1;
    double scaled = step * 10;
    while (decimals < max_decimals && std::abs(scaled - std::round(scaled)) > 1e-9 * std::max(1.0, scaled)) {
        ++decimals;
        scaled *= 10;
    }
    return decimals;
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

QWidget* integer_field(const row_t& row, QString* unit_after)
{
    const parameter_description& p = *row.p;
    const bool is_uint = p.type == QMetaType::UInt;
    const double low = row.low.isValid() ? row.low.toDouble() : (is_uint ? 0 : int_low);
    const double high = row.high.isValid() ? row.high.toDouble() : (is_uint ? uint_high : int_high);
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
        return box;
    }
    if (high > int_high) {
        auto* box = new QDoubleSpinBox;
        box->setDecimals(0);
        box->setRange(low, high);
        box->setSingleStep(step);
        if (!p.unit.isEmpty())
            box->setSuffix(QLatin1Char(' ') + p.unit);
        finish_spin_box(box, p);
        return box;
    }
    auto* box = new QSpinBox;
    box->setRange(int(low), int(high));
    box->setSingleStep(int(step));
    if (!p.unit.isEmpty())
        box->setSuffix(QLatin1Char(' ') + p.unit);
    finish_spin_box(box, p);
    return box;
}

QWidget* double_field(const row_t& row)
{
    const parameter_description& p = *row.p;
    constexpr double most = std::numeric_limits<double>::max();
    auto* box = new QDoubleSpinBox;
    const int decimals = p.decimals >= 0 ? p.decimals : (p.step > 0 ? decimals_of(p.step) : 1);
    box->setDecimals(decimals);
    box->setRange(row.low.isValid() ? row.low.toDouble() : -most,
                  row.high.isValid() ? row.high.toDouble() : most);
    box->setSingleStep(p.step > 0 ? p.step : std::pow(10.0, -decimals));
    if (!p.unit.isEmpty())
        box->setSuffix(QLatin1Char(' ') + p.unit);
    finish_spin_box(box, p);
    return box;
}

// The field of one row; the unit, where the field has no suffix for it, goes to @p unit_after.
QWidget* field_of(const row_t& row, QString* unit_after)
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
        return integer_field(row, unit_after);
    case QMetaType::Double:
        return double_field(row);
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
        QWidget* field = field_of(row, &unit_after);
        field->setObjectName(QStringLiteral("qz_param_") + short_parameter_id_text(p.id).mid(2));
        field->setProperty("qz_param_id", p.id);
        auto* label = new QLabel(p.name.isEmpty() ? short_parameter_id_text(p.id) : p.name);
        label->setBuddy(field);
        if (!p.description.isEmpty()) {
            label->setToolTip(p.description);
            field->setToolTip(p.description);
        }
        section->addRow(label, with_unit(field, unit_after));
    }
    top->addStretch(1);
    return form.release();
}

} // namespace qz::gui
