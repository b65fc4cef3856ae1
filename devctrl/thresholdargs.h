// The chip and kind arguments of the device's threshold operations, and whether the
// threshold can be given in calibrated units, shared by the chip families.
#pragma once

#include <cstdint>

namespace ov {
class IDevMpx;
}

namespace PluginDevControl {

struct ThresholdArgs
{
    uint32_t chip; // 0, or 0xFFFFFFFF for all chips
    int kind;      // ov::ThresholdKind
};

// One chip (or none) takes chip 0, more take all chips at once; a calibrated device
// takes the threshold in calibrated units.
ThresholdArgs thresholdArgsFor(unsigned chipCount, bool calibrated);

// True when every chip of dev is calibrated (so also with no chip).
bool allChipsCalibrated(ov::IDevMpx* dev);

} // namespace PluginDevControl
