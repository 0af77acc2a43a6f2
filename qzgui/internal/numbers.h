// SPDX-License-Identifier: BSD-3-Clause
// Internal: which variants hold numbers, one answer for the form builder and the register maps.
#ifndef QZGUI_INTERNAL_NUMBERS_H
#define QZGUI_INTERNAL_NUMBERS_H

#include <QVariant>

namespace qz::gui {

/// @return whether @p value holds a number: an integer of any width, or a float or double; a bool
///         is not a number here
inline bool holds_number(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

/// @return whether @p value holds a number with a fraction part of its type (float or double)
inline bool holds_fraction(const QVariant& value)
{
    return value.userType() == QMetaType::Double || value.userType() == QMetaType::Float;
}

} // namespace qz::gui

#endif
