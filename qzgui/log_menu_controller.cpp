// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/log_menu_controller.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QListWidget>
#include <QMenu>

namespace qz::gui {

log_menu_controller::log_menu_controller(QListWidget* list)
    : _list_widget(list)
{
    _list_widget->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(_list_widget, &QWidget::customContextMenuRequested, this,
            &log_menu_controller::_show_context_menu);
}

log_menu_controller::~log_menu_controller() = default;

void log_menu_controller::_show_context_menu(const QPoint& pos)
{
    const QPoint global = _list_widget->mapToGlobal(pos);
    QMenu menu;
    QAction* copy = menu.addAction(QObject::tr("Copy selected"));
    copy->setShortcut(QKeySequence());
    connect(copy, &QAction::triggered, this, &log_menu_controller::_copy_selected);
    QAction* clear = menu.addAction(QObject::tr("Clear"));
    clear->setShortcut(QKeySequence());
    connect(clear, &QAction::triggered, this, &log_menu_controller::_clear_messages);
    menu.exec(global);
}

void log_menu_controller::_copy_selected()
{
    QStringList lines;
    const QList<QListWidgetItem*> selected = _list_widget->selectedItems();
    for (const QListWidgetItem* item : selected)
        lines.append(item->data(Qt::DisplayRole).toString());
    QString text = lines.join(QLatin1Char('\n'));
    // The clipboard takes the text up to its first U+0000.
    const int nul = text.indexOf(QChar(0));
    if (nul >= 0)
        text.truncate(nul);
    QGuiApplication::clipboard()->setText(text, QClipboard::Clipboard);
}

void log_menu_controller::_clear_messages()
{
    if (_list_widget)
        _list_widget->clear();
}

} // namespace qz::gui
