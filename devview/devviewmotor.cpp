#include "devviewmotor.h"

#include "devicekinds.h"
#include "devicenames.h"

#include <QListWidget>
#include <QToolBar>

namespace PluginDevControl {

DevViewMotor::DevViewMotor(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : DevView(parent, orvel, device), m_list(new QListWidget(this))
{
    m_list->setObjectName("lstMotors");
    auto* toolBar = addToolBar("toolBar");
    toolBar->setObjectName("toolBar");
    toolBar->setMovable(false);
    addDockActions(toolBar);
    setCentralWidget(m_list);
}

int DevViewMotor::devType() const
{
    return ov::DevKindMotor;
}

QString DevViewMotor::devName() const
{
    return "Motors";
}

QString DevViewMotor::fullName() const
{
    return "Motors";
}

void DevViewMotor::addMotor(ov::IDev* motor)
{
    if (!motor || m_motors.contains(motor))
        return;
    m_motors.append(motor);
    refreshList();
}

void DevViewMotor::removeMotor(ov::IDev* motor)
{
    if (m_motors.removeAll(motor) > 0)
        refreshList();
}

void DevViewMotor::refreshList()
{
    m_list->clear();
    for (ov::IDev* motor : m_motors)
        m_list->addItem(deviceFullName(motor));
}

} // namespace PluginDevControl
