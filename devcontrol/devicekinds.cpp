#include "devicekinds.h"

namespace PluginDevControl {

bool isKnownDeviceKind(int kind)
{
    switch (kind) {
    case ov::DevKindMpx2:
    case ov::DevKindMpx3:
    case ov::DevKindTpx3:
    case ov::DevKindTpx2:
    case ov::DevKindFile:
    case ov::DevKindMotor:
    case ov::DevKindXray:
    case ov::DevKindHvSource:
        return true;
    default:
        return false;
    }
}

bool isDetectorKind(int kind)
{
    return kind == ov::DevKindMpx2 || kind == ov::DevKindMpx3 || kind == ov::DevKindTpx3
        || kind == ov::DevKindTpx2 || kind == ov::DevKindFile;
}

QString deviceKindName(int kind)
{
    switch (kind) {
    case ov::DevKindMpx2:
        return "Medipix2 / Timepix";
    case ov::DevKindMpx3:
        return "Medipix3";
    case ov::DevKindTpx3:
        return "Timepix3";
    case ov::DevKindTpx2:
        return "Timepix2";
    case ov::DevKindFile:
        return "File device";
    case ov::DevKindMotor:
        return "Motors";
    case ov::DevKindXray:
        return "X-ray source";
    case ov::DevKindHvSource:
        return "High-voltage source";
    default:
        return "Unknown device";
    }
}

} // namespace PluginDevControl
