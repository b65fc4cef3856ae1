#include "devviewinstrument.h"

#include "devicekinds.h"
#include "devicenames.h"
#include "devicepage.h"

#include <QToolBar>

namespace PluginDevControl {

DevViewInstrument::DevViewInstrument(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : DevView(parent, orvel, device), m_fullName(deviceFullName(device))
{
    auto* toolBar = addToolBar("toolBar");
    toolBar->setObjectName("toolBar");
    toolBar->setMovable(false);
    addDockActions(toolBar);
    setCentralWidget(new DevicePage(dev, m_fullName, this));
}

QString DevViewInstrument::devName() const
{
    return deviceShortName(dev);
}

QString DevViewInstrument::fullName() const
{
    return m_fullName;
}

int DevViewXray::devType() const
{
    return ov::DevKindXray;
}

int DevViewHvSource::devType() const
{
    return ov::DevKindHvSource;
}

} // namespace PluginDevControl
