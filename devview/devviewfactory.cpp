#include "devviewfactory.h"

#include "devicekinds.h"
#include "devviewinstrument.h"
#include "devviewmpx2.h"
#include "devviewmpxbasic.h"

namespace PluginDevControl {

DevView* createDeviceView(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev)
{
    if (!dev)
        return nullptr;
    switch (dev->deviceType()) {
    case DevKindMpx2:
        return new DevViewMpx2(parent, orvel, dev);
    case DevKindMpx3:
    case DevKindTpx3:
    case DevKindTpx2:
    case DevKindFile:
        return new DevViewMpxBasic(parent, orvel, dev);
    case DevKindXray:
        return new DevViewXray(parent, orvel, dev);
    case DevKindHvSource:
        return new DevViewHvSource(parent, orvel, dev);
    default:
        return nullptr;
    }
}

} // namespace PluginDevControl
