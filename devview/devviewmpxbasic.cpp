#include "devviewmpxbasic.h"

#include "msgpanel.h"

namespace PluginDevControl {

DevViewMpxBasic::DevViewMpxBasic(QWidget* parent, ov::IOrvel* orvel, ov::IDev* device)
    : DevViewMpx(parent, orvel, device)
{
    devMpx = dynamic_cast<ov::IDevMpx*>(dev);
    setupGui();
    finishInitialization();
    msgPanel->logMsg(ov::LogWarning,
        QString("Measurements on %1 are not available in this version.").arg(fullName()));
}

} // namespace PluginDevControl
