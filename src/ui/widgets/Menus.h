// Menus as tables: a row for each item, in the order in which they appear.
#pragma once

#include <QAction>
#include <QMenu>

#include <functional>
#include <vector>

struct MenuRow {
    enum class Kind { Item, Checkable, Separator, Submenu };

    QAction** action = nullptr; // receives the item, where somebody needs it
    const char* name = "";      // its object name
    const char* caption = "";   // with its access key
    std::function<void()> chosen = {};
    const char* keys = ""; // its shortcut
    Kind kind = Kind::Item;
    QMenu* submenu = nullptr;
};

// The rows that aren't plain items.
MenuRow Checkable(MenuRow row);
MenuRow Separator(const char* name = "");
MenuRow Submenu(QMenu* menu);

// A menu of `owner`. A failure that reaches an item is logged under the owner's name and the item's: out of Qt it would
// end the program.
QMenu* MakeMenu(QWidget* owner, const char* name, const char* caption, const std::vector<MenuRow>& rows);

// An item of the context menu that a widget makes of its actions; the keys work while the widget has the focus.
QAction* AddContextItem(QWidget* widget, const QString& caption, const QKeySequence& keys,
                        std::function<void()> chosen);
