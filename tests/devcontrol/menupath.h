// Menus of the main window as a user meets them: an action found by the titles on its
// way ({"Tools", "Simulation", "Remove device", "kalbar W0002"}), and a click on it.
#pragma once

#include "mainwindow.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QStringList>
#include <QTest>

inline QAction* menuBarAction(PluginDevControl::MainWindow* window, const QStringList& path)
{
    QList<QAction*> level = window->menuBar()->actions();
    QAction* found = nullptr;
    for (const QString& title : path) {
        found = nullptr;
        for (QAction* action : level) {
            if (action->text() == title)
                found = action;
        }
        if (!found)
            return nullptr;
        level = found->menu() ? found->menu()->actions() : QList<QAction*>();
    }
    return found;
}

// Picks an item of a menu with the mouse, as a user does: the menu is delivering the
// click while the item's work runs.
inline bool clickMenuItem(QMenu* menu, QAction* item)
{
    menu->popup(QPoint(20, 20));
    if (!QTest::qWaitFor([menu] { return menu->isVisible(); }, 5000))
        return false;
    const QPoint at = menu->actionGeometry(item).center();
    QTest::mouseMove(menu, at);
    QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier, at);
    return true;
}
