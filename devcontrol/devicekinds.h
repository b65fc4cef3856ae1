// What the plug-in knows about the kinds of device the host reports through
// IDev::deviceType().
#pragma once

#include <ovcore.h>

#include <QString>

namespace PluginDevControl {

// The kind codes are the host contract's (ov::DevKind).

bool isKnownDeviceKind(int kind);
// True for the pixel detectors, whose views are detector views.
bool isDetectorKind(int kind);
// Human-readable name of a kind, for titles and placeholders.
QString deviceKindName(int kind);

} // namespace PluginDevControl
