// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/form_scan.h"

#include "qzgui/parameter_id.h"
#include "qzgui/widget_kind_p.h"

#include <QHash>
#include <QLabel>
#include <QWidget>

#include <stdexcept>

namespace qz::gui {

namespace {

QString describe(const QWidget* widget)
{
    const QString name = widget->objectName();
    return QStringLiteral("%1 (%2)").arg(name.isEmpty() ? QStringLiteral("an unnamed widget") : name,
                                         QLatin1String(widget->metaObject()->className()));
}

[[noreturn]] void refuse(const QWidget* widget, const QString& fault)
{
    throw std::invalid_argument(QStringLiteral("%1: %2").arg(describe(widget), fault).toStdString());
}

QString shown(const QVariant& value)
{
    return value.canConvert<QString>()
        ? QStringLiteral("\"%1\"").arg(value.toString())
        : QStringLiteral("a value of type %1").arg(QLatin1String(value.typeName()));
}

} // namespace

form_bindings scan_form(QWidget* root, const char* property)
{
    form_bindings bindings;
    if (!root)
        return bindings;
    // One walk: the labels' buddies and the bound widgets are gathered together.
    QHash<const QWidget*, QWidget*> labels_by_buddy;
    const QList<QWidget*> widgets = root->findChildren<QWidget*>();
    for (QWidget* widget : widgets) {
        if (auto* label = qobject_cast<QLabel*>(widget); label && label->buddy())
            labels_by_buddy.insert(label->buddy(), label); // the first label found stays
        const QVariant value = widget->property(property);
        if (!value.isValid())
            continue;
        const std::optional<uint32_t> id = parse_parameter_id(value);
        if (!id)
            refuse(widget,
                   QStringLiteral("%1 %2 is not a 32-bit unsigned id")
                       .arg(QLatin1String(property), shown(value)));
        const std::optional<widget_type_e> kind = widget_kind_of(widget);
        if (!kind)
            refuse(widget,
                   QStringLiteral("carries %1 %2, but widgets of its class cannot be bound")
                       .arg(QLatin1String(property), parameter_id_text(*id)));
        if (const auto other = bindings.widgets.constFind(*id); other != bindings.widgets.cend())
            refuse(widget,
                   QStringLiteral("carries %1 %2, which %3 carries as well")
                       .arg(QLatin1String(property), parameter_id_text(*id),
                            describe(static_cast<const QWidget*>(other->second))));
        bindings.widgets.insert(*id, qMakePair(*kind, static_cast<QObject*>(widget)));
    }
    for (auto it = bindings.widgets.cbegin(); it != bindings.widgets.cend(); ++it) {
        auto* widget = static_cast<QWidget*>(it->second);
        bindings.hints.insert(bindings.hints.cend(), it.key(), labels_by_buddy.value(widget, widget));
    }
    return bindings;
}

} // namespace qz::gui
