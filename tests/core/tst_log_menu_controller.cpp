// SPDX-License-Identifier: BSD-3-Clause
// The log list's context menu, opened by a real right-click and driven while it runs.
#include "qzgui/log_menu_controller.h"

#include <QApplication>
#include <QClipboard>
#include <QListWidget>
#include <QMenu>
#include <QTimer>
#include <QtTest>

#include <functional>

using qz::gui::log_menu_controller;

class tst_log_menu_controller : public QObject {
    Q_OBJECT

    std::unique_ptr<QListWidget> _list;
    std::unique_ptr<log_menu_controller> _menu;

    // Right-clicks the list's viewport at @p at through its window, as the platform delivers it,
    // and hands the running menu to act (which must close it or trigger one of its actions). By
    // default the click goes to empty space below the rows: a right-click on an unselected row
    // would select it first, as Qt's item views do.
    void right_click(const std::function<void(QMenu*)>& act, QPoint at = QPoint(10, 250))
    {
        bool seen = false;
        QTimer::singleShot(0, this, [&] {
            auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            seen = menu != nullptr;
            if (menu)
                act(menu);
        });
        QTest::mouseClick(_list->windowHandle(), Qt::RightButton, Qt::NoModifier,
                          _list->viewport()->mapTo(_list.get(), at));
        QVERIFY2(seen, "no context menu opened");
    }

    // Triggers the menu entry with @p text and lets the menu close.
    void choose(const QString& text, QPoint at = QPoint(10, 250))
    {
        right_click(
            [text](QMenu* menu) {
                for (QAction* action : menu->actions())
                    if (action->text() == text) {
                        action->trigger();
                        menu->close();
                        return;
                    }
                QFAIL("entry not in the menu");
            },
            at);
    }

    QPoint on_row(int row) const { return _list->visualItemRect(_list->item(row)).center(); }

    void fill(int rows)
    {
        for (int i = 0; i < rows; ++i)
            _list->addItem(QStringLiteral("2024-03-02 14:03:07,045  INFO  line %1").arg(i));
    }

private slots:
    void init()
    {
        _list = std::make_unique<QListWidget>();
        _list->setSelectionMode(QAbstractItemView::ExtendedSelection);
        _menu = std::make_unique<log_menu_controller>(_list.get());
        _list->resize(400, 300);
        _list->show();
        QVERIFY(QTest::qWaitForWindowExposed(_list.get()));
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    }

    void cleanup()
    {
        _menu.reset();
        _list.reset();
    }

    void policy_is_custom() { QCOMPARE(_list->contextMenuPolicy(), Qt::CustomContextMenu); }

    void menu_has_two_entries_without_shortcuts()
    {
        QList<QAction*> actions;
        QStringList texts;
        right_click([&](QMenu* menu) {
            for (QAction* action : menu->actions()) {
                texts << action->text();
                QVERIFY(action->shortcut().isEmpty());
                QVERIFY(action->icon().isNull());
                QVERIFY(!action->isSeparator());
                QVERIFY(action->isEnabled());
            }
            menu->close();
        });
        QCOMPARE(texts, QStringList({"Copy selected", "Clear"}));
    }

    void copy_of_a_multi_row_selection()
    {
        fill(4);
        _list->item(1)->setSelected(true);
        _list->item(3)->setSelected(true);
        QStringList reported;
        for (QListWidgetItem* item : _list->selectedItems())
            reported << item->text();
        // On a selected row the right-click keeps the selection.
        choose(QStringLiteral("Copy selected"), on_row(3));
        QCOMPARE(QGuiApplication::clipboard()->text(), reported.join('\n'));
        QCOMPARE(
            QGuiApplication::clipboard()->text(),
            QStringLiteral("2024-03-02 14:03:07,045  INFO  line 1\n2024-03-02 14:03:07,045  INFO  line 3"));
    }

    void copy_of_rows_selected_by_clicks()
    {
        fill(3);
        const auto click = [&](int row, Qt::KeyboardModifiers modifiers) {
            QTest::mouseClick(_list->viewport(), Qt::LeftButton, modifiers, on_row(row));
        };
        click(2, Qt::NoModifier);
        click(0, Qt::ControlModifier);
        QCOMPARE(_list->selectedItems().size(), 2);
        QStringList reported;
        for (QListWidgetItem* item : _list->selectedItems())
            reported << item->text();
        choose(QStringLiteral("Copy selected"));
        QCOMPARE(QGuiApplication::clipboard()->text(), reported.join('\n'));
        QVERIFY(!QGuiApplication::clipboard()->text().endsWith('\n'));
    }

    void copy_of_one_line_has_no_line_feed()
    {
        fill(2);
        // A right-click on an unselected row selects it, and the copy takes that row.
        choose(QStringLiteral("Copy selected"), on_row(0));
        QCOMPARE(QGuiApplication::clipboard()->text(), _list->item(0)->text());
    }

    void copy_without_selection_empties_the_clipboard()
    {
        fill(2);
        choose(QStringLiteral("Copy selected"));
        QCOMPARE(QGuiApplication::clipboard()->text(), QString());
    }

    void copy_stops_at_nul()
    {
        _list->addItem(QStringLiteral("ab") + QChar(0) + QStringLiteral("cd"));
        _list->item(0)->setSelected(true);
        choose(QStringLiteral("Copy selected"));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("ab"));
    }

    void clear_empties_the_list()
    {
        fill(3);
        choose(QStringLiteral("Clear"));
        QCOMPARE(_list->count(), 0);
        choose(QStringLiteral("Clear"));
        QCOMPARE(_list->count(), 0);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("before"));
    }

    void nothing_of_the_menu_is_kept()
    {
        for (int request = 0; request < 2; ++request)
            right_click([](QMenu* menu) { menu->close(); });
        for (QWidget* widget : QApplication::topLevelWidgets())
            QVERIFY2(!qobject_cast<QMenu*>(widget), "a menu outlived its request");
    }
};

QTEST_MAIN(tst_log_menu_controller)
#include "tst_log_menu_controller.moc"
