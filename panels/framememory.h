// How much memory the frames of a measurement will take, and how much the host allows
// for them ("MaxFrameMemory" of the host's own "orvel.ini").
#pragma once

#include <QString>

#include <cstdint>

namespace PluginDevControl {

// Megabytes (rounded down) that the frames of one measurement take: 8 bytes a pixel on
// a Timepix3 (type 3), 4 on a Medipix3 (type 2), 2 on every other kind, times the
// frame count unless the measurement integrates into one frame (types 1 and 4).
uint64_t estimateFrameMemoryMb(int deviceType, int acqType, int acqCount, uint32_t pixelCount);

// The limit in megabytes: "MaxFrameMemory" in group "Settings" of "orvel.ini" in the
// given application directory; 2048 when the file or key is missing.
unsigned maxFrameMemoryMb(const QString& applicationDirectory);

} // namespace PluginDevControl
