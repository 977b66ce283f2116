#include "Menus.h"

#include "Controls.h"
#include "LogFailure.h"

#include <QApplication>

#include <utility>

namespace {

// Many commands keep the thread for seconds, and the menu would seem to stay open for as long.
void CallWhenChosen(QAction* item, std::string module, std::function<void()> chosen) {
    QObject::connect(item, &QAction::triggered, item, [=, module = std::move(module), chosen = std::move(chosen)] {
        if (QWidget* window = QApplication::activeWindow())
            PaintNow(window);
        platform::Attempt(chosen, LogFailure(module, item->objectName().toStdString() + "_Click"));
    });
}

QAction* AddRow(QMenu* menu, const MenuRow& row, const std::string& module) {
    switch (row.kind) {
    case MenuRow::Kind::Separator:
        return menu->addSeparator();
    case MenuRow::Kind::Submenu:
        return menu->addMenu(row.submenu);
    default:
        break;
    }
    QAction* item = menu->addAction(QString::fromLatin1(row.caption));
    item->setShortcut(QKeySequence(QString::fromLatin1(row.keys)));
    item->setCheckable(row.kind == MenuRow::Kind::Checkable);
    if (row.chosen)
        CallWhenChosen(item, module, row.chosen);
    return item;
}

} // namespace

MenuRow Checkable(MenuRow row) {
    row.kind = MenuRow::Kind::Checkable;
    return row;
}

MenuRow Separator(const char* name) {
    return {.name = name, .kind = MenuRow::Kind::Separator};
}

MenuRow Submenu(QMenu* menu) {
    return {.kind = MenuRow::Kind::Submenu, .submenu = menu};
}

QMenu* MakeMenu(QWidget* owner, const char* name, const char* caption, const std::vector<MenuRow>& rows) {
    auto* menu = Named(new QMenu(QString::fromLatin1(caption), owner), name);
    for (const MenuRow& row : rows) {
        QAction* item = AddRow(menu, row, owner->objectName().toStdString());
        if (row.kind != MenuRow::Kind::Submenu)
            item->setObjectName(row.name);
        if (row.action != nullptr)
            *row.action = item;
    }
    return menu;
}

QAction* AddContextItem(QWidget* widget, const QString& caption, const QKeySequence& keys,
                        std::function<void()> chosen) {
    auto* item = new QAction(caption, widget);
    item->setShortcut(keys);
    item->setShortcutContext(Qt::WidgetShortcut);
    QObject::connect(item, &QAction::triggered, widget, std::move(chosen));
    widget->addAction(item);
    return item;
}
