// Creates the view that belongs to a device's kind.
#pragma once

#include "ovsdk.h"

class QWidget;

namespace PluginDevControl {

class DevView;

// A new view for dev with the given parent, or null for a kind that has no view of
// its own (motors share one view; unknown kinds get none).
DevView* createDeviceView(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);

} // namespace PluginDevControl
