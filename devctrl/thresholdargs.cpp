#include "thresholdargs.h"

#include <ovdetector.h>

namespace PluginDevControl {

ThresholdArgs thresholdArgsFor(unsigned chipCount, bool calibrated)
{
    constexpr uint32_t kAllChips = 0xFFFFFFFFu;
    if (chipCount <= 1)
        return ThresholdArgs {0, calibrated ? ov::ThresholdCalibrated : ov::ThresholdChip};
    return ThresholdArgs {kAllChips, calibrated ? ov::ThresholdCalibrated : ov::ThresholdAllChips};
}

bool allChipsCalibrated(ov::IDevMpx* dev)
{
    const unsigned chips = dev->chipCount();
    for (unsigned chip = 0; chip < chips; ++chip) {
        if (!dev->isChipCalibrated(chip))
            return false;
    }
    return true;
}

} // namespace PluginDevControl
