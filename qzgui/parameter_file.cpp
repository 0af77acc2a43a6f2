// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/parameter_file.h"

#include "qzgui/widget_kind.h"

namespace qz::gui {

QMap<uint32_t, QVariant> read_form_values(const QMap<uint32_t, QPair<widget_type_e, QObject*>>& widgets)
{
    QMap<uint32_t, QVariant> values;
    for (auto it = widgets.cbegin(); it != widgets.cend(); ++it) {
        const widget_kind_t* kind = widget_kind(it->first);
        if (kind && kind->read)
            values.insert(values.cend(), it.key(), kind->read(it->second));
    }
    return values;
}

} // namespace qz::gui
