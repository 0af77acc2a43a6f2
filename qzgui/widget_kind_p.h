// SPDX-License-Identifier: BSD-3-Clause
// Internal: what each widget kind of a parameter form is, described once. Not installed.
#ifndef QZGUI_WIDGET_KIND_P_H
#define QZGUI_WIDGET_KIND_P_H

#include "qzgui/ui_controller.h"

#include <QVariant>

#include <optional>

struct QMetaObject;
class QObject;

namespace qz::gui {

/**
 * One widget kind of a parameter form: the class its widgets are taken as, the signal that
 * reports a user edit, how a value is written into a widget and how it is read back.
 */
struct widget_kind_t {
    /// The class the kind names; null for a kind that takes any object.
    const QMetaObject* widget_class;
    /// The watched signal in the form QObject::connect() takes by name; null: never watched.
    const char* watched_signal;
    /// Writes a value into a widget of the class; null: the kind cannot be written.
    void (*write)(QObject* widget, const QVariant& value);
    /// Reads a widget's value as collecting gives it; null: the kind carries no value.
    QVariant (*read)(const QObject* widget);
    /// Writes a value so that the watched signal reports it as a user edit when the value
    /// changes; null: write() already does.
    void (*edit)(QObject* widget, const QVariant& value);
};

/// @return the description of @p type, or null for a number that names no kind
const widget_kind_t* widget_kind(widget_type_e type);

/// @return the kind whose class @p widget is (a subclass included), or nothing for other classes
std::optional<widget_type_e> widget_kind_of(const QObject* widget);

/// @return @p object as the class of @p kind, or null when it is not one (or @p kind takes any)
QObject* as_widget_class(const widget_kind_t& kind, QObject* object);

} // namespace qz::gui

#endif
