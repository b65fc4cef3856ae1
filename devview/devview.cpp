#include "devview.h"

#include <QAction>
#include <QMenuBar>
#include <QToolBar>

namespace PluginDevControl {

DevView::DevView(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : QMainWindow(parent), host(orvel), dev(device)
{ }

DevView::~DevView() = default;

int DevView::devType() const
{
    return 0;
}

void DevView::onExit() { }

void DevView::releaseDevice()
{
    dev = nullptr;
}

void DevView::endDeviceWork() { }

QString DevView::fullName() const
{
    return QString();
}

QString DevView::devName() const
{
    return QString();
}

void DevView::setViewMenuBar(QMenuBar* bar)
{
    setMenuBar(bar);
}

QMenuBar* DevView::viewMenuBar()
{
    return menuBar();
}

QWidget* DevView::widget()
{
    return this;
}

ov::IDev* DevView::getDev()
{
    return dev;
}

void DevView::enableUndocking(bool enable)
{
    if (!acUndock)
        return;
    acDock->setVisible(false);
    acUndock->setVisible(enable);
}

void DevView::addDockActions(QToolBar* toolBar)
{
    acDock = new QAction(QIcon(":/devcontrol/toolbar/icons/application-sidebar.png"), "Dock", this);
    acDock->setObjectName("acDock");
    acDock->setVisible(false);
    acUndock = new QAction(QIcon(":/devcontrol/toolbar/icons/applications.png"), "Undock", this);
    acUndock->setObjectName("acUndock");
    connect(acUndock, &QAction::triggered, this, [this] {
        acUndock->setVisible(false);
        acDock->setVisible(true);
        emit sigUndock();
    });
    connect(acDock, &QAction::triggered, this, [this] {
        acDock->setVisible(false);
        acUndock->setVisible(true);
        emit sigDock();
    });
    toolBar->addAction(acDock);
    toolBar->addAction(acUndock);
}

} // namespace PluginDevControl
