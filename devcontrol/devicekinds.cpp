#include "devicekinds.h"

namespace PluginDevControl {

bool isKnownDeviceKind(int kind)
{
    switch (kind) {
    case DevKindMpx2:
    case DevKindMpx3:
    case DevKindTpx3:
    case DevKindTpx2:
    case DevKindFile:
    case DevKindMotor:
    case DevKindXray:
    case DevKindHvSource:
        return true;
    default:
        return false;
    }
}

bool isDetectorKind(int kind)
{
    return kind == DevKindMpx2 || kind == DevKindMpx3 || kind == DevKindTpx3 || kind == DevKindTpx2
        || kind == DevKindFile;
}

QString deviceKindName(int kind)
{
    switch (kind) {
    case DevKindMpx2:
        return "Medipix2 / Timepix";
    case DevKindMpx3:
        return "Medipix3";
    case DevKindTpx3:
        return "Timepix3";
    case DevKindTpx2:
        return "Timepix2";
    case DevKindFile:
        return "File device";
    case DevKindMotor:
        return "Motors";
    case DevKindXray:
        return "X-ray source";
    case DevKindHvSource:
        return "High-voltage source";
    default:
        return "Unknown device";
    }
}

} // namespace PluginDevControl
