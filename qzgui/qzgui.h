// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_QZGUI_H
#define QZGUI_QZGUI_H

#include "qzgui/qzgui_export.h"

namespace qz::gui {

/**
 * @class qzgui qzgui.h <qzgui/qzgui.h>
 *
 * The class named after the library. It holds nothing and does nothing; creating one is a cheap
 * way for a host application to check that it links against libqzgui.
 */
class QZGUI_EXPORT qzgui {
public:
    /// Creates the object; does nothing else.
    qzgui();
};

} // namespace qz::gui

#endif
