// The kinds of device the host reports through IDev::deviceType().
#pragma once

#include <QString>

namespace PluginDevControl {

enum DevKind : int {
    DevKindMpx2 = 1, // Medipix2 and Timepix
    DevKindMpx3 = 2,
    DevKindTpx3 = 3,
    DevKindTpx2 = 4,
    DevKindFile = 10,
    DevKindMotor = 11,
    DevKindXray = 12,
    DevKindHvSource = 14,
};

bool isKnownDeviceKind(int kind);
// True for the pixel detectors, whose views are detector views.
bool isDetectorKind(int kind);
// Human-readable name of a kind, for titles and placeholders.
QString deviceKindName(int kind);

} // namespace PluginDevControl
