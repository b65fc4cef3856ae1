// The page of a detector family whose own page is not built yet: the detector shell
// with its picture, menus, message panel and status bar, but no controller, so no
// measurement can be started from it.
#pragma once

#include "devviewmpx.h"

namespace PluginDevControl {

class DevViewMpxBasic : public DevViewMpx
{
    Q_OBJECT

public:
    DevViewMpxBasic(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);
};

} // namespace PluginDevControl
