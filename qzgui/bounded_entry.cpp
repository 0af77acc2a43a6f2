// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/bounded_entry_p.h"

#include <QLocale>

#include <cmath>
#include <utility>

namespace qz::gui {

namespace {

// The number of an entry, without the box's prefix, suffix, blanks and group separators.
QString number_of(const QString& text, const bounded_entry::box_t& box)
{
    QString number = text;
    if (!box.prefix.isEmpty() && number.startsWith(box.prefix))
        number.remove(0, box.prefix.size());
    if (!box.suffix.isEmpty() && number.endsWith(box.suffix))
        number.chop(box.suffix.size());
    number = number.trimmed();
    number.remove(box.locale.groupSeparator());
    return number;
}

// Whether @p number (number_of() an entry) lies beyond the box's range.
bool is_beyond(const QString& number, const bounded_entry::box_t& box)
{
    bool ok = false;
    const double value = box.locale.toDouble(number, &ok);
    return ok && std::isfinite(value) && (value < box.low || value > box.high);
}

} // namespace

bounded_entry::~bounded_entry() = default;

QString bounded_entry::take_refused()
{
    return std::exchange(_refused, QString());
}

QValidator::State bounded_entry::allow_beyond(QValidator::State state, const QString& text, const box_t& box)
{
    if (state != QValidator::Invalid)
        return state;
    // A sign alone begins a number beyond the range as well: a box from 0 refuses "-", and the
    // "1" that follows would turn -1 into 1.
    const QString number = number_of(text, box);
    const bool sign = number == box.locale.negativeSign() || number == box.locale.positiveSign();
    return sign || is_beyond(number, box) ? QValidator::Intermediate : state;
}

void bounded_entry::refuse_beyond(const QString& text, const box_t& box) const
{
    if (is_beyond(number_of(text, box), box))
        _refused = text;
}

QString bounded_entry::range_text(const QString& low, const QString& high, const box_t& box)
{
    return box.prefix + low + QStringLiteral(" to ") + box.prefix + high + box.suffix;
}

} // namespace qz::gui
