// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_LOG_MENU_CONTROLLER_H
#define QZGUI_LOG_MENU_CONTROLLER_H

#include "qzgui/qzgui_export.h"

#include <QObject>

class QListWidget;
class QPoint;

namespace qz::gui {

/**
 * @class log_menu_controller log_menu_controller.h <qzgui/log_menu_controller.h>
 *
 * Gives a log list a right-click menu with "Copy selected" (the selected lines, joined by line
 * feeds, to the clipboard) and "Clear" (empties the list; the log file is not touched). Neither
 * command has a keyboard shortcut.
 *
 * log_controller creates one for its list; it may serve any other QListWidget as well. It has no
 * parent: its creator deletes it.
 * @see log_controller
 */
class QZGUI_EXPORT log_menu_controller : public QObject {
public:
    /**
     * Attaches the menu: sets the list's context menu policy to Qt::CustomContextMenu and shows
     * the menu on its customContextMenuRequested() signal.
     * @param list the list served; not owned, must not be null
     */
    explicit log_menu_controller(QListWidget* list);

    /// Destroys the controller; the list keeps its entries.
    ~log_menu_controller() override;

private:
    void _show_context_menu(const QPoint& pos);
    void _copy_selected();
    void _clear_messages();

    QListWidget* _list_widget;
};

} // namespace qz::gui

#endif
