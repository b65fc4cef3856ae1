#include "devviewfactory.h"

#include "devicekinds.h"
#include "devviewinstrument.h"
#include "devviewmpx2.h"
#include "devviewmpxbasic.h"
#include "devviewtpx3.h"

namespace PluginDevControl {

DevView* createDeviceView(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev)
{
    if (!dev)
        return nullptr;
    switch (dev->deviceType()) {
    case ov::DevKindMpx2:
        return new DevViewMpx2(parent, orvel, dev);
    case ov::DevKindTpx3:
        // A device of the kind that lacks the family's interface gets the basic page.
        if (dynamic_cast<ov::IDevTpx3*>(dev))
            return new DevViewTpx3(parent, orvel, dev);
        return new DevViewMpxBasic(parent, orvel, dev);
    case ov::DevKindMpx3:
    case ov::DevKindTpx2:
    case ov::DevKindFile:
        return new DevViewMpxBasic(parent, orvel, dev);
    case ov::DevKindXray:
        return new DevViewXray(parent, orvel, dev);
    case ov::DevKindHvSource:
        return new DevViewHvSource(parent, orvel, dev);
    default:
        return nullptr;
    }
}

} // namespace PluginDevControl
