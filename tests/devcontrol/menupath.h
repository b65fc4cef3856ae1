// Finds an action of the main window's menu bar by the titles on its way, as a user
// reads them: {"Tools", "Simulation", "Remove device", "kalbar W0002"}.
#pragma once

#include "mainwindow.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QStringList>

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
